#include "tracking/generalvanteltracker.h"

#include "recordingeventsink.h"

#include <boost/intrusive_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>

using namespace Vantel::Tracking;
using TestSupport::RecordingEventSink;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

namespace {

// Adds one fixed key, and counts how often it was asked.
class KeyFiller : public IDataFiller
{
public:
    KeyFiller(std::string key, std::string value)
        : m_key(std::move(key))
        , m_value(std::move(value))
    {}
    void appendParams(std::map<std::string, std::string> &params) override
    {
        ++calls;
        params[m_key] = m_value;
    }
    int calls = 0;

private:
    std::string m_key;
    std::string m_value;
};

class GeneralVantelTrackerTest : public ::testing::Test
{
protected:
    GeneralVantelTrackerTest()
    {
        tracker->addSink(sink);
    }

    boost::intrusive_ptr<GeneralVantelTracker> tracker{new GeneralVantelTracker("session-7")};
    std::shared_ptr<RecordingEventSink> sink = std::make_shared<RecordingEventSink>();
};

struct Matching
{
    const char *name;
    FillerKeyMatchingMethod method;
    std::string key;
    std::string event;
    bool fills;
};

void PrintTo(const Matching &m, std::ostream *os)
{
    *os << m.name;
}

class FillerMatching : public GeneralVantelTrackerTest, public ::testing::WithParamInterface<Matching>
{};

const Matching matchings[] = {
    {"exact_same_name", FillerKeyMatchingMethod::Exact, "APP_FAILED", "APP_FAILED", true},
    {"exact_longer_name", FillerKeyMatchingMethod::Exact, "APP", "APP_FAILED", false},
    {"exact_shorter_name", FillerKeyMatchingMethod::Exact, "APP_FAILED", "APP", false},
    {"exact_other_case", FillerKeyMatchingMethod::Exact, "APP_FAILED", "app_failed", false},
    {"prefix_of_the_name", FillerKeyMatchingMethod::Prefix, "APP_", "APP_FAILED", true},
    {"prefix_whole_name", FillerKeyMatchingMethod::Prefix, "APP_FAILED", "APP_FAILED", true},
    {"prefix_longer_than_the_name", FillerKeyMatchingMethod::Prefix, "APP_FAILED_X", "APP_FAILED", false},
    {"prefix_elsewhere_in_the_name", FillerKeyMatchingMethod::Prefix, "FAILED", "APP_FAILED", false},
    {"empty_prefix", FillerKeyMatchingMethod::Prefix, "", "ANYTHING", true},
};

} // namespace

TEST_P(FillerMatching, fills_only_the_events_its_key_matches)
{
    const Matching &m = GetParam();
    tracker->RegisterFiller(m.key, std::make_shared<KeyFiller>("FILLED", "yes"), m.method);
    tracker->sendEvent(m.event, {});
    ASSERT_EQ(sink->events.size(), 1u);
    EXPECT_EQ(sink->events[0].params.count("FILLED"), m.fills ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(GeneralVantelTracker,
                         FillerMatching,
                         ::testing::ValuesIn(matchings),
                         [](const auto &info) { return std::string(info.param.name); });

TEST_F(GeneralVantelTrackerTest, sinks_get_name_params_session_and_the_current_time)
{
    const auto before = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    tracker->sendEvent("PROJECT_SAVED", {{"CLIPS", "3"}});
    const auto after = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();

    ASSERT_EQ(sink->events.size(), 1u);
    const TrackedEvent &e = sink->events[0];
    EXPECT_EQ(e.name, "PROJECT_SAVED");
    EXPECT_THAT(e.params, ElementsAre(Pair("CLIPS", "3")));
    EXPECT_EQ(e.session, "session-7");
    EXPECT_GE(e.timeMs, before);
    EXPECT_LE(e.timeMs, after);
}

TEST_F(GeneralVantelTrackerTest, every_sink_gets_the_whole_event)
{
    auto second = std::make_shared<RecordingEventSink>();
    tracker->addSink(second);
    tracker->sendEvent("E", {{"A", "1"}, {"B", "2"}});
    ASSERT_EQ(sink->events.size(), 1u);
    ASSERT_EQ(second->events.size(), 1u);
    EXPECT_EQ(sink->events[0].params, second->events[0].params);
    EXPECT_EQ(sink->events[0].session, second->events[0].session);
    EXPECT_EQ(second->events[0].params.size(), 2u);
}

TEST_F(GeneralVantelTrackerTest, a_removed_sink_gets_nothing_more)
{
    tracker->sendEvent("BEFORE", {});
    tracker->removeSink(sink);
    tracker->sendEvent("AFTER", {});
    EXPECT_THAT(sink->names(), ElementsAre("BEFORE"));
}

TEST_F(GeneralVantelTrackerTest, a_filler_value_wins_over_the_sender_for_the_same_key)
{
    tracker->RegisterFiller("E", std::make_shared<KeyFiller>("K", "filler"), FillerKeyMatchingMethod::Exact);
    tracker->sendEvent("E", {{"K", "sender"}, {"OTHER", "kept"}});
    EXPECT_THAT(sink->events.at(0).params,
                UnorderedElementsAre(Pair("K", "filler"), Pair("OTHER", "kept")));
}

TEST_F(GeneralVantelTrackerTest, one_filler_registered_for_several_events_fills_each)
{
    auto filler = std::make_shared<KeyFiller>("HW", "x");
    for (const std::string *name : {&GeneralVantelTracker::APP_FIRST_START,
                                    &GeneralVantelTracker::APP_EVERY_START,
                                    &GeneralVantelTracker::APP_FAILED})
        tracker->RegisterFiller(*name, filler, FillerKeyMatchingMethod::Exact);

    tracker->sendEvent(GeneralVantelTracker::APP_EVERY_START, {});
    tracker->sendEvent(GeneralVantelTracker::APP_FAILED, {});
    tracker->sendEvent(GeneralVantelTracker::APP_EXIT, {});

    EXPECT_EQ(filler->calls, 2);
    EXPECT_EQ(sink->events.at(2).params.count("HW"), 0u);
}

TEST_F(GeneralVantelTrackerTest, a_null_filler_is_not_registered)
{
    tracker->RegisterFiller("E", nullptr, FillerKeyMatchingMethod::Exact);
    tracker->sendEvent("E", {});
    EXPECT_THAT(sink->events.at(0).params, IsEmpty());
}

TEST_F(GeneralVantelTrackerTest, a_map_handed_over_arrives_unchanged)
{
    std::map<std::string, std::string> params{{"A", "1"}};
    tracker->sendEvent("E", std::move(params));
    EXPECT_THAT(sink->events.at(0).params, ElementsAre(Pair("A", "1")));
}
