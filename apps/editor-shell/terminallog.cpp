#include "terminallog.h"

#include <unistd.h>

#include <string>

namespace Shell {

namespace {
thread_local int told = 0;
}

TerminalLog::TerminalLog(bool verbose)
    : m_verbose(verbose)
{
    FLAGS_logtostderr = false;
    FLAGS_alsologtostderr = false;
    FLAGS_colorlogtostderr = false;
    // glog's own terminal copy, prefix and all, only when asked for; otherwise this sink speaks.
    FLAGS_stderrthreshold = verbose ? google::GLOG_INFO : google::GLOG_FATAL;
    google::AddLogSink(this);
}

TerminalLog::~TerminalLog()
{
    google::RemoveLogSink(this);
}

void TerminalLog::send(google::LogSeverity severity,
                       const char *,
                       const char *,
                       int,
                       const google::LogMessageTime &,
                       const char *message,
                       size_t length)
{
    if (m_verbose || told > 0 || severity < google::GLOG_WARNING || severity >= google::GLOG_FATAL)
        return;
    std::string sentence
        = severity == google::GLOG_WARNING ? "editor-shell: warning: " : "editor-shell: error: ";
    sentence.append(message, length);
    sentence += '\n';
    // One write: lines from several threads never mix.
    [[maybe_unused]] const ssize_t n = ::write(STDERR_FILENO, sentence.data(), sentence.size());
}

TerminalLog::Told::Told()
{
    ++told;
}

TerminalLog::Told::~Told()
{
    --told;
}

} // namespace Shell
