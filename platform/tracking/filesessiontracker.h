#pragma once

#include "tracking_export.h"

#include "tracking/sessiontracker.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <string>
#include <vector>

namespace Vantel::Tracking {

// Keeps one small record per run in the sessions folder: "<id>.session" (JSON: id, state, start
// time, process) and "<id>.crash" (what the crash handler wrote). A record still marked running
// when a later run starts belongs to a run that never ended cleanly: a failed session. A run
// holds a lock on its crash file for its whole life, so a second editor running at the same time
// is never taken for a failed one. Used on the main thread.
class TRACKING_EXPORT FileSessionTracker : public ISessionTracker {
public:
    enum class CrashHandler {
        Install, // glog's failure signal handler, writing into this run's crash file
        None,
    };

    // The application's tracker: records under Settings::sessionsPath(), crash handler installed.
    FileSessionTracker();
    // Starts this run's record in `folder` and reads what earlier runs left there. A folder that
    // cannot hold the record (blocked, read-only, full) gives one warning and a run without a
    // record; records and crash files that are not regular files are skipped, never waited on.
    explicit FileSessionTracker(const QString &folder,
                                CrashHandler crashHandler = CrashHandler::None);
    // Without endSession() or markRestarting() the record stays "running": the next run reports
    // this one as failed.
    ~FileSessionTracker() override;

    FileSessionTracker(const FileSessionTracker &) = delete;
    FileSessionTracker &operator=(const FileSessionTracker &) = delete;

    std::string sessionId() const override;
    // Earlier runs, oldest first. Each is handed out once: its record is removed as it is.
    std::vector<FailedSession> failedSessions() override;
    std::vector<std::string> restartedSessions() override;
    void markRestarting() override;
    void endSession() override;

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

// Most of a crash file that becomes the debug text of a failed session.
constexpr int MaxFailureText = 4096;

// What a crash file says: the signal glog's handler named ("SIGSEGV"; "UNKNOWN" when it names
// none) and the text itself, trimmed and cut to MaxFailureText. Pure, so it can be fed anything.
TRACKING_EXPORT FailureDetails parseFailureText(const QByteArray &text);

} // namespace Vantel::Tracking
