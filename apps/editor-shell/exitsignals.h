#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Shell {

// Ctrl+C and SIGTERM ask the editor to end, they are no failure: while this object lives, the
// two signals are taken from their defaults (and from the crash handler) and only noted.
// Commands that run long look at exitRequested() and return as usual, so the run ends cleanly.
// A run that has not ended a moment later gets the clean-up set with setCleanUp() (from a
// thread of its own) and exits with 128 + the signal's number. An import's progress takes
// Ctrl+C for itself while it shows.
class ExitSignals {
public:
    ExitSignals();
    ~ExitSignals();
    ExitSignals(const ExitSignals &) = delete;
    ExitSignals &operator=(const ExitSignals &) = delete;

    // What must happen before the process ends without its main thread: the session ended, the
    // queued events kept. Runs on the watching thread; may be replaced or cleared at any time.
    void setCleanUp(std::function<void()> cleanUp);

    // Whether one of the two signals arrived.
    static bool exitRequested();
    // The signal that arrived (SIGINT or SIGTERM), 0 before one did.
    static int receivedSignal();

private:
    void watch();

    std::mutex m_mutex;
    std::condition_variable m_stopped;
    bool m_stopping = false;
    std::function<void()> m_cleanUp;
    std::thread m_watcher;
};

} // namespace Shell
