#pragma once

#include "Statistics/controller.h"
#include "Statistics/statisticsevents.h"

#include "recordingeventsink.h"
#include "tablerow.h"
#include "tempdatafolder.h"

#include "mediamodel/mediafile.h"
#include "pubsub/subscriber.h"
#include "resource/resourcecontroller.h"
#include "timeline/timeline.h"
#include "tracking/generalvanteltracker.h"

#include <gtest/gtest.h>

#include <boost/intrusive_ptr.hpp>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Statistics {
inline void PrintTo(const Event &event, std::ostream *os)
{
    *os << event.name << " {";
    for (const auto &[key, value] : event.params)
        *os << ' ' << key << '=' << value;
    *os << " }";
}
} // namespace Statistics

namespace StatisticsTest {

using Params = Statistics::Params;
using Statistics::Event;

// The statistics controller on a real tracker whose events land in a recorder. Notifications go
// through the real dispatcher, so a test sees exactly what the editor would send.
class TrackedEvents : public ::testing::Test {
protected:
    TrackedEvents() { tracker->addSink(sink); }

    TestSupport::TempDataFolder data;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker {
        new Vantel::Tracking::GeneralVantelTracker("sid")
    };
    std::shared_ptr<TestSupport::RecordingEventSink> sink
        = std::make_shared<TestSupport::RecordingEventSink>();
    Resource::Controller resources;
    Statistics::Controller controller { tracker, { nullptr, &resources } };
};

// One row of an event table: what the editor publishes, and every event the tracker must be
// handed for it, in order (nothing at all when `expected` is empty).
struct EventCase : TestSupport::TableRow {
    std::function<void()> send;
    std::vector<Event> expected;
};

template<class N> std::function<void()> sending(N notification)
{
    return [n = std::move(notification)] { PubSub::publish(n); };
}

// The suite every event file instantiates with its own table.
class StatisticsEvents
    : public TrackedEvents
    , public ::testing::WithParamInterface<EventCase> { };

inline std::shared_ptr<Media::File> videoFile(const char *path, std::int64_t ms = 4000)
{
    auto file = std::make_shared<Media::File>(QString::fromLatin1(path));
    file->duration = MTime::fromMSec(ms);
    file->videoTracks.emplace_back();
    return file;
}

inline std::shared_ptr<Media::File> photoFile(const char *path)
{
    auto file = std::make_shared<Media::File>(QString::fromLatin1(path));
    Media::VideoTrack still;
    still.stillImage = true;
    file->videoTracks.push_back(still);
    return file;
}

inline std::shared_ptr<Media::File> soundFile(const char *path, std::int64_t ms = 4000)
{
    auto file = std::make_shared<Media::File>(QString::fromLatin1(path));
    file->duration = MTime::fromMSec(ms);
    file->audioTracks.emplace_back();
    return file;
}

} // namespace StatisticsTest
