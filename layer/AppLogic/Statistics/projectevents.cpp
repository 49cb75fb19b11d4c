// Project and application events.

#include "Statistics/statisticsevents.h"
#include "Statistics/timelinepicker.h"
#include "Statistics/vocabularies.h"

#include "util/format.h"

#include <QStringList>

namespace Statistics {

Events eventsOf(const ProjectOpenedNotification &n)
{
    Params params;
    params["SUCCESS"] = flag(n.success);
    params["LOST_FILES"] = decimal(n.lostFiles);
    if (!n.success)
        params["ERROR_REASON"] = utf8(n.errorReason);
    params["PORTABLE"] = flag(n.portable);
    params["PROJECT_ID"] = decimal(n.projectId);
    params["READ_DURATION_MS"] = millis(n.readDuration);
    appendTimelineParams(params, n.project);
    return { { "PROJECT_OPENED", std::move(params) } };
}

Events eventsOf(const ProjectSavedNotification &n)
{
    Params params;
    params["SUCCESS"] = flag(n.success);
    params["SAVE_DURATION_MS"] = millis(n.saveDuration);
    appendTimelineParams(params, n.project);
    return { { "PROJECT_SAVED", std::move(params) } };
}

Events eventsOf(const PortableProjectSavedNotification &n)
{
    return { { "PORTABLE_PROJECT_SAVED", { { "PROJECT_ID", decimal(n.projectId) } } } };
}

Events eventsOf(const AdjustProjectAspectSuggestedNotification &n)
{
    Params params;
    params["RESULT"] = flag(n.accepted);
    params["ASPECT_RATIO"] = utf8(QStringLiteral("%1:%2").arg(n.ratioWidth).arg(n.ratioHeight));
    return { { "ASPECT_DIALOG_SHOW", std::move(params) } };
}

Events eventsOf(const AspectRatioChanged &n)
{
    return { { "ASPECT_CHANGED",
               { { "WIDTH_HEIGHT", utf8(Format::videoResolution(n.frameSize)) } } } };
}

Events eventsOf(const ClipsChangedNotification &n)
{
    return { { utf8(n.event), { { "CLIPS_IN_SELECTION", decimal(n.clipsCount) } } } };
}

Events eventsOf(const DeleteFailedFilesEventNotification &n)
{
    Params params;
    params["DELETION_CLIPS_ALLOWED"] = flag(n.deletionAllowed);
    params["CLIPS_DELETED"] = flag(n.clipsDeleted);
    return { { "FAILED_FILES_DIALOG_SHOWN", std::move(params) } };
}

Events eventsOf(const CodecsFailed &n)
{
    Params params;
    params["EXTENSION"] = utf8(n.extension);
    params["FIRST_CODEC"] = n.codecs.isEmpty() ? std::string() : utf8(n.codecs.first());
    params["ALL_CODECS"] = utf8(n.codecs.join(QLatin1Char(',')));
    params["CODECS_COUNT"] = decimal(n.codecs.size());
    return { { "CODECS_FAILED", std::move(params) } };
}

Events eventsOf(const PlayerEventNotification &n)
{
    const char *name = playerEvent(n.kind);
    if (!name)
        return {};
    return { { name, { { "DIRECTION", playerDirection(n.kind) } } } };
}

Events eventsOf(const InputMethodChanged &n)
{
    return { { "INPUT_METHOD_CHANGED", { { "METHOD", utf8(n.method) } } } };
}

Events eventsOf(const IntelMediaTemporaryDisabled &)
{
    return { { "IM_TEMPORARY_DISABLED", {} } };
}

} // namespace Statistics
