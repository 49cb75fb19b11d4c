#include "Messages/uploads.h"

#include "trackedevents.h"

namespace {

using namespace StatisticsTest;
using namespace Statistics;

const EventCase uploadCases[] = {
    { "started",
      sending(VideoUploadStartedNotification(SharingService::TikTok)),
      { { "UPLOAD_STARTED", { { "SHARING", "TIKTOK" } } } } },
    { "finished",
      sending(VideoUploadFinishedNotification(SharingService::Vimeo)),
      { { "UPLOAD_FINISHED", { { "SHARING", "VIMEO" } } } } },
    { "failed",
      sending(VideoUploadFailureNotification(SharingService::GoogleDrive, "quota exceeded")),
      { { "UPLOAD_FAILED",
          { { "SHARING", "GOOGLE_DRIVE" }, { "PARAM_ERROR_INFO", "quota exceeded" } } } } },
    { "uploaded_video_names_platform_and_identifier",
      sending(UploadedVideoUrlReceived("YOUTUBE", "dQw4w9WgXcQ")),
      { { "VIDEO_UPLOAD_ID", { { "PLATFORM", "YOUTUBE" }, { "ID", "dQw4w9WgXcQ" } } } } },
};

INSTANTIATE_TEST_SUITE_P(Uploads,
                         StatisticsEvents,
                         ::testing::ValuesIn(uploadCases),
                         TestSupport::tableRowName);

} // namespace
