#pragma once

#include "Statistics/controller.h"

#include "recordingeventsink.h"
#include "tempdatafolder.h"

#include "media/mediafile.h"
#include "pubsub/subscriber.h"
#include "timeline/timeline.h"
#include "tracking/generalvanteltracker.h"

#include <gtest/gtest.h>

#include <boost/intrusive_ptr.hpp>

#include <memory>
#include <string>
#include <vector>

namespace StatisticsTest {

using Vantel::Tracking::TrackedEvent;
using Params = std::map<std::string, std::string>;

// The statistics controller on a real tracker whose events land in a recorder. Notifications go
// through the real dispatcher, so a test sees exactly what the editor would send.
class TrackedEvents : public ::testing::Test
{
protected:
    TrackedEvents() { tracker->addSink(sink); }

    // Everything the tracker was handed while `notification` was delivered.
    template<class N>
    std::vector<TrackedEvent> publish(const N &notification)
    {
        const std::size_t before = sink->events.size();
        PubSub::publish(notification);
        return {sink->events.begin() + static_cast<std::ptrdiff_t>(before), sink->events.end()};
    }

    // The one event a notification gave; fails the test when it gave none or several.
    template<class N>
    TrackedEvent publishOne(const N &notification)
    {
        const auto events = publish(notification);
        EXPECT_EQ(events.size(), 1u);
        return events.empty() ? TrackedEvent{} : events.front();
    }

    TestSupport::TempDataFolder data;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker{
        new Vantel::Tracking::GeneralVantelTracker("sid")};
    std::shared_ptr<TestSupport::RecordingEventSink> sink = std::make_shared<TestSupport::RecordingEventSink>();
    Statistics::Controller controller{tracker};
};

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
