#include "CaptureController/controller.h"
#include "CaptureController/iaudiocapture.h"

#include "audiofiles.h"
#include "eventwait.h"
#include "fakedialogs.h"
#include "logcapture.h"
#include "steppedclock.h"
#include "tablerow.h"

#include "audio/audiodevicemanager.h"
#include "media/mediaprobe.h"
#include "playback/player.h"
#include "playback/playerwidget.h"
#include "timeline/timeline.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>

namespace {

using TestSupport::SteppedClock;

using namespace std::chrono_literals;
using AudIO::AudioDeviceManager;
using Capture::Mode;
using Capture::State;

// White pixels of the player as it would be on screen: the countdown digit and nothing else is
// white there.
int whitePixels(QWidget &widget)
{
    const QImage image = widget.grab().toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += image.pixelColor(x, y).lightness() > 240 ? 1 : 0;
    }
    return count;
}

class CaptureController
    : public ::testing::Test
    , public Capture::IAudioCaptureObserver {
protected:
    CaptureController()
    {
        Settings::setDataFolder(data.path());
        manager.SetVirtualPacing(AudioDeviceManager::Pacing::Pulled);
        Dialog::setDialogs(dialogs);
        widget.resize(400, 240);
        capture().addObserver(this);
        capture().setDevice("virtual:tone:440");
    }
    ~CaptureController() override
    {
        capture().removeObserver(this);
        Dialog::setDialogs(nullptr);
        manager.SetVirtualPacing(AudioDeviceManager::Pacing::RealTime);
    }

    static Capture::IAudioCapture &capture() { return *Capture::audioCapture(); }

    void audioCaptureStateChanged() override
    {
        if (capture().state() == State::CountingDown)
            countdown.push_back(capture().countdownSeconds());
    }
    void audioCaptureDeviceLost() override { ++deviceLost; }
    void audioCaptureFinished(const Capture::CaptureResult &r) override { results.push_back(r); }

    bool waitFor(State state)
    {
        return TestSupport::waitUntil([&] { return capture().state() == state; });
    }
    QString out(const char *name) const { return data.filePath(QString::fromLatin1(name)); }
    QStringList takesLeft() const
    {
        return QDir(data.filePath("recordings")).entryList({ "take-*" }, QDir::Files);
    }
    QStringList messages() const
    {
        QStringList texts;
        for (const auto &shown : dialogs->shown)
            texts << shown.text;
        return texts;
    }

    QTemporaryDir data;
    AudioDeviceManager &manager = AudioDeviceManager::Instance();
    std::shared_ptr<TestSupport::FakeDialogs> dialogs
        = std::make_shared<TestSupport::FakeDialogs>();
    Playback::Player player;
    Playback::PlayerWidget widget { player };
    Capture::Controller controller { Capture::Controller::Options { 5ms, &player } };
    std::vector<int> countdown;
    std::vector<Capture::CaptureResult> results;
    int deviceLost = 0;
};

TEST_F(CaptureController, counts_3_2_1_over_the_player_then_records_a_take_of_the_tone)
{
    capture().start(Mode::Voice, 3000);
    EXPECT_EQ(capture().state(), State::CountingDown);
    EXPECT_GT(whitePixels(widget), 100) << "the digit is drawn over the player";
    capture().start(Mode::Voice, 0);
    EXPECT_EQ(capture().countdownSeconds(), 3) << "start during the countdown does nothing";

    ASSERT_TRUE(waitFor(State::Recording));
    EXPECT_EQ(countdown, (std::vector<int> { 3, 2, 1 }));
    EXPECT_EQ(whitePixels(widget), 0) << "the overlay is cleared when the countdown ends";
    manager.PullVirtualInputs(1s);
    capture().start(Mode::Voice, 0);
    manager.PullVirtualInputs(1s);
    EXPECT_EQ(capture().recordedTime(), MTime::fromSec(2)) << "start during a take does nothing";
    capture().stop(out("voice.wav"));

    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(results[0].saved);
    const auto take = TestSupport::readAudioFile(out("voice.wav"));
    ASSERT_EQ(take.frames(), 96000);
    EXPECT_NEAR(TestSupport::zeroCrossings(take, 0, take.frames()), 1760, 2);
    EXPECT_EQ(capture().state(), State::Idle);
    EXPECT_TRUE(takesLeft().isEmpty());
}

TEST_F(CaptureController, a_delay_under_a_second_records_at_once)
{
    capture().start(Mode::Voice, 999);
    EXPECT_EQ(capture().state(), State::Recording);
    EXPECT_TRUE(countdown.empty());
    capture().cancel();
}

struct StopCase : TestSupport::TableRow {
    int delayMs;
    std::function<void(Capture::IAudioCapture &, const QString &)> stop;
};

