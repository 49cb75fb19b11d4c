#pragma once

#include "dialogs_export.h"

#include "dialogs/progress.h"

#include <QObject>

#include <cstdio>
#include <memory>

class QSocketNotifier;

namespace Report {

class TerminalProgress;

// Progress as a bar on a terminal line, redrawn in place; on a stream that is not a terminal
// (a log, a pipe) only the start and the end are written, so a scripted run's output stays
// readable. With `cancelOnInterrupt`, Ctrl+C while a progress is shown presses its cancel button
// instead of ending the program; a second Ctrl+C after that ends it as usual.
class DIALOGS_EXPORT TerminalProgressFactory final
    : public QObject
    , public IProgressFactory {
    Q_OBJECT
public:
    TerminalProgressFactory(std::FILE *out, bool cancelOnInterrupt);
    ~TerminalProgressFactory() override;

    std::unique_ptr<IProgress> create(const QString &label,
                                      const QString &cancelText,
                                      int maximum,
                                      IProgressListener *listener) override;

private:
    friend class TerminalProgress;
    void attach(TerminalProgress *progress);
    void detach(TerminalProgress *progress);
    void interrupted();

    std::FILE *m_out;
    bool m_isTerminal;
    bool m_cancelOnInterrupt;
    TerminalProgress *m_current = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace Report
