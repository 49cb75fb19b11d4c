#include "audio/audiodevicemanager.h"
#include "audio/recordingstream.h"
#include "audio/takefile.h"

#include "audiofiles.h"
#include "eventwait.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using AudIO::AudioDeviceManager;
using TestSupport::readAudioFile;
using TestSupport::zeroCrossings;

class Recording : public ::testing::Test {
protected:
    Recording() { manager.SetVirtualPacing(AudioDeviceManager::Pacing::Pulled); }
    ~Recording() override { manager.SetVirtualPacing(AudioDeviceManager::Pacing::RealTime); }

    std::unique_ptr<AudIO::RecordingStream> record(const std::string &uid, int quality = 5)
    {
        const AudIO::AudioDeviceInfo device = manager.FindDeviceByUid(uid);
        EXPECT_FALSE(device.IsNull()) << uid;
        auto reader = manager.CreateReader(device, quality, std::make_shared<AudIO::Chronometer>(),
                                           nullptr);
        auto stream = std::make_unique<AudIO::RecordingStream>(reader, takes());
        stream->Start();
        return stream;
    }
    QString takes() const { return dir.filePath("takes"); }

    AudioDeviceManager &manager = AudioDeviceManager::Instance();
    QTemporaryDir dir;
};

struct FormatCase : TestSupport::TableRow {
    const char *extension;
    int major;
    bool exactLength; // lossy Ogg pads its last packet
};

class RecordingFormats
    : public Recording
    , public ::testing::WithParamInterface<FormatCase> { };

TEST_P(RecordingFormats, two_seconds_of_tone_read_back_as_two_seconds_of_440_hz)
{
    auto stream = record("virtual:tone:440");
    manager.PullVirtualInputs(2s);
    const QString path = dir.filePath(QString("take.") + GetParam().extension);
    stream->Save(path);

    const auto data = readAudioFile(path);
    EXPECT_EQ(data.format, GetParam().major);
    EXPECT_EQ(data.sampleRate, 48000);
    EXPECT_EQ(data.channels, 2);
    if (GetParam().exactLength)
        EXPECT_EQ(data.frames(), 96000);
    else
        EXPECT_NEAR(data.frames(), 96000, 2048);
    EXPECT_NEAR(zeroCrossings(data, 0, 96000, 0), 1760, 2);
    EXPECT_NEAR(zeroCrossings(data, 0, 96000, 1), 1760, 2);
    EXPECT_EQ(stream->Result().lostFrames, 0);
    EXPECT_TRUE(AudIO::interruptedTakes(takes()).isEmpty()) << "the take is gone once saved";
}

INSTANTIATE_TEST_SUITE_P(Audio,
                         RecordingFormats,
                         ::testing::Values(FormatCase { "wav", "wav", SF_FORMAT_WAV, true },
                                           FormatCase { "wave", "wave", SF_FORMAT_WAV, true },
                                           FormatCase { "flac", "flac", SF_FORMAT_FLAC, true },
                                           FormatCase { "ogg", "ogg", SF_FORMAT_OGG, false }),
                         TestSupport::tableRowName);

TEST_F(Recording, input_lost_to_a_full_ring_is_counted_and_kept_as_silence)
{
    // Three seconds at once, with nobody draining between: the ring holds two.
    auto stream = record("virtual:tone:440");
    manager.PullVirtualInputs(3s);
    const QString path = dir.filePath("take.wav");
    stream->Save(path);

    const AudIO::RecordingResult result = stream->Result();
    const auto data = readAudioFile(path);
    ASSERT_EQ(data.frames(), 144000) << "the take stays as long as the time that passed";
    EXPECT_GT(result.overruns, 0);
    ASSERT_GT(result.lostFrames, 0);
    const std::int64_t kept = data.frames() - result.lostFrames;
    EXPECT_NEAR(zeroCrossings(data, 0, kept), 880.0 * kept / 48000, 2);
    EXPECT_EQ(TestSupport::peakOf(data, kept, data.frames()), 0.0f);
}

