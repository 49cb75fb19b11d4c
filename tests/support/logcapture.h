#pragma once

#include <glog/logging.h>

#include <mutex>
#include <string>
#include <vector>

namespace TestSupport {

// Collects the warnings and errors glog is given while it lives, from any thread, so a test can
// check that a problem was reported (and how). Lowers the test main's threshold to warnings for
// its lifetime.
class LogCapture : public google::LogSink {
public:
    LogCapture()
        : m_savedMinLevel(FLAGS_minloglevel)
    {
        FLAGS_minloglevel = google::GLOG_WARNING;
        google::AddLogSink(this);
    }
    ~LogCapture() override
    {
        google::RemoveLogSink(this);
        FLAGS_minloglevel = m_savedMinLevel;
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    void send(google::LogSeverity severity,
              const char *,
              const char *,
              int,
              const google::LogMessageTime &,
              const char *message,
              size_t size) override
    {
        if (severity < google::GLOG_WARNING)
            return;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_messages.emplace_back(message, size);
    }

    std::vector<std::string> messages() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_messages;
    }

    // The messages that contain every one of `parts`.
    std::vector<std::string> matching(const std::vector<std::string> &parts) const
    {
        std::vector<std::string> result;
        for (const std::string &message : messages()) {
            bool all = true;
            for (const std::string &part : parts)
                all = all && message.find(part) != std::string::npos;
            if (all)
                result.push_back(message);
        }
        return result;
    }

private:
    int m_savedMinLevel;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_messages;
};

} // namespace TestSupport
