// Video upload events.

#include "Statistics/statisticsevents.h"
#include "Statistics/vocabularies.h"

namespace Statistics {

Events eventsOf(const VideoUploadStartedNotification &n)
{
    return { { "UPLOAD_STARTED", { { "SHARING", sharingName(n.service) } } } };
}

Events eventsOf(const VideoUploadFinishedNotification &n)
{
    return { { "UPLOAD_FINISHED", { { "SHARING", sharingName(n.service) } } } };
}

Events eventsOf(const VideoUploadFailureNotification &n)
{
    Params params;
    params["SHARING"] = sharingName(n.service);
    params["PARAM_ERROR_INFO"] = utf8(n.error);
    return { { "UPLOAD_FAILED", std::move(params) } };
}

Events eventsOf(const UploadedVideoUrlReceived &n)
{
    Params params;
    params["PLATFORM"] = utf8(n.platform);
    params["ID"] = utf8(n.videoId);
    return { { "VIDEO_UPLOAD_ID", std::move(params) } };
}

} // namespace Statistics
