#pragma once

#include "FileAnalyzer/view.h"

#include "dialogs/progress.h"
#include "media/fileopenhandler.h"

#include <chrono>
#include <memory>

namespace Timeline {
class ITimeline;
}

namespace FileAnalyzer {

// Opens and analyses the media files of each add request, one request at a time in arrival
// order, with a progress dialog that can cancel; sorts the files into opened and failed, tells
// the user about the failures, and marks each request finished so that its task handlers can
// place the files. The application makes one; main thread.
class APPLOGIC_EXPORT Controller final
    : public FileOpenHandler
    , public Report::ProgressReporter
    , public View {
public:
    explicit Controller(Model &model);
    ~Controller() override;
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    // The timeline whose clips the failed-files dialog may offer to remove.
    void setTimeline(Timeline::ITimeline *timeline);
    // How long one file's analysis may take before it counts as failed.
    void setAnalysisTimeout(std::chrono::milliseconds timeout);

    void fileAnalyzerAddRequested(Object *object) override;
    void fileAnalyzerChangeRequested(Object *object, Object *changed) override;
    void fileAnalyzerRemoveRequested(Object *object) override;
    void statusChanged(const Object *object, Object::Status status) override;

protected:
    void processing() override;
    void postProcessing(FileOpenHandler::AnalyzedProduct product) override;
    bool allowToDeleteClips(const FileOpenHandler::AnalyzedProduct &product) override;
    void updateLabelText(QString &text) override;
    void reporterCancelled(Report::IProgress &progress) override;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

// Forwards to the one controller, when there is one.
APPLOGIC_EXPORT void setTimeline(Timeline::ITimeline *timeline);

} // namespace FileAnalyzer
