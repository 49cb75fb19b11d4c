#include "Messages/statistics.h"
#include "Statistics/controller.h"
#include "Statistics/istatistics.h"

#include "recordingeventsink.h"
#include "tempdatafolder.h"
#include "testfiles.h"

#include "pubsub/subscriber.h"
#include "tracking/sessiontracker.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

using Vantel::Tracking::GeneralVantelTracker;

namespace {

// Earlier runs as a test chooses them.
class FakeSessionTracker : public Vantel::Tracking::ISessionTracker {
public:
    std::string sessionId() const override { return "test-session"; }
    std::vector<Vantel::Tracking::FailedSession> failedSessions() override { return failed; }
    std::vector<std::string> restartedSessions() override { return restarted; }
    void markRestarting() override { }
    void endSession() override { }

    std::vector<Vantel::Tracking::FailedSession> failed;
    std::vector<std::string> restarted;
};

class StatisticsController : public ::testing::Test {
protected:
    StatisticsController()
    {
        tracker->addSink(sink);
        Vantel::Tracking::setSessionTrackerInstance(sessions);
    }
    ~StatisticsController() override { Vantel::Tracking::setSessionTrackerInstance(nullptr); }

    // Makes the data folder look like an installation that was launched before.
    void markInstalled() { TestSupport::writeFile(data.filePath("installation")); }

    TestSupport::TempDataFolder data;
    boost::intrusive_ptr<GeneralVantelTracker> tracker { new GeneralVantelTracker("sid") };
    std::shared_ptr<TestSupport::RecordingEventSink> sink
        = std::make_shared<TestSupport::RecordingEventSink>();
    std::shared_ptr<FakeSessionTracker> sessions = std::make_shared<FakeSessionTracker>();
};

TEST_F(StatisticsController,
       first_launch_sends_first_start_and_failures_with_accelerator_properties)
{
    sessions->failed = { { "crashed", std::nullopt } };
    Statistics::Controller controller(tracker);
    controller.startTracking(true);
    ASSERT_EQ(sink->names(), (std::vector<std::string> { "APP_FAILED", "APP_FIRST_START" }));
    for (const auto &event : sink->events)
        EXPECT_EQ(event.params.count("HW_ACCELERATORS"), 1u) << event.name;
}

TEST_F(StatisticsController, later_launch_sends_every_start)
{
    markInstalled();
    Statistics::Controller controller(tracker);
    controller.startTracking(true);
    EXPECT_EQ(sink->names(), std::vector<std::string> { "APP_EVERY_START" });
}

TEST_F(StatisticsController, second_start_tracking_does_nothing)
{
    Statistics::Controller controller(tracker);
    controller.startTracking(true);
    controller.startTracking(true);
    controller.startTracking(false);
    ASSERT_EQ(sink->names(), std::vector<std::string> { "APP_FIRST_START" });
    // One filler registration only: a second one would not duplicate keys, so check it by the
    // one event that still gets fillers after start.
    tracker->sendEvent("APP_FAILED", {});
    EXPECT_EQ(sink->events.back().params.count("HW_ACCELERATORS"), 1u);
}

TEST_F(StatisticsController, without_fillers_reports_earlier_sessions_and_start_bare)
{
    sessions->failed
        = { { "crashed", Vantel::Tracking::FailureDetails { "SIGSEGV", "*** SIGSEGV" } },
            { "killed", std::nullopt } };
    sessions->restarted = { "restarted" };
    Statistics::Controller controller(tracker);
    controller.startTracking(false);

    ASSERT_EQ(sink->names(),
              (std::vector<std::string> { "APP_FAILED", "APP_FAILED", "APP_RESTARTED",
                                          "APP_FIRST_START" }));
    EXPECT_EQ(sink->events[0].params,
              (std::map<std::string, std::string> { { "SID", "crashed" },
                                                    { "FAIL_AREA", "SIGSEGV" },
                                                    { "FAIL_DEBUG_INFO", "*** SIGSEGV" } }));
    EXPECT_EQ(sink->events[1].params, (std::map<std::string, std::string> { { "SID", "killed" } }));
    EXPECT_EQ(sink->events[2].params,
              (std::map<std::string, std::string> { { "SID", "restarted" } }));
    EXPECT_TRUE(sink->events[3].params.empty());
}

TEST_F(StatisticsController, destruction_sends_exit_clears_the_global_access_and_stops_listening)
{
    {
        Statistics::Controller controller(tracker);
        EXPECT_NE(Statistics::statistics(), nullptr);
    }
    EXPECT_EQ(Statistics::statistics(), nullptr);
    PubSub::publish(Statistics::OsShutdownNotification());
    EXPECT_EQ(sink->names(), std::vector<std::string> { "APP_EXIT" });
}

TEST_F(StatisticsController, destruction_while_unwinding_sends_no_exit)
{
    try {
        Statistics::Controller controller(tracker);
        throw std::runtime_error("crash on its way");
    } catch (const std::runtime_error &) {
    }
    EXPECT_TRUE(sink->events.empty());
}

TEST_F(StatisticsController, interaction_becomes_event_with_method_and_parameters)
{
    Statistics::Controller controller(tracker);
    Statistics::InteractionNotification n("BLADE_ALERT_CLOSED", "ENABLE");
    n.parameters.insert("NAME", "Übergang");
    PubSub::publish(n);
    PubSub::publish(Statistics::InteractionNotification("BLADE_ALERT_SHOWN", {}));
    ASSERT_EQ(sink->names(),
              (std::vector<std::string> { "BLADE_ALERT_CLOSED", "BLADE_ALERT_SHOWN" }));
    EXPECT_EQ(
        sink->events[0].params,
        (std::map<std::string, std::string> { { "METHOD", "ENABLE" }, { "NAME", "Übergang" } }));
    EXPECT_TRUE(sink->events[1].params.empty()) << "without a value there is no method";
}

// Interactions are the statistics domain's own record: the same type from another sender is not.
TEST_F(StatisticsController, an_interaction_from_another_sender_is_no_event)
{
    Statistics::Controller controller(tracker);
    PubSub::Object elsewhere;
    Statistics::InteractionNotification foreign("BLADE_ALERT_SHOWN", {});
    static_cast<PubSub::Details::MessageBase &>(foreign) = PubSub::Details::MessageBase(&elsewhere);
    PubSub::publish(foreign);
    PubSub::publish(Statistics::InteractionNotification("BLADE_ALERT_CLOSED", "CLOSE"));
    EXPECT_EQ(sink->names(), std::vector<std::string> { "BLADE_ALERT_CLOSED" });
}

TEST_F(StatisticsController, launch_report_carries_stage_times_and_first_start_flag)
{
    Statistics::Controller controller(tracker);
    Vantel::Profiler::Result result;
    result.total = 1234;
    result.stages[Vantel::Profiler::PROFILER_CAPTURE_CONTROLLER] = 17;
    result.stages["unrelated_stage"] = 5;
    PubSub::publish(Statistics::AppLaunchedNotification(result));
    ASSERT_NE(sink->last("APP_LAUNCHED"), nullptr);
    EXPECT_EQ(sink->last("APP_LAUNCHED")->params,
              (std::map<std::string, std::string> { { "CAPTURE_CONTROLLER_CREATE", "17" },
                                                    { "IS_FIRST_START", "true" },
                                                    { "STARTUP_TIME_MS", "1234" } }));
}

} // namespace
