#include "Statistics/filesstatistics.h"

#include "Statistics/eventparams.h"

#include "media/codecconfig.h"
#include "mediamodel/mediafile.h"
#include "timeline/timeline.h"
#include "util/format.h"
#include "util/fs.h"

namespace Statistics {

namespace {

const char *const addingMethods[] = {
    "drag_and_drop_collection",
    "drag_and_drop_timeline",
    "drag_and_drop_timeline_collection",
    "drag_and_drop_collection_to_timeline",
    "drag_and_drop_explorer",
    "context_menu",
    "player_drag_and_drop",
    "intro_clip_drag_and_drop",
    "import_button",
    "collection_button",
    "collection_context_menu",
    "plus_btn_files",
    "plus_btn_music",
    "main_menu",
    "main_import_button",
    "timeline_import_button",
    "import_folders",
    "audio_rec",
    "external",
    "collection_item_double_click",
    "collection_item_click",
    "current_position_collection",
    "in_beginning_collection",
    "in_ending_collection",
    "after_current_clip_collection",
    "transition_settings",
    "generated",
    "undo",
    "redo",
};

const char *const dialogActions[] = { "SKIPPED", "CLOSED" };

std::string extensionOf(const QString &path)
{
    return utf8(FS::extensionL(path));
}

// Bits per second to kbit/s, the remainder dropped.
std::string kbits(std::int64_t bitRate)
{
    return decimal(bitRate / 1000);
}

template<class Tracks>
QString codecText(const Tracks &tracks, const Media::File &file, bool (*isKind)(const QString &))
{
    if (tracks.empty()) {
        for (const QString &id : file.unsupportedCodecs) {
            if (isKind(id))
                return id;
        }
        return {};
    }
    return tracks.front().codecId;
}

} // namespace

const char *addingMethodText(AddingMethod method)
{
    return wordOf(addingMethods, static_cast<long long>(method), "unknown");
}

const char *unsupportedCodecInfoDialogActionText(UnsupportedCodecInfoDialogAction action)
{
    return wordOf(dialogActions, static_cast<long long>(action), "INVALID_ACTION");
}

QString videoCodecText(const Media::File &file)
{
    const QString id = codecText(file.videoTracks, file, &Media::CodecConfig::IsVideoCodec);
    if (!file.videoTracks.empty() && file.videoTracks.front().stillImage
        && id == QLatin1String(Media::CodecConfig::CODEC_ID_MJPEG)) {
        return QString::fromLatin1(Media::CodecConfig::CODEC_ID_JPEG);
    }
    return id;
}

QString audioCodecText(const Media::File &file)
{
    return codecText(file.audioTracks, file, &Media::CodecConfig::IsAudioCodec);
}

IFilesStatistics::~IFilesStatistics() = default;

FilesStatistics::FilesStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

FilesStatistics::~FilesStatistics() = default;

void FilesStatistics::fileAdded(const QString &path, AddingMethod method, int filesCount)
{
    m_tracker->sendEvent("FILE_ADDED",
                         Params { { "FILE_EXTENSION", extensionOf(path) },
                                  { "ADDING_METHOD", addingMethodText(method) },
                                  { "FILES_COUNT", decimal(filesCount) } });
}

void FilesStatistics::fileAnalyzed(const Media::File &file, const Timeline::ITimeline &timeline)
{
    // The analysis outcome is told on the file's first use on this timeline, never again.
    if (timeline.fileUses(file) != 1)
        return;
    if (file.isFailed())
        fileFailed(file);
    else
        fileOpened(file);
}

void FilesStatistics::fileOpened(const Media::File &file)
{
    const bool valid = file.isOpened();
    const Media::VideoTrack *video = file.videoTracks.empty() ? nullptr : &file.videoTracks.front();
    const Media::AudioTrack *audio = file.audioTracks.empty() ? nullptr : &file.audioTracks.front();
    Params params {
        { "INPUT_FORMAT", utf8(file.format) },
        { "INPUT_VIDEO_CODEC", utf8(videoCodecText(file)) },
        { "INPUT_AUDIO_CODEC", utf8(audioCodecText(file)) },
        { "INPUT_VIDEO_TRACK_COUNT", decimal(static_cast<std::int64_t>(file.videoTracks.size())) },
        { "INPUT_AUDIO_TRACK_COUNT", decimal(static_cast<std::int64_t>(file.audioTracks.size())) },
        { "FILE_EXTENSION", extensionOf(file.path) },
        { "DURATION", valid ? seconds(file.duration) : std::string("0") },
        { "SIZE", decimal(file.size / 1024 / 1024) },
        { "FILE_WIDTH_HEIGHT",
          utf8(Format::videoResolution(valid && video ? video->frameSize : QSize())) },
        { "IS_HDR", flag(file.hdr) },
    };
    if (video) {
        params["FRAME_RATE"] = utf8(Format::videoFrameRate(video->frameRate));
        params["VIDEO_BITRATE"] = kbits(video->bitRate);
    }
    if (audio)
        params["AUDIO_BITRATE"] = kbits(audio->bitRate);
    m_tracker->sendEvent("FILE_OPENED", std::move(params));
}

void FilesStatistics::fileFailed(const Media::File &file)
{
    m_tracker->sendEvent("FILE_FAILED",
                         Params { { "FILE_EXTENSION", extensionOf(file.path) },
                                  // Always present and always empty: the reasons are the user's,
                                  // written for people, and stay on the machine.
                                  { "REASON", std::string() },
                                  { "INPUT_VIDEO_CODEC", utf8(videoCodecText(file)) },
                                  { "INPUT_AUDIO_CODEC", utf8(audioCodecText(file)) },
                                  { "IS_HDR", flag(file.hdr) } });
}

void FilesStatistics::filesWithH265NotificationShown(const QString &type,
                                                     const QString &format,
                                                     int filesCount)
{
    m_tracker->sendEvent("H265_NOTIFICATION_SHOWN",
                         Params { { "TYPE", utf8(type) },
                                  { "FORMAT", utf8(format) },
                                  { "FILES_COUNT", decimal(filesCount) } });
}

void FilesStatistics::filesWithH265NotificationLinkClicked(const QString &link)
{
    m_tracker->sendEvent("H265_NOTIFICATION_CLICKED", Params { { "LINK_CLICKED", utf8(link) } });
}

void FilesStatistics::filesWithH265NotificationFinished(UnsupportedCodecInfoDialogAction action)
{
    m_tracker->sendEvent(std::string("H265_NOTIFICATION_")
                             + unsupportedCodecInfoDialogActionText(action),
                         Params {});
}

void FilesStatistics::logoFileAdded(const QString &path)
{
    m_tracker->sendEvent("LOGO_FILE_ADDED", Params { { "FILE_EXTENSION", extensionOf(path) } });
}

} // namespace Statistics
