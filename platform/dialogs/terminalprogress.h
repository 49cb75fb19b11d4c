#pragma once

#include "dialogs_export.h"

#include "dialogs/progress.h"

#include <QObject>

#include <cstdio>
#include <functional>
#include <memory>

namespace Report {

class TerminalProgress;

// Takes Ctrl+C from the program's one interrupt path while the returned token lives: each press
// then calls `onInterrupt` on the main thread instead of ending the program.
using InterruptTaker = std::function<std::shared_ptr<void>(std::function<void()> onInterrupt)>;

// Progress as a bar on a terminal line, redrawn in place; on a stream that is not a terminal
// (a log, a pipe) only the start and the end are written, so a scripted run's output stays
// readable. Given a taker, Ctrl+C while a progress is shown presses its cancel button instead of
// ending the program; a second Ctrl+C after that goes back to the program. This library installs
// no signal handler: the program owns its signals.
class DIALOGS_EXPORT TerminalProgressFactory final
    : public QObject
    , public IProgressFactory {
    Q_OBJECT
public:
    explicit TerminalProgressFactory(std::FILE *out, InterruptTaker takeInterrupts = {});
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
    InterruptTaker m_takeInterrupts;
    TerminalProgress *m_current = nullptr;
    std::shared_ptr<void> m_interrupts; // held while a progress shows and Ctrl+C has not come
};

} // namespace Report