class CaptureStops
    : public CaptureController
    , public ::testing::WithParamInterface<StopCase> { };

TEST_P(CaptureStops, leave_no_file_no_take_and_no_overlay)
{
    capture().start(Mode::Voice, GetParam().delayMs);
    manager.PullVirtualInputs(200ms);
    GetParam().stop(capture(), out("voice.wav"));

    EXPECT_EQ(capture().state(), State::Idle);
    EXPECT_FALSE(QFile::exists(out("voice.wav")));
    EXPECT_TRUE(takesLeft().isEmpty());
    EXPECT_TRUE(player.overlayPixmap().isNull());
    EXPECT_EQ(whitePixels(widget), 0);
    EXPECT_TRUE(messages().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Capture,
    CaptureStops,
    ::testing::Values(StopCase { "stop_during_the_countdown", 3000,
                                 [](Capture::IAudioCapture &c, const QString &path) {
                                     c.stop(path);
                                 } },
                      StopCase { "cancel_during_the_countdown", 3000,
                                 [](Capture::IAudioCapture &c, const QString &) { c.cancel(); } },
                      StopCase { "cancel_a_take", 0,
                                 [](Capture::IAudioCapture &c, const QString &) { c.cancel(); } },
                      StopCase { "another_device_chosen_mid_take", 0,
                                 [](Capture::IAudioCapture &c, const QString &) {
                                     c.setDevice("virtual:tone:1000");
                                 } }),
    TestSupport::tableRowName);

TEST_F(CaptureController, a_missing_device_is_told_and_nothing_starts)
{
    TestSupport::LogCapture log;
    capture().setDevice("virtual:file:/nonexistent/voice.wav");
    capture().start(Mode::Voice, 0);

    EXPECT_EQ(capture().state(), State::Idle);
    EXPECT_EQ(messages(), QStringList { "Can't find a device" });
    EXPECT_EQ(
        log.matching({ "Can't find a device UID: virtual:file:/nonexistent/voice.wav" }).size(),
        1u);
    EXPECT_TRUE(results.empty());
}

TEST_F(CaptureController, a_save_that_fails_is_told_and_the_take_is_kept_for_recovery)
{
    TestSupport::LogCapture log;
    QDir(data.path()).mkpath("folder.wav");
    capture().start(Mode::Voice, 0);
    manager.PullVirtualInputs(100ms);
    capture().stop(out("folder.wav"));

    ASSERT_EQ(results.size(), 1u);
    EXPECT_FALSE(results[0].saved);
    ASSERT_EQ(messages().size(), 1);
    EXPECT_TRUE(
        messages()[0].startsWith("Error was encountered while saving captured audio. Details:\n"))
        << messages()[0].toStdString();
    EXPECT_TRUE(messages()[0].contains("is a folder"));
    EXPECT_EQ(log.matching({ "Error in conversion while saving captured audio" }).size(), 1u);
    EXPECT_EQ(takesLeft().size(), 1);
}

TEST_F(CaptureController, a_device_that_vanishes_ends_the_take_and_what_it_heard_is_saved)
{
    const QString source = out("voice-in.wav");
    TestSupport::writeToneFile(source, 440.0, 48000, 2, 2.0);
    capture().setDevice("virtual:file:" + source);
    capture().start(Mode::Voice, 0);
    manager.PullVirtualInputs(500ms);
    QFile::remove(source);
    manager.Rescan();
    ASSERT_TRUE(TestSupport::waitUntil([&] { return deviceLost == 1; }));
    manager.PullVirtualInputs(500ms);
    capture().stop(out("voice.wav"));

    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(results[0].deviceLost);
    EXPECT_EQ(TestSupport::readAudioFile(out("voice.wav")).frames(), 24000);
}

TEST_F(CaptureController, with_the_playback_the_take_waits_for_it_to_play)
{
    player.seek(MTime::fromSec(10));
    capture().start(Mode::WithPlayback, 1000);
    ASSERT_TRUE(waitFor(State::Recording));
    EXPECT_TRUE(player.isPlaying());
    manager.PullVirtualInputs(100ms);
    capture().stop(out("voice.wav"));

    EXPECT_FALSE(player.isPlaying()) << "the playback stops with the take";
    ASSERT_EQ(results.size(), 1u);
    EXPECT_TRUE(results[0].saved);
    EXPECT_GE(results[0].duration, MTime()) << "timed by the playback's chronometer";
}

TEST_F(CaptureController, volume_scales_the_input_and_levels_show_only_while_asked)
{
    capture().setVolume(50);
    capture().start(Mode::Voice, 0);
    manager.PullVirtualInputs(100ms);
    EXPECT_EQ(capture().peakLevel(), 0.0f);
    capture().showLevels();
    manager.PullVirtualInputs(100ms);
    EXPECT_NEAR(capture().peakLevel(), 0.25f, 0.01f);
    capture().hideLevels();
    capture().stop(out("voice.wav"));
    const auto take = TestSupport::readAudioFile(out("voice.wav"));
    EXPECT_NEAR(TestSupport::peakOf(take, 0, take.frames()), 0.25f, 0.01f);
}

struct QualityCase : TestSupport::TableRow {
    int quality;
    int sampleRate;
    int channels;
};

class CaptureQuality
    : public CaptureController
    , public ::testing::WithParamInterface<QualityCase> { };

TEST_P(CaptureQuality, codes_past_the_known_ones_record_in_the_best)
{
    capture().setQuality(GetParam().quality);
    capture().start(Mode::Voice, 0);
    manager.PullVirtualInputs(100ms);
    capture().stop(out("voice.wav"));
    const auto take = TestSupport::readAudioFile(out("voice.wav"));
    EXPECT_EQ(take.sampleRate, GetParam().sampleRate);
    EXPECT_EQ(take.channels, GetParam().channels);
    EXPECT_EQ(take.frames(), GetParam().sampleRate / 10);
}

INSTANTIATE_TEST_SUITE_P(Capture,
                         CaptureQuality,
                         ::testing::Values(QualityCase { "lowest", 0, 8000, 1 },
                                           QualityCase { "best", 5, 48000, 2 },
                                           QualityCase { "six", 6, 44100, 2 },
                                           QualityCase { "seven", 7, 96000, 2 },
                                           QualityCase { "eight", 8, 48000, 2 },
                                           QualityCase { "far_past", 40, 48000, 2 }),
                         TestSupport::tableRowName);

TEST(VoiceOver, the_take_lands_where_its_click_was_spoken_over_the_playing_timeline)
{
    using namespace std::chrono;
    QTemporaryDir data;
    Settings::setDataFolder(data.path());
    AudioDeviceManager &manager = AudioDeviceManager::Instance();
    manager.SetVirtualPacing(AudioDeviceManager::Pacing::Pulled);
    auto dialogs = std::make_shared<TestSupport::FakeDialogs>();
    Dialog::setDialogs(dialogs);
    // The timeline holds a click 2.5 s in; the microphone hears a click 0.5 s into the take.
    const QString music = data.filePath("music.wav");
    const QString voice = data.filePath("voice-in.wav");
    TestSupport::writeClickFile(music, 48000, 2, 4.0, 2.5);
    TestSupport::writeClickFile(voice, 48000, 1, 2.0, 0.5);
    Timeline::Model timeline;
    timeline.addTrack(Timeline::TrackType::Audio);
    timeline.insertClip(0, MTime(), std::make_shared<Media::File>(Media::probe(music)));

    SteppedClock clock;
    Playback::Player player(MTime(), clock);
    player.setTimeline(&timeline);
    player.setSound(Playback::Player::Sound::NullOutput);
    Capture::Controller controller { Capture::Controller::Options { 5ms, &player } };
    Capture::IAudioCapture &capture = *Capture::audioCapture();
    std::vector<Capture::CaptureResult> results;
    struct Finished : Capture::IAudioCaptureObserver {
        std::vector<Capture::CaptureResult> *results;
        void audioCaptureFinished(const Capture::CaptureResult &r) override
        {
            results->push_back(r);
        }
    } observer;
    observer.results = &results;
    capture.addObserver(&observer);
    capture.setDevice("virtual:file:" + voice);

    const MTime at = MTime::fromSec(1.0);
    player.seek(at);
    capture.start(Mode::WithPlayback, 1000);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return capture.state() == State::Recording; }));
    ASSERT_TRUE(player.isPlaying());
    // The device opens 37 ms after the playback started, then delivers a block each 10 ms.
    clock.step(37ms);
    for (int block = 0; block < 100; ++block) {
        clock.step(10ms);
        manager.PullVirtualInputs(10ms);
    }
    capture.stop(data.filePath("voice.wav"));
    capture.removeObserver(&observer);
    Dialog::setDialogs(nullptr);
    manager.SetVirtualPacing(AudioDeviceManager::Pacing::RealTime);

    ASSERT_EQ(results.size(), 1u);
    ASSERT_TRUE(results[0].saved);
    const auto take = TestSupport::readAudioFile(data.filePath("voice.wav"));
    const double clickInTake = TestSupport::firstClickSeconds(take);
    ASSERT_NEAR(clickInTake, 0.5, 0.001) << "the take holds what was spoken, from its start";
    // Spoken 37 ms after the playback started, plus its 0.5 s into the take.
    const double spokenAt = at.toSecF() + 0.037 + 0.5;
    EXPECT_NEAR(results[0].position.toSecF() + clickInTake, spokenAt, 0.001);
    EXPECT_TRUE(player.playbackError().isEmpty()) << player.playbackError().toStdString();
}

} // namespace
