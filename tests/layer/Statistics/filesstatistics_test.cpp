#include "Statistics/fasttrackstatistics.h"
#include "Statistics/filesstatistics.h"

#include "mediasamples.h"
#include "recordingeventsink.h"

#include "media/mediaprobe.h"
#include "timeline/timeline.h"

#include <gtest/gtest.h>

namespace {

using Statistics::AddingMethod;
using Vantel::Tracking::GeneralVantelTracker;
using Params = std::map<std::string, std::string>;

class Reporters : public ::testing::Test
{
protected:
    Reporters() { tracker->addSink(sink); }

    const Vantel::Tracking::TrackedEvent &only()
    {
        EXPECT_EQ(sink->events.size(), 1u);
        static const Vantel::Tracking::TrackedEvent none;
        return sink->events.empty() ? none : sink->events.back();
    }

    boost::intrusive_ptr<GeneralVantelTracker> tracker{new GeneralVantelTracker("sid")};
    std::shared_ptr<TestSupport::RecordingEventSink> sink = std::make_shared<TestSupport::RecordingEventSink>();
    Statistics::FilesStatistics files{tracker};
    Statistics::FastTrackStatistics fastTrack{tracker};
};

// A timeline holding `uses` clips made from `file`.
std::unique_ptr<Timeline::Model> timelineUsing(const Media::FilePtr &file, int uses)
{
    auto timeline = std::make_unique<Timeline::Model>();
    timeline->addTrack(Timeline::TrackType::Video);
    MTime at;
    for (int i = 0; i < uses; ++i)
        at = timeline->insertClip(0, at, std::make_shared<Media::File>(*file)).end();
    return timeline;
}

Media::FilePtr probed(const char *sample)
{
    return std::make_shared<Media::File>(Media::probe(TestSupport::sharedSamples().path(QLatin1String(sample))));
}

TEST_F(Reporters, file_added_names_extension_method_and_count)
{
    files.fileAdded(QStringLiteral("/home/me/Holiday.MP4"), AddingMethod::ImportFolders, 12);
    EXPECT_EQ(only().name, "FILE_ADDED");
    EXPECT_EQ(only().params, (Params{{"FILE_EXTENSION", "mp4"}, {"ADDING_METHOD", "import_folders"}, {"FILES_COUNT", "12"}}));
}

// An opened file, as the analysis leaves it, and what its report must hold and leave out.
struct OpenedCase
{
    const char *name;
    std::function<Media::File()> file;
    Params expected;
    std::vector<std::string> absent;
};

std::function<Media::File()> sample(const char *name)
{
    return [=] { return *probed(name); };
}

Media::File opened(std::int64_t size, std::vector<Media::AudioTrack> audio)
{
    Media::File file(QStringLiteral("/x/a.mov"));
    file.state = Media::File::State::Opened;
    file.size = size;
    file.audioTracks = std::move(audio);
    return file;
}

class FileOpened : public Reporters, public ::testing::WithParamInterface<OpenedCase>
{};

TEST_P(FileOpened, reports_what_analysis_found)
{
    const auto file = std::make_shared<Media::File>(GetParam().file());
    ASSERT_TRUE(file->isOpened());
    files.fileAnalyzed(*file, *timelineUsing(file, 1));
    ASSERT_EQ(only().name, "FILE_OPENED");
    const Params &params = only().params;
    for (const auto &[key, value] : GetParam().expected)
        EXPECT_EQ(params.count(key) ? params.at(key) : "<absent>", value) << key;
    for (const std::string &key : GetParam().absent)
        EXPECT_EQ(params.count(key), 0u) << key;
}

INSTANTIATE_TEST_SUITE_P(
    Files,
    FileOpened,
    ::testing::Values(
        OpenedCase{"h264_aac_mp4", sample("h264_aac.mp4"),
                   {{"INPUT_FORMAT", "mov,mp4,m4a,3gp,3g2,mj2"}, {"INPUT_VIDEO_CODEC", "CODEC_ID_H264"},
                    {"INPUT_AUDIO_CODEC", "CODEC_ID_AAC"}, {"INPUT_VIDEO_TRACK_COUNT", "1"},
                    {"INPUT_AUDIO_TRACK_COUNT", "1"}, {"FILE_EXTENSION", "mp4"}, {"DURATION", "1"}, {"SIZE", "0"},
                    {"FILE_WIDTH_HEIGHT", "64x48"}, {"IS_HDR", "false"}, {"FRAME_RATE", "25"}},
                   {}},
        OpenedCase{"video_only_mp4", sample("video_only.mp4"), {{"INPUT_AUDIO_CODEC", ""}, {"INPUT_AUDIO_TRACK_COUNT", "0"}},
                   {"AUDIO_BITRATE"}},
        OpenedCase{"tone_wav", sample("tone.wav"),
                   {{"INPUT_VIDEO_CODEC", ""}, {"INPUT_AUDIO_CODEC", "CODEC_ID_PCM_S16LE"}, {"FILE_WIDTH_HEIGHT", "0x0"},
                    {"AUDIO_BITRATE", "705"}, {"INPUT_FORMAT", "wav"}},
                   {"FRAME_RATE", "VIDEO_BITRATE"}},
        OpenedCase{"still_jpg", sample("still.jpg"), {{"INPUT_VIDEO_CODEC", "CODEC_ID_JPEG"}, {"DURATION", "0"}},
                   {"AUDIO_BITRATE"}},
        OpenedCase{"still_png", sample("still.png"), {{"INPUT_VIDEO_CODEC", "CODEC_ID_PNG"}}, {}},
        OpenedCase{"pq10_mkv", sample("pq10.mkv"), {{"IS_HDR", "true"}, {"INPUT_VIDEO_CODEC", "CODEC_ID_HEVC"}}, {}},
        OpenedCase{"sizes_and_rates_are_truncated", [] { return opened(1572864, {Media::AudioTrack{{}, {}, 128999, 0, 0}}); },
                   {{"SIZE", "1"}, {"AUDIO_BITRATE", "128"}}, {}},
        OpenedCase{"without_tracks_no_rates_and_no_frame", [] { return opened(0, {}); }, {{"FILE_WIDTH_HEIGHT", "0x0"}},
                   {"FRAME_RATE", "VIDEO_BITRATE", "AUDIO_BITRATE"}}),
    [](const auto &info) { return std::string(info.param.name); });

TEST_F(Reporters, an_audio_file_names_its_unsupported_video_codec)
{
    Media::File file(QStringLiteral("/x/a.m4a"));
    file.state = Media::File::State::Opened;
    file.audioTracks.push_back(Media::AudioTrack{QStringLiteral("CODEC_ID_AAC"), QStringLiteral("aac"), 96000, 48000, 2});
    file.unsupportedCodecs = QStringList{QStringLiteral("CODEC_ID_SUBRIP"), QStringLiteral("CODEC_ID_HEVC"),
                                         QStringLiteral("CODEC_ID_H264")};
    EXPECT_EQ(Statistics::videoCodecText(file), QLatin1String("CODEC_ID_HEVC"));
    EXPECT_EQ(Statistics::audioCodecText(file), QLatin1String("CODEC_ID_AAC"));
}

TEST_F(Reporters, a_failed_file_sends_failed_with_an_empty_reason)
{
    Media::File file(QStringLiteral("/x/broken.MKV"));
    file.state = Media::File::State::Failed;
    file.error = QStringLiteral("The file is damaged or not in a media format.");
    file.unsupportedCodecs = QStringList{QStringLiteral("CODEC_ID_OPUS")};
    const auto timeline = timelineUsing(std::make_shared<Media::File>(file), 1);
    files.fileAnalyzed(file, *timeline);
    EXPECT_EQ(only().name, "FILE_FAILED");
    EXPECT_EQ(only().params, (Params{{"FILE_EXTENSION", "mkv"}, {"REASON", ""}, {"INPUT_VIDEO_CODEC", ""},
                                     {"INPUT_AUDIO_CODEC", "CODEC_ID_OPUS"}, {"IS_HDR", "false"}}));
}

TEST_F(Reporters, the_outcome_is_told_only_on_the_first_use_on_the_timeline)
{
    const Media::FilePtr file = probed("tone.flac");
    for (int uses : {0, 1, 2, 3}) {
        sink->events.clear();
        const auto timeline = timelineUsing(file, uses);
        EXPECT_EQ(timeline->fileUses(*file), uses);
        files.fileAnalyzed(*file, *timeline);
        EXPECT_EQ(sink->events.size(), uses == 1 ? 1u : 0u) << uses << " uses";
    }
}

TEST_F(Reporters, h265_notice_events)
{
    files.filesWithH265NotificationShown(QStringLiteral("video"), QStringLiteral("HEVC"), 3);
    files.filesWithH265NotificationLinkClicked(QStringLiteral("https://example.org/hevc"));
    for (int action : {0, 1, 2, -1})
        files.filesWithH265NotificationFinished(static_cast<Statistics::UnsupportedCodecInfoDialogAction>(action));
    files.logoFileAdded(QStringLiteral("/x/logo.PNG"));
    EXPECT_EQ(sink->names(),
              (std::vector<std::string>{"H265_NOTIFICATION_SHOWN", "H265_NOTIFICATION_CLICKED", "H265_NOTIFICATION_SKIPPED",
                                        "H265_NOTIFICATION_CLOSED", "H265_NOTIFICATION_INVALID_ACTION",
                                        "H265_NOTIFICATION_INVALID_ACTION", "LOGO_FILE_ADDED"}));
    EXPECT_EQ(sink->events[0].params, (Params{{"TYPE", "video"}, {"FORMAT", "HEVC"}, {"FILES_COUNT", "3"}}));
    EXPECT_EQ(sink->events[1].params, (Params{{"LINK_CLICKED", "https://example.org/hevc"}}));
    EXPECT_TRUE(sink->events[2].params.empty());
    EXPECT_EQ(sink->events[6].params, (Params{{"FILE_EXTENSION", "png"}}));
}

TEST(ColorSpaceText, names_known_triples_and_spells_out_the_rest)
{
    struct Row
    {
        std::uint32_t p, t, m;
        const char *text;
    };
    for (const Row &r : {Row{2, 2, 2, "UNSPECIFIED"}, Row{1, 13, 1, "SRGB"}, Row{1, 8, 1, "SRGB_LINEAR"},
                         Row{1, 1, 1, "REC709"}, Row{9, 1, 9, "REC2020"}, Row{9, 8, 9, "REC2020_LINEAR"},
                         Row{9, 16, 9, "REC2020_PQ"}, Row{9, 18, 9, "REC2020_HLG"}, Row{6, 6, 6, "6-6-6"},
                         Row{1, 1, 6, "1-1-6"}, Row{9, 16, 10, "9-16-10"}}) {
        EXPECT_EQ(Statistics::colorSpaceText(r.p, r.t, r.m), r.text);
    }
}

Statistics::IFastTrackStatistics::FileInformation source()
{
    Statistics::IFastTrackStatistics::FileInformation info;
    info.valid = true;
    info.codec = QStringLiteral("hevc");
    info.format = QStringLiteral("matroska,webm");
    info.colorPrimaries = 9;
    info.colorTransfer = 16;
    info.colorMatrix = 9;
    info.size = 1572864;
    info.duration = MTime::fromMSec(61999);
    info.width = 3840;
    info.height = 2160;
    return info;
}

TEST_F(Reporters, fast_track_start_rounds_sizes_to_the_nearest_mebibyte)
{
    fastTrack.started(source());
    EXPECT_EQ(only().name, "FTHD_FILE_PROCESSING_STARTED");
    EXPECT_EQ(only().params, (Params{{"FILE_SIZE_MB", "2"}, {"FILE_CODEC", "hevc"}, {"FILE_FORMAT", "matroska,webm"},
                                     {"FILE_COLOR_SPACE", "REC2020_PQ"}, {"FILE_TIME_SEC", "61"},
                                     {"FILE_RESOLUTION", "3840x2160"}}));
}

TEST_F(Reporters, fast_track_finish_adds_the_result_only_when_there_is_one)
{
    auto result = source();
    result.codec = QStringLiteral("h264");
    result.size = 10 * 1024 * 1024;
    result.width = 1920;
    result.height = 1080;
    fastTrack.finished(true, MTime::fromMSec(4500), QString(), source(), result);
    result.valid = false;
    fastTrack.finished(false, MTime::fromMSec(100), QStringLiteral("disk full"), source(), result);
    ASSERT_EQ(sink->events.size(), 2u);
    const Params &ok = sink->events[0].params;
    EXPECT_EQ(ok.at("SUCCESS"), "true");
    EXPECT_EQ(ok.at("PROCESSING_TIME_SEC"), "4");
    EXPECT_EQ(ok.at("RESULT_FILE_SIZE_MB"), "10");
    EXPECT_EQ(ok.at("RESULT_FILE_CODEC"), "h264");
    EXPECT_EQ(ok.at("RESULT_FILE_RESOLUTION"), "1920x1080");
    EXPECT_EQ(ok.count("ERROR"), 0u);
    const Params &failed = sink->events[1].params;
    EXPECT_EQ(failed.at("SUCCESS"), "false");
    EXPECT_EQ(failed.at("ERROR"), "disk full");
    for (const char *key : {"RESULT_FILE_SIZE_MB", "RESULT_FILE_CODEC", "RESULT_FILE_RESOLUTION"})
        EXPECT_EQ(failed.count(key), 0u) << key;
    EXPECT_EQ(failed.at("FILE_SIZE_MB"), "2");
}

TEST_F(Reporters, fast_track_failures_name_their_kind)
{
    fastTrack.failed(Statistics::IFastTrackStatistics::LowDiskSpace, QStringLiteral("3 MB left"));
    fastTrack.failed(Statistics::IFastTrackStatistics::FileFailed, QString());
    EXPECT_EQ(sink->names(), (std::vector<std::string>{"FTHD_LOW_DISK_SPACE", "FTHD_FILE_FAILED"}));
    EXPECT_EQ(sink->events[0].params, (Params{{"DESCRIPTION", "3 MB left"}}));
    EXPECT_TRUE(sink->events[1].params.empty());
}

} // namespace
