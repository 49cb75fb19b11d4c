#pragma once

#include "dialogs_export.h"

#include <QString>

#include <memory>

// The editor's progress dialogs. A ProgressReporter owns at most one progress at a time; how it
// looks (a terminal bar, a window, a test's recorder) is decided by the factory its owner gives
// it. Main thread.
namespace Report {

class DIALOGS_EXPORT IProgress {
public:
    virtual ~IProgress();
    virtual void setMaximum(int maximum) = 0;
    virtual void setValue(int value) = 0;
    virtual void setText(const QString &text) = 0;
    virtual int value() const = 0;
    virtual int maximum() const = 0;
};

// Told when the user pressed the progress's cancel button.
class DIALOGS_EXPORT IProgressListener {
public:
    virtual ~IProgressListener();
    virtual void progressCancelled(IProgress &progress) = 0;
};

class DIALOGS_EXPORT IProgressFactory {
public:
    virtual ~IProgressFactory();
    // The listener outlives the progress; the factory must not call it after the progress died.
    virtual std::unique_ptr<IProgress> create(const QString &label,
                                              const QString &cancelText,
                                              int maximum,
                                              IProgressListener *listener)
        = 0;
};

class DIALOGS_EXPORT ProgressReporter : private IProgressListener {
public:
    ProgressReporter(const ProgressReporter &) = delete;
    ProgressReporter &operator=(const ProgressReporter &) = delete;

    // Makes the progresses shown from now on; null (the default) shows none, which is what a run
    // without a terminal or window wants. A progress already shown stays.
    void setProgressFactory(std::shared_ptr<IProgressFactory> factory);

protected:
    ProgressReporter();
    ~ProgressReporter() override;

    // Creates the progress (replacing one already shown) with `text` as its first text.
    void
    showProgress(const QString &label, const QString &cancelText, int maximum, const QString &text);
    bool isProgressShown() const noexcept { return m_progress != nullptr; }
    IProgress *progress() const noexcept { return m_progress.get(); }
    // Sets the value, then asks updateLabelText for the text that goes with it.
    void setProgressValue(int value);
    void removeProgress();

    // The text shown under the label; called on every value change.
    virtual void updateLabelText(QString &text);
    // The user pressed cancel. The progress stays until the reporter removes it.
    virtual void reporterCancelled(IProgress &progress);

private:
    void progressCancelled(IProgress &progress) final;

    std::shared_ptr<IProgressFactory> m_factory;
    std::unique_ptr<IProgress> m_progress;
};

} // namespace Report