TEST_F(Recording, a_take_reads_as_audio_while_it_grows_and_is_recoverable_when_left)
{
    auto stream = record("virtual:tone:440", 1);
    manager.PullVirtualInputs(1s);
    EXPECT_EQ(readAudioFile(stream->TakePath()).frames(), 16000);
    EXPECT_TRUE(AudIO::interruptedTakes(takes()).isEmpty()) << "a running take is not interrupted";

    const QString take = stream->TakePath();
    stream->Keep();
    stream.reset();
    EXPECT_EQ(AudIO::interruptedTakes(takes()), QStringList { take });
    const QString out = dir.filePath("recovered.wav");
    EXPECT_EQ(AudIO::convertAudioFile(take, out), 16000);
}

TEST_F(Recording, a_file_plays_as_input_in_the_take_format)
{
    const QString source = dir.filePath("voice.wav");
    TestSupport::writeToneFile(source, 1000.0, 44100, 1, 1.0);
    auto stream = record("virtual:file:" + source.toStdString());
    manager.PullVirtualInputs(500ms);
    const QString path = dir.filePath("take.wav");
    stream->Save(path);

    const auto data = readAudioFile(path);
    ASSERT_EQ(data.frames(), 24000);
    EXPECT_NEAR(zeroCrossings(data, 0, 24000, 1), 1000, 3) << "mono feeds both channels";
}

TEST_F(Recording, the_clocked_input_delivers_on_its_own_thread)
{
    manager.SetVirtualPacing(AudioDeviceManager::Pacing::RealTime);
    auto stream = record("virtual:tone:440");
    EXPECT_TRUE(TestSupport::waitUntil([&] { return stream->Frames() >= 4800; }));
    stream->Stop();
    EXPECT_EQ(stream->Result().lostFrames, 0);
    EXPECT_GT(stream->Result().firstSampleLatency.count(), 0);
}

TEST_F(Recording, identifiers_that_name_no_device_find_none)
{
    for (const std::string uid : { "", "virtual:tone:abc", "virtual:tone:0", "virtual:file:",
                                   "virtual:file:/nonexistent/voice.wav", "pa:nothing:here" })
        EXPECT_TRUE(manager.FindDeviceByUid(uid).IsNull()) << uid;
    EXPECT_FALSE(manager.FindDeviceByUid(manager.DefaultInput().Uid()).IsNull());
}

struct SaveFailure : TestSupport::TableRow {
    std::function<QString(const QDir &)> target;
    bool badSource;
};

class SavingFails
    : public Recording
    , public ::testing::WithParamInterface<SaveFailure> { };

TEST_P(SavingFails, with_the_reason_and_what_stood_there_untouched)
{
    const QDir root(dir.path());
    const QString target = GetParam().target(root);
    const QString source = GetParam().badSource
        ? TestSupport::writeFile(root.filePath("junk.wav"), "not audio")
        : [&] {
              auto stream = record("virtual:tone:440");
              manager.PullVirtualInputs(100ms);
              stream->Stop();
              stream->Keep();
              return stream->TakePath();
          }();
    const QByteArray before = TestSupport::readFile(target);
    EXPECT_THROW(AudIO::convertAudioFile(source, target), std::runtime_error);
    EXPECT_EQ(TestSupport::readFile(target), before);
    EXPECT_EQ(root.entryList({ ".*.wav.*" }, QDir::Hidden | QDir::Files), QStringList())
        << "no temporary file is left";
}

INSTANTIATE_TEST_SUITE_P(
    Audio,
    SavingFails,
    ::testing::Values(
        SaveFailure { "a_folder",
                      [](const QDir &d) {
                          d.mkpath("folder.wav");
                          return d.filePath("folder.wav");
                      },
                      false },
        SaveFailure { "a_missing_folder",
                      [](const QDir &d) { return d.filePath("no/such/take.wav"); }, false },
        SaveFailure { "an_extension_not_written",
                      [](const QDir &d) {
                          return TestSupport::writeFile(d.filePath("keep.mp3"), "the user's song");
                      },
                      false },
        SaveFailure { "an_unreadable_take_over_an_existing_file",
                      [](const QDir &d) {
                          return TestSupport::writeFile(d.filePath("keep.wav"), "the user's file");
                      },
                      true }),
    TestSupport::tableRowName);

} // namespace
