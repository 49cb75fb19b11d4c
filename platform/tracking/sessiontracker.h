#pragma once

#include "tracking_export.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Vantel::Tracking {

// What a crash handler recorded about a run that died.
struct FailureDetails {
    std::string area; // where it failed, e.g. "SIGSEGV" or the failing component
    std::string debugInfo; // the handler's text (signal, address, stack)
};

struct FailedSession {
    std::string id;
    std::optional<FailureDetails> details;
};

// Knows this run's session and what became of earlier runs: which ended without a clean exit
// (failed) and which the application ended on purpose to start again (restarted). Earlier runs
// are reported once: after the first question they count as reported.
class TRACKING_EXPORT ISessionTracker {
public:
    virtual ~ISessionTracker() = default;
    virtual std::string sessionId() const = 0;
    virtual std::vector<FailedSession> failedSessions() = 0;
    virtual std::vector<std::string> restartedSessions() = 0;
    // This run ends on purpose and a new one follows.
    virtual void markRestarting() = 0;
    // This run ends cleanly.
    virtual void endSession() = 0;
};

// The process's session tracker; the shell installs the real one at start-up.
TRACKING_EXPORT std::shared_ptr<ISessionTracker> getSessionTrackerInstance();
TRACKING_EXPORT void setSessionTrackerInstance(std::shared_ptr<ISessionTracker> tracker);

} // namespace Vantel::Tracking
