#pragma once

#include <glog/logging.h>

namespace Shell {

// The terminal's view of the log: a warning or an error reaches the user as one plain sentence
// ("editor-shell: warning: ..."), while the full line, with its time and source, goes to the
// log file (and, with --verbose, to the terminal in glog's own form instead). Where the shell
// tells the user in its own words, it logs inside a Told scope, so the user reads it once.
class TerminalLog : public google::LogSink {
public:
    explicit TerminalLog(bool verbose);
    ~TerminalLog() override;
    TerminalLog(const TerminalLog &) = delete;
    TerminalLog &operator=(const TerminalLog &) = delete;

    void send(google::LogSeverity severity,
              const char *fullFilename,
              const char *baseFilename,
              int line,
              const google::LogMessageTime &time,
              const char *message,
              size_t length) override;

    // While one lives on a thread, that thread's log lines stay off the terminal.
    class Told {
    public:
        Told();
        ~Told();
        Told(const Told &) = delete;
        Told &operator=(const Told &) = delete;
    };

private:
    bool m_verbose;
};

} // namespace Shell
