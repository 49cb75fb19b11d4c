#include "tracking/generalvanteltracker.h"

#include "tracking/eventstore.h"
#include "tracking/jsonlinessink.h"

#include "recordingeventsink.h"
#include "shellrun.h"
#include "tablerow.h"

#include <QTemporaryDir>

#include <boost/intrusive_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <set>
#include <thread>
#include <vector>

using namespace Vantel::Tracking;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;
using TestSupport::RecordingEventSink;

namespace {

// Adds one fixed key.
class KeyFiller : public IDataFiller {
public:
    KeyFiller(std::string key, std::string value)
        : m_key(std::move(key))
        , m_value(std::move(value))
    {
    }
    void appendParams(std::map<std::string, std::string> &params) override
    {
        params[m_key] = m_value;
    }

private:
    std::string m_key;
    std::string m_value;
};

class GeneralVantelTrackerTest : public ::testing::Test {
protected:
    GeneralVantelTrackerTest() { tracker->addSink(sink); }

    boost::intrusive_ptr<GeneralVantelTracker> tracker { new GeneralVantelTracker("session-7") };
    std::shared_ptr<RecordingEventSink> sink = std::make_shared<RecordingEventSink>();
};

struct Matching : TestSupport::TableRow {
    FillerKeyMatchingMethod method;
    std::string key;
    std::string event;
    bool fills;
};

class FillerMatching
    : public GeneralVantelTrackerTest
    , public ::testing::WithParamInterface<Matching> { };

const Matching matchings[] = {
    { "exact_same_name", FillerKeyMatchingMethod::Exact, "APP_FAILED", "APP_FAILED", true },
    { "exact_longer_name", FillerKeyMatchingMethod::Exact, "APP", "APP_FAILED", false },
    { "exact_shorter_name", FillerKeyMatchingMethod::Exact, "APP_FAILED", "APP", false },
    { "exact_other_case", FillerKeyMatchingMethod::Exact, "APP_FAILED", "app_failed", false },
    { "prefix_of_the_name", FillerKeyMatchingMethod::Prefix, "APP_", "APP_FAILED", true },
    { "prefix_whole_name", FillerKeyMatchingMethod::Prefix, "APP_FAILED", "APP_FAILED", true },
    { "prefix_longer_than_the_name", FillerKeyMatchingMethod::Prefix, "APP_FAILED_X", "APP_FAILED",
      false },
    { "prefix_elsewhere_in_the_name", FillerKeyMatchingMethod::Prefix, "FAILED", "APP_FAILED",
      false },
    { "empty_prefix", FillerKeyMatchingMethod::Prefix, "", "ANYTHING", true },
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
                         TestSupport::tableRowName);

TEST_F(GeneralVantelTrackerTest, every_sink_gets_name_params_session_and_the_current_time)
{
    auto second = std::make_shared<RecordingEventSink>();
    tracker->addSink(second);
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = now();
    tracker->sendEvent("PROJECT_SAVED", { { "CLIPS", "3" }, { "AUDIO", "true" } });
    const auto after = now();

    for (const auto &recorder : { sink, second }) {
        ASSERT_EQ(recorder->events.size(), 1u);
        const TrackedEvent &e = recorder->events[0];
        EXPECT_EQ(e.name, "PROJECT_SAVED");
        EXPECT_THAT(e.params, ElementsAre(Pair("AUDIO", "true"), Pair("CLIPS", "3")));
        EXPECT_EQ(e.session, "session-7");
        EXPECT_GE(e.timeMs, before);
        EXPECT_LE(e.timeMs, after);
    }
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
    tracker->RegisterFiller("E", std::make_shared<KeyFiller>("K", "filler"),
                            FillerKeyMatchingMethod::Exact);
    tracker->sendEvent("E", { { "K", "sender" }, { "OTHER", "kept" } });
    EXPECT_THAT(sink->events.at(0).params,
                UnorderedElementsAre(Pair("K", "filler"), Pair("OTHER", "kept")));
}

TEST_F(GeneralVantelTrackerTest, a_null_filler_is_not_registered)
{
    tracker->RegisterFiller("E", nullptr, FillerKeyMatchingMethod::Exact);
    tracker->sendEvent("E", {});
    EXPECT_THAT(sink->events.at(0).params, IsEmpty());
}

TEST(GeneralVantelTrackerThreads,
     sends_from_several_threads_reach_the_export_file_and_the_store_whole)
{
    QTemporaryDir dir;
    const QString lines = dir.filePath("events.jsonl");
    auto store = std::make_shared<EventStore>(dir.filePath("events.sqlite"));
    boost::intrusive_ptr<GeneralVantelTracker> tracker { new GeneralVantelTracker("threads") };
    tracker->addSink(std::make_shared<JsonLinesSink>(lines));
    tracker->addSink(store);

    constexpr int senders = 4;
    constexpr int perSender = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < senders; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < perSender; ++i)
                tracker->sendEvent("FROM_THREAD",
                                   { { "T", std::to_string(t) }, { "I", std::to_string(i) } });
        });
    }
    // Registering while the others send: a filler may or may not see a given event, never half.
    for (int i = 0; i < 200; ++i)
        tracker->RegisterFiller("FROM_THREAD",
                                std::make_shared<KeyFiller>("F" + std::to_string(i), "x"),
                                FillerKeyMatchingMethod::Exact);
    for (auto &thread : threads)
        thread.join();
    store->flush();

    std::set<std::pair<QString, QString>> seen;
    for (const QJsonObject &line : TestSupport::jsonLinesOf(lines)) {
        const QJsonObject params = line.value("params").toObject();
        seen.emplace(params.value("T").toString(), params.value("I").toString());
    }
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(senders * perSender));
    EXPECT_EQ(store->count(), senders * perSender);
}
