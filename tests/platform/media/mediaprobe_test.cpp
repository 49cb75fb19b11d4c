#include "media/codecconfig.h"
#include "media/mediaprobe.h"

#include "mediasamples.h"
#include "tablerow.h"
#include "testfiles.h"
#include "util/format.h"
#include "withoutfileaccessoverride.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

namespace {

using Media::File;

struct Expected : TestSupport::TableRow {
    const char *format;
    const char *videoCodec; // "" for no video track
    const char *audioCodec; // "" for no audio track
    bool still;
    bool hdr;
    std::uint32_t transfer; // of the video track
};

class ProbeOfRealMedia : public ::testing::TestWithParam<Expected> { };

TEST_P(ProbeOfRealMedia, reads_container_tracks_and_properties)
{
    const Expected &e = GetParam();
    const File file = Media::probe(TestSupport::sharedSamples().path(QLatin1String(e.name)));

    ASSERT_TRUE(file.isOpened()) << file.error.toStdString();
    EXPECT_TRUE(file.error.isEmpty());
    EXPECT_EQ(file.format, QLatin1String(e.format));
    EXPECT_EQ(file.size, QFileInfo(file.path).size());
    EXPECT_TRUE(file.unsupportedCodecs.isEmpty());
    EXPECT_EQ(file.hdr, e.hdr);
    EXPECT_EQ(file.isStillImage(), e.still);

    ASSERT_EQ(file.videoTracks.size(), *e.videoCodec ? 1u : 0u);
    if (*e.videoCodec) {
        const Media::VideoTrack &v = file.videoTracks.front();
        EXPECT_EQ(v.codecId, QLatin1String(e.videoCodec));
        EXPECT_EQ(v.frameSize, QSize(64, 48));
        EXPECT_EQ(v.colorSpace.transfer, e.transfer);
        if (e.hdr) {
            EXPECT_EQ(v.bitDepth, 10);
            EXPECT_EQ(v.colorSpace.primaries, 9u);
            EXPECT_EQ(v.colorSpace.matrix, 9u);
        }
        if (e.still) {
            EXPECT_EQ(Format::videoFrameRate(v.frameRate), "0");
        } else {
            EXPECT_EQ(Format::videoFrameRate(v.frameRate), "25");
            EXPECT_GT(v.bitRate, 0) << "the container's rate stands in for a missing stream rate";
        }
    }
    ASSERT_EQ(file.audioTracks.size(), *e.audioCodec ? 1u : 0u);
    if (*e.audioCodec) {
        const Media::AudioTrack &a = file.audioTracks.front();
        EXPECT_EQ(a.codecId, QLatin1String(e.audioCodec));
        EXPECT_GT(a.sampleRate, 0);
        EXPECT_EQ(a.channels, 1);
        EXPECT_GT(a.bitRate, 0);
    }
    if (e.still) {
        EXPECT_TRUE(file.duration.isNull()) << "a picture gets its length from the timeline";
    } else {
        // One second of pattern and tone; containers round to their own time base.
        EXPECT_GE(file.duration.toMSec(), 900);
        EXPECT_LE(file.duration.toMSec(), 1100);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Samples,
    ProbeOfRealMedia,
    ::testing::Values(
        Expected { "h264_aac.mp4", "mov,mp4,m4a,3gp,3g2,mj2", "CODEC_ID_H264", "CODEC_ID_AAC",
                   false, false, 2 },
        Expected { "hevc.mkv", "matroska,webm", "CODEC_ID_HEVC", "CODEC_ID_OPUS", false, false, 2 },
        Expected { "vp9_opus.webm", "matroska,webm", "CODEC_ID_VP9", "CODEC_ID_OPUS", false, false,
                   2 },
        Expected { "mpeg4_pcm.mov", "mov,mp4,m4a,3gp,3g2,mj2", "CODEC_ID_MPEG4",
                   "CODEC_ID_PCM_S16LE", false, false, 2 },
        Expected { "video_only.mp4", "mov,mp4,m4a,3gp,3g2,mj2", "CODEC_ID_H264", "", false, false,
                   2 },
        Expected { "tone.mp3", "mp3", "", "CODEC_ID_MP3", false, false, 2 },
        Expected { "tone.wav", "wav", "", "CODEC_ID_PCM_S16LE", false, false, 2 },
        Expected { "tone.flac", "flac", "", "CODEC_ID_FLAC", false, false, 2 },
        Expected { "still.png", "png_pipe", "CODEC_ID_PNG", "", true, false, 2 },
        Expected { "still.jpg", "jpeg_pipe", "CODEC_ID_MJPEG", "", true, false, 2 },
        Expected { "pq10.mkv", "matroska,webm", "CODEC_ID_HEVC", "", false, true, 16 },
        Expected { "hlg.mp4", "mov,mp4,m4a,3gp,3g2,mj2", "CODEC_ID_H264", "", false, true, 18 }),
    [](const auto &info) {
        QString name = QLatin1String(info.param.name);
        return name.replace('.', '_').toStdString();
    });

// Files a user may drop that are not media, or not any more.
class BadInput : public ::testing::Test {
protected:
    QString write(const QString &name, const QByteArray &bytes)
    {
        return TestSupport::writeFile(dir.filePath(name), bytes);
    }
    static QByteArray sampleBytes(const char *name)
    {
        return TestSupport::readFile(TestSupport::samplePath(name));
    }
    QTemporaryDir dir;
};

TEST_F(BadInput, every_kind_fails_with_a_reason_for_people)
{
    for (const TestSupport::BadPath &bad : TestSupport::makeBadMediaPaths(dir.path())) {
        const File file = Media::probe(bad.path);
        EXPECT_TRUE(file.isFailed()) << bad.what;
        EXPECT_FALSE(file.error.isEmpty()) << bad.what;
        EXPECT_EQ(file.path, bad.path) << bad.what;
        EXPECT_TRUE(file.videoTracks.empty() && file.audioTracks.empty()) << bad.what;
    }
}

TEST_F(BadInput, a_matroska_file_cut_in_half_still_opens_with_what_is_there)
{
    const QByteArray mkv = sampleBytes("hevc.mkv");
    const File file = Media::probe(write("half.mkv", mkv.left(mkv.size() / 2)));
    ASSERT_TRUE(file.isOpened()) << file.error.toStdString();
    EXPECT_EQ(file.videoTracks.front().codecId, "CODEC_ID_HEVC");
}

TEST_F(BadInput, a_probe_past_its_deadline_is_abandoned_and_fails)
{
    Media::ProbeLimits limits;
    limits.timeout = std::chrono::milliseconds(0);
    const File file = Media::probe(write("fine.mp4", sampleBytes("h264_aac.mp4")), limits);
    EXPECT_TRUE(file.isFailed());
    EXPECT_TRUE(file.error.contains("too long")) << file.error.toStdString();
}

TEST_F(BadInput, a_cancelled_probe_fails)
{
    const std::atomic<bool> cancelled { true };
    Media::ProbeLimits limits;
    limits.cancelled = &cancelled;
    const File file = Media::probe(write("fine.mp4", sampleBytes("h264_aac.mp4")), limits);
    EXPECT_TRUE(file.isFailed());
    EXPECT_TRUE(file.error.contains("cancelled")) << file.error.toStdString();
}

TEST_F(BadInput, names_with_spaces_non_ascii_and_address_like_prefixes_open)
{
    const QByteArray mp4 = sampleBytes("h264_aac.mp4");
    for (const char *name : { "summer holiday 2024.mp4", "été à Zürich – 東京.mp4", "http:clip.mp4",
                              "concat:a|b.mp4", "take%03d.mp4", "#1?.mp4" }) {
        const File file = Media::probe(write(name, mp4));
        EXPECT_TRUE(file.isOpened()) << name << ": " << file.error.toStdString();
    }
}

TEST_F(BadInput, an_unreadable_file_fails_with_permission_denied)
{
    const QString path = write("locked.mp4", sampleBytes("h264_aac.mp4"));
    ASSERT_TRUE(QFile::setPermissions(path, QFileDevice::Permissions()));
    TestSupport::WithoutFileAccessOverride guard;
    if (!guard.modeBitsBind())
        GTEST_SKIP() << "running as root without the right to give up file access override";
    const File file = Media::probe(path);
    EXPECT_TRUE(file.isFailed());
    EXPECT_TRUE(file.error.contains("permission denied")) << file.error.toStdString();
}

TEST_F(BadInput, a_file_over_a_probe_limit_fails_with_the_limit_named)
{
    const QString manyStreams = dir.filePath("eight streams.mp4");
    TestSupport::MediaSamples::makeManyStreams(manyStreams, 8);
    const QString video = write("fine.mp4", sampleBytes("h264_aac.mp4"));
    struct Row {
        const char *what;
        QString path;
        std::function<void(Media::ProbeLimits &)> limit;
        const char *reason;
    };
    const Row rows[] = {
        { "streams", manyStreams, [](auto &l) { l.maxStreams = 4; }, "more than 4 streams" },
        { "declared picture", video, [](auto &l) { l.maxPixels = 1000; },
          "A picture of the file is 64x48 pixels" },
        { "picture found by decoding", write("vast.png", TestSupport::pngDeclaring(16000, 16000)),
          [](auto &) {}, "A picture of the file is 16000x16000 pixels" },
        { "memory", video, [](auto &l) { l.maxMemory = 1000; }, "one analysis may use 1 MB" },
    };
    for (const Row &row : rows) {
        Media::ProbeLimits limits;
        row.limit(limits);
        const File file = Media::probe(row.path, limits);
        EXPECT_TRUE(file.isFailed()) << row.what;
        EXPECT_TRUE(file.error.contains(QLatin1String(row.reason)))
            << row.what << ": " << file.error.toStdString();
    }
}

TEST_F(BadInput, a_link_that_leads_nowhere_says_so)
{
    const QString loop = dir.filePath("loop.mp4");
    ASSERT_TRUE(QFile::link(loop, loop));
    const QString dangling = dir.filePath("gone.mp4");
    ASSERT_TRUE(QFile::link(dir.filePath("moved.mp4"), dangling));
    EXPECT_TRUE(Media::probe(loop).error.contains("leads back to itself"));
    EXPECT_TRUE(Media::probe(dangling).error.contains("moved.mp4, which does not"));
}

TEST(CodecConfig, classifies_identifiers_by_kind)
{
    using namespace Media::CodecConfig;
    struct Row {
        const char *id;
        bool video;
        bool audio;
    };
    for (const Row &r :
         { Row { "CODEC_ID_H264", true, false }, Row { "CODEC_ID_HEVC", true, false },
           Row { CODEC_ID_MJPEG, true, false }, Row { "CODEC_ID_VP9", true, false },
           Row { "CODEC_ID_AAC", false, true }, Row { "CODEC_ID_PCM_S16LE", false, true },
           Row { "CODEC_ID_SUBRIP", false, false }, Row { "CODEC_ID_NOT_A_CODEC", false, false },
           Row { "", false, false }, Row { "h264", false, false } }) {
        EXPECT_EQ(IsVideoCodec(QLatin1String(r.id)), r.video) << r.id;
        EXPECT_EQ(IsAudioCodec(QLatin1String(r.id)), r.audio) << r.id;
    }
}

} // namespace
