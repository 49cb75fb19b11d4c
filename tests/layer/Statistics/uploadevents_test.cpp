#include "Messages/uploads.h"

#include "trackedevents.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using namespace Statistics;

struct Service
{
    int value;
    const char *word;
};

class UploadEvents : public TrackedEvents, public ::testing::WithParamInterface<Service>
{
protected:
    SharingService service() const { return static_cast<SharingService>(GetParam().value); }
};

TEST_P(UploadEvents, name_the_service_at_start_finish_and_failure)
{
    const auto started = publishOne(VideoUploadStartedNotification(service()));
    EXPECT_EQ(started.name, "UPLOAD_STARTED");
    EXPECT_EQ(started.params, (Params{{"SHARING", GetParam().word}}));

    const auto finished = publishOne(VideoUploadFinishedNotification(service()));
    EXPECT_EQ(finished.name, "UPLOAD_FINISHED");
    EXPECT_EQ(finished.params, (Params{{"SHARING", GetParam().word}}));

    const auto failed = publishOne(VideoUploadFailureNotification(service(), QStringLiteral("quota exceeded")));
    EXPECT_EQ(failed.name, "UPLOAD_FAILED");
    EXPECT_EQ(failed.params, (Params{{"SHARING", GetParam().word}, {"PARAM_ERROR_INFO", "quota exceeded"}}));
}

INSTANTIATE_TEST_SUITE_P(Services,
                         UploadEvents,
                         ::testing::Values(Service{0, "YOUTUBE"}, Service{1, "VIMEO"}, Service{2, "GOOGLE_DRIVE"},
                                           Service{3, "TIKTOK"}, Service{4, "UNKNOWN"}));

using UploadedVideo = StatisticsTest::TrackedEvents;

TEST_F(UploadedVideo, reports_platform_and_identifier)
{
    const auto event = publishOne(UploadedVideoUrlReceived(QStringLiteral("YOUTUBE"), QStringLiteral("dQw4w9WgXcQ")));
    EXPECT_EQ(event.name, "VIDEO_UPLOAD_ID");
    EXPECT_EQ(event.params, (Params{{"PLATFORM", "YOUTUBE"}, {"ID", "dQw4w9WgXcQ"}}));
}

} // namespace
