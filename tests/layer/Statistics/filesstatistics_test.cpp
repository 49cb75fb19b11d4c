#include "Statistics/fasttrackstatistics.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"

#include "mediasamples.h"
#include "tablerow.h"
#include "trackedevents.h"

#include "media/mediaprobe.h"

namespace {

using namespace StatisticsTest;
using Statistics::AddingMethod;
using FileInformation = Statistics::IFastTrackStatistics::FileInformation;

// The reporters the controller hands out, as the editor reaches them.
Statistics::IFilesStatistics &files()
{
    return *Statistics::statistics()->filesStatistics();
}

Statistics::IFastTrackStatistics &fastTrack()
{
    return *Statistics::statistics()->fastTrackStatistics();
}

// A timeline holding `uses` clips made from `file`.
std::unique_ptr<Timeline::Model> timelineUsing(const Media::File &file, int uses)
{
    auto timeline = std::make_unique<Timeline::Model>();
    timeline->addTrack(Timeline::TrackType::Video);
    MTime at;
    for (int i = 0; i < uses; ++i)
        at = timeline->insertClip(0, at, std::make_shared<Media::File>(file)).end();
    return timeline;
}

void analyzed(const Media::File &file)
{
    files().fileAnalyzed(file, *timelineUsing(file, 1));
}

Media::File failedFile()
{
    Media::File file("/x/broken.MKV");
    file.state = Media::File::State::Failed;
    file.error = "The file is damaged or not in a media format.";
    file.unsupportedCodecs = QStringList { "CODEC_ID_OPUS" };
    return file;
}

// A 4K HDR source of 1.5 MiB and 61.999 s, and what the fast track made of it.
FileInformation source(bool valid = true)
{
    FileInformation info;
    info.valid = valid;
    info.codec = "hevc";
    info.format = "matroska,webm";
    info.colorPrimaries = 9;
    info.colorTransfer = 16;
    info.colorMatrix = 9;
    info.size = 1572864;
    info.duration = MTime::fromMSec(61999);
    info.width = 3840;
    info.height = 2160;
    return info;
}

FileInformation result(bool valid)
{
    FileInformation info = source(valid);
    info.codec = "h264";
    info.size = 10 * 1024 * 1024;
    info.width = 1920;
    info.height = 1080;
    return info;
}

const Params sourceParams { { "FILE_SIZE_MB", "2" },
                            { "FILE_CODEC", "hevc" },
                            { "FILE_FORMAT", "matroska,webm" },
                            { "FILE_COLOR_SPACE", "REC2020_PQ" },
                            { "FILE_TIME_SEC", "61" },
                            { "FILE_RESOLUTION", "3840x2160" } };

Params withSource(Params own)
{
    own.merge(Params(sourceParams));
    return own;
}

const EventCase filesCases[] = {
    { "file_added_names_extension_method_and_count",
      [] { files().fileAdded("/home/me/Holiday.MP4", AddingMethod::ImportFolders, 12); },
      { { "FILE_ADDED",
          { { "FILE_EXTENSION", "mp4" },
            { "ADDING_METHOD", "import_folders" },
            { "FILES_COUNT", "12" } } } } },
    { "a_failed_file_sends_failed_with_an_empty_reason",
      [] { analyzed(failedFile()); },
      { { "FILE_FAILED",
          { { "FILE_EXTENSION", "mkv" },
            { "REASON", "" },
            { "INPUT_VIDEO_CODEC", "" },
            { "INPUT_AUDIO_CODEC", "CODEC_ID_OPUS" },
            { "IS_HDR", "false" } } } } },
    { "h265_notice_shown",
      [] { files().filesWithH265NotificationShown("video", "HEVC", 3); },
      { { "H265_NOTIFICATION_SHOWN",
          { { "TYPE", "video" }, { "FORMAT", "HEVC" }, { "FILES_COUNT", "3" } } } } },
    { "h265_notice_link",
      [] { files().filesWithH265NotificationLinkClicked("https://example.org/hevc"); },
      { { "H265_NOTIFICATION_CLICKED", { { "LINK_CLICKED", "https://example.org/hevc" } } } } },
    { "h265_notice_closed",
      [] {
          files().filesWithH265NotificationFinished(
              Statistics::UnsupportedCodecInfoDialogAction::Closed);
      },
      { { "H265_NOTIFICATION_CLOSED", {} } } },
    { "logo_file",
      [] { files().logoFileAdded("/x/logo.PNG"); },
      { { "LOGO_FILE_ADDED", { { "FILE_EXTENSION", "png" } } } } },
    { "fast_track_start_rounds_sizes_to_the_nearest_mebibyte",
      [] { fastTrack().started(source()); },
      { { "FTHD_FILE_PROCESSING_STARTED", sourceParams } } },
    { "fast_track_finish_with_a_result",
      [] { fastTrack().finished(true, MTime::fromMSec(4500), QString(), source(), result(true)); },
      { { "FTHD_FILE_PROCESSING_FINISHED",
          withSource({ { "SUCCESS", "true" },
                       { "PROCESSING_TIME_SEC", "4" },
                       { "RESULT_FILE_SIZE_MB", "10" },
                       { "RESULT_FILE_CODEC", "h264" },
                       { "RESULT_FILE_RESOLUTION", "1920x1080" } }) } } },
    { "fast_track_finish_without_a_result_gives_the_error",
      [] {
          fastTrack().finished(false, MTime::fromMSec(100), "disk full", source(), result(false));
      },
      { { "FTHD_FILE_PROCESSING_FINISHED",
          withSource({ { "SUCCESS", "false" },
                       { "PROCESSING_TIME_SEC", "0" },
                       { "ERROR", "disk full" } }) } } },
    { "fast_track_low_disk_space",
      [] { fastTrack().failed(Statistics::IFastTrackStatistics::LowDiskSpace, "3 MB left"); },
      { { "FTHD_LOW_DISK_SPACE", { { "DESCRIPTION", "3 MB left" } } } } },
    { "fast_track_file_failed",
      [] { fastTrack().failed(Statistics::IFastTrackStatistics::FileFailed, QString()); },
      { { "FTHD_FILE_FAILED", {} } } },
};

INSTANTIATE_TEST_SUITE_P(Files,
                         StatisticsEvents,
                         ::testing::ValuesIn(filesCases),
                         TestSupport::tableRowName);

// An opened file, as the analysis leaves it, and what its report must hold and leave out.
struct OpenedCase : TestSupport::TableRow {
    std::function<Media::File()> file;
    Params expected;
    std::vector<std::string> absent;
};

std::function<Media::File()> sample(const char *name)
{
    return [=] { return Media::probe(TestSupport::samplePath(name)); };
}

Media::File opened(std::int64_t size, std::vector<Media::AudioTrack> audio)
{
    Media::File file("/x/a.mov");
    file.state = Media::File::State::Opened;
    file.size = size;
    file.audioTracks = std::move(audio);
    return file;
}

class FileOpened
    : public TrackedEvents
    , public ::testing::WithParamInterface<OpenedCase> { };

TEST_P(FileOpened, reports_what_analysis_found)
{
    const Media::File file = GetParam().file();
    ASSERT_TRUE(file.isOpened());
    analyzed(file);
    ASSERT_EQ(sink->names(), std::vector<std::string> { "FILE_OPENED" });
    const Params &params = sink->events[0].params;
    for (const auto &[key, value] : GetParam().expected)
        EXPECT_EQ(params.count(key) ? params.at(key) : "<absent>", value) << key;
    for (const std::string &key : GetParam().absent)
        EXPECT_EQ(params.count(key), 0u) << key;
}

INSTANTIATE_TEST_SUITE_P(
    Files,
    FileOpened,
    ::testing::Values(
        OpenedCase { "h264_aac_mp4",
                     sample("h264_aac.mp4"),
                     { { "INPUT_FORMAT", "mov,mp4,m4a,3gp,3g2,mj2" },
                       { "INPUT_VIDEO_CODEC", "CODEC_ID_H264" },
                       { "INPUT_AUDIO_CODEC", "CODEC_ID_AAC" },
                       { "INPUT_VIDEO_TRACK_COUNT", "1" },
                       { "INPUT_AUDIO_TRACK_COUNT", "1" },
                       { "FILE_EXTENSION", "mp4" },
                       { "DURATION", "1" },
                       { "SIZE", "0" },
                       { "FILE_WIDTH_HEIGHT", "64x48" },
                       { "IS_HDR", "false" },
                       { "FRAME_RATE", "25" } },
                     {} },
        OpenedCase { "video_only_mp4",
                     sample("video_only.mp4"),
                     { { "INPUT_AUDIO_CODEC", "" }, { "INPUT_AUDIO_TRACK_COUNT", "0" } },
                     { "AUDIO_BITRATE" } },
        OpenedCase { "tone_wav",
                     sample("tone.wav"),
                     { { "INPUT_VIDEO_CODEC", "" },
                       { "INPUT_AUDIO_CODEC", "CODEC_ID_PCM_S16LE" },
                       { "FILE_WIDTH_HEIGHT", "0x0" },
                       { "AUDIO_BITRATE", "705" },
                       { "INPUT_FORMAT", "wav" } },
                     { "FRAME_RATE", "VIDEO_BITRATE" } },
        OpenedCase { "still_jpg",
                     sample("still.jpg"),
                     { { "INPUT_VIDEO_CODEC", "CODEC_ID_JPEG" }, { "DURATION", "0" } },
                     { "AUDIO_BITRATE" } },
        OpenedCase { "still_png",
                     sample("still.png"),
                     { { "INPUT_VIDEO_CODEC", "CODEC_ID_PNG" } },
                     {} },
        OpenedCase { "pq10_mkv",
                     sample("pq10.mkv"),
                     { { "IS_HDR", "true" }, { "INPUT_VIDEO_CODEC", "CODEC_ID_HEVC" } },
                     {} },
        OpenedCase { "sizes_and_rates_are_truncated",
                     [] {
                         return opened(1572864, { Media::AudioTrack { {}, {}, 128999, 0, 0 } });
                     },
                     { { "SIZE", "1" }, { "AUDIO_BITRATE", "128" } },
                     {} },
        OpenedCase { "without_tracks_no_rates_and_no_frame",
                     [] { return opened(0, {}); },
                     { { "FILE_WIDTH_HEIGHT", "0x0" } },
                     { "FRAME_RATE", "VIDEO_BITRATE", "AUDIO_BITRATE" } }),
    TestSupport::tableRowName);

using FilesStatistics = TrackedEvents;

TEST_F(FilesStatistics, the_outcome_is_told_only_on_the_first_use_on_the_timeline)
{
    for (const Media::File &file : { sample("tone.flac")(), failedFile() }) {
        for (int uses : { 0, 1, 2, 3 }) {
            sink->events.clear();
            const auto timeline = timelineUsing(file, uses);
            EXPECT_EQ(timeline->fileUses(file), uses);
            files().fileAnalyzed(file, *timeline);
            EXPECT_EQ(sink->events.size(), uses == 1 ? 1u : 0u)
                << uses << " uses of " << file.path.toStdString();
        }
    }
}

TEST(FilesStatisticsText, an_audio_file_names_its_unsupported_video_codec)
{
    Media::File file("/x/a.m4a");
    file.state = Media::File::State::Opened;
    file.audioTracks.push_back(Media::AudioTrack { "CODEC_ID_AAC", "aac", 96000, 48000, 2 });
    file.unsupportedCodecs = QStringList { "CODEC_ID_SUBRIP", "CODEC_ID_HEVC", "CODEC_ID_H264" };
    EXPECT_EQ(Statistics::videoCodecText(file), "CODEC_ID_HEVC");
    EXPECT_EQ(Statistics::audioCodecText(file), "CODEC_ID_AAC");
}

TEST(ColorSpaceText, names_known_triples_and_spells_out_the_rest)
{
    struct Row {
        std::uint32_t p, t, m;
        const char *text;
    };
    for (const Row &r :
         { Row { 2, 2, 2, "UNSPECIFIED" }, Row { 1, 13, 1, "SRGB" }, Row { 1, 8, 1, "SRGB_LINEAR" },
           Row { 1, 1, 1, "REC709" }, Row { 9, 1, 9, "REC2020" }, Row { 9, 8, 9, "REC2020_LINEAR" },
           Row { 9, 16, 9, "REC2020_PQ" }, Row { 9, 18, 9, "REC2020_HLG" },
           Row { 6, 6, 6, "6-6-6" }, Row { 1, 1, 6, "1-1-6" }, Row { 9, 16, 10, "9-16-10" } }) {
        EXPECT_EQ(Statistics::colorSpaceText(r.p, r.t, r.m), r.text);
    }
}

} // namespace
