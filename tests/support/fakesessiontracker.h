#pragma once

#include "tracking/sessiontracker.h"

#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

// A session tracker whose earlier runs a test chooses.
class FakeSessionTracker : public Vantel::Tracking::ISessionTracker {
public:
    std::string sessionId() const override { return "test-session"; }
    std::vector<Vantel::Tracking::FailedSession> failedSessions() override { return failed; }
    std::vector<std::string> restartedSessions() override { return restarted; }
    void markRestarting() override { restarting = true; }
    void endSession() override { ended = true; }

    std::vector<Vantel::Tracking::FailedSession> failed;
    std::vector<std::string> restarted;
    bool restarting = false;
    bool ended = false;
};

} // namespace TestSupport
