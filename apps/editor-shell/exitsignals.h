#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace Shell {

// Ctrl+C and SIGTERM ask the editor to end, they are no failure: while this object lives, the
// two signals are taken from their defaults (and from the crash handler) and only noted.
// Commands that run long look at exitRequested() and return as usual, so the run ends cleanly.
// A run that has not ended a moment later gets the clean-up set with setCleanUp() (from a
// thread of its own) and exits with 128 + the signal's number. This is the program's one
// interrupt path: whatever must answer Ctrl+C otherwise (a progress's cancel, a take that is
// saved) takes the signals from it for a while with take(), and installs no handler of its own.
class ExitSignals {
public:
    ExitSignals();
    ~ExitSignals();
    ExitSignals(const ExitSignals &) = delete;
    ExitSignals &operator=(const ExitSignals &) = delete;

    // What must happen before the process ends without its main thread: the session ended, the
    // queued events kept. Runs on the watching thread; may be replaced or cleared at any time.
    void setCleanUp(std::function<void()> cleanUp);

    // Whether one of the two signals arrived and nobody had taken it.
    static bool exitRequested();
    // The signal that arrived (SIGINT or SIGTERM), 0 before one did.
    static int receivedSignal();

    // While the returned token lives, each of the two signals calls `onInterrupt` on the main
    // thread's event loop instead of asking the run to end; the latest taker alone is called.
    // Without an ExitSignals alive the signals keep their default action.
    static std::shared_ptr<void> take(std::function<void()> onInterrupt);

private:
    void watch();

    std::mutex m_mutex;
    std::condition_variable m_stopped;
    bool m_stopping = false;
    std::function<void()> m_cleanUp;
    std::thread m_watcher;
};

} // namespace Shell
