#include "Statistics/controller.h"

#include "eventwait.h"
#include "recordingeventsink.h"
#include "tempdatafolder.h"

#include "appsettings/applicationsettingsmanager.h"
#include "tracking/generalvanteltracker.h"
#include "util/scheduler.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace Vantel::App;
using Params = std::map<std::string, std::string>;

// Runs the event loop until every Util::Scheduler request made before this call has been served:
// a request of its own, made last, is served last.
bool runScheduledCalls()
{
    struct Sentinel {
        void served() { done = true; }
        bool done = false;
        Vantel::Util::Scheduler<Sentinel> scheduler { this, &Sentinel::served };
    } sentinel;
    sentinel.scheduler.schedule();
    return TestSupport::waitUntil([&] { return sentinel.done; });
}

// Preferences on a real settings file, observed by a real statistics controller. The manager is
// made before the controller and outlives it, as in the application.
class PreferenceEvents : public ::testing::Test {
protected:
    PreferenceEvents()
    {
        tracker->addSink(sink);
        controller = std::make_unique<Statistics::Controller>(
            tracker, Statistics::Environment { &settings });
    }
    ~PreferenceEvents() override { controller.reset(); }

    std::vector<Vantel::Tracking::TrackedEvent> prefEvents() const
    {
        std::vector<Vantel::Tracking::TrackedEvent> result;
        for (const auto &event : sink->events) {
            if (event.name == "PREF_CHANGED")
                result.push_back(event);
        }
        return result;
    }

    TestSupport::TempDataFolder data;
    ApplicationSettingsManager settings;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker {
        new Vantel::Tracking::GeneralVantelTracker("sid")
    };
    std::shared_ptr<TestSupport::RecordingEventSink> sink
        = std::make_shared<TestSupport::RecordingEventSink>();
    std::unique_ptr<Statistics::Controller> controller;
};

TEST_F(PreferenceEvents, three_changes_in_one_pass_give_one_report_of_the_new_values)
{
    settings.setBool(SettingKeys::autoUpdate, false);
    settings.setBool(SettingKeys::dontShowNewProjectDialog, true);
    settings.setBool(SettingKeys::fastTrackEnabled, false);
    EXPECT_TRUE(prefEvents().empty()); // nothing before the event loop runs
    ASSERT_TRUE(runScheduledCalls());

    const auto events = prefEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].params,
              (Params { { "APP_LANGUAGE", "en_US" },
                        { "UPDATE_CHECKING", "false" },
                        { "SHOW_NEW_PROJECT", "false" },
                        { "FTHD_ENABLED", "false" } }));
}

TEST_F(PreferenceEvents, a_change_undone_in_the_same_pass_gives_none)
{
    settings.setBool(SettingKeys::fastTrackEnabled, false);
    settings.setBool(SettingKeys::fastTrackEnabled, true);
    ASSERT_TRUE(runScheduledCalls());
    EXPECT_TRUE(prefEvents().empty());
}

TEST_F(PreferenceEvents, changes_in_separate_passes_are_reported_separately)
{
    settings.setBool(SettingKeys::autoUpdate, false);
    ASSERT_TRUE(runScheduledCalls());
    settings.setBool(SettingKeys::autoUpdate, true);
    ASSERT_TRUE(runScheduledCalls());
    const auto events = prefEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].params.at("UPDATE_CHECKING"), "false");
    EXPECT_EQ(events[1].params.at("UPDATE_CHECKING"), "true");
}

TEST_F(PreferenceEvents, the_language_rides_along_but_does_not_report_alone)
{
    settings.setString(SettingKeys::language, "de_DE");
    settings.setBool("playerLoop", true);
    ASSERT_TRUE(runScheduledCalls());
    EXPECT_TRUE(prefEvents().empty());

    settings.setBool(SettingKeys::dontShowNewProjectDialog, true);
    ASSERT_TRUE(runScheduledCalls());
    const auto events = prefEvents();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].params.at("APP_LANGUAGE"), "de_DE");
    EXPECT_EQ(events[0].params.at("SHOW_NEW_PROJECT"), "false");
}

TEST_F(PreferenceEvents, a_report_still_pending_at_shutdown_is_dropped)
{
    settings.setBool(SettingKeys::autoUpdate, false);
    controller.reset();
    ASSERT_TRUE(runScheduledCalls());
    EXPECT_TRUE(prefEvents().empty());
    EXPECT_EQ(sink->names().back(), "APP_EXIT");
}

} // namespace
