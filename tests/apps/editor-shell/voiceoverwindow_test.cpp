// The voice-over window on a real X server: what a screenshot of it shows, and `record --window`
// run on that display.

#include "levelmeter.h"
#include "voiceoverwindow.h"

#include "audiofiles.h"
#include "eventwait.h"
#include "shellrun.h"
#include "tablerow.h"
#include "virtualdisplay.h"

#include "audio/audiodevicemanager.h"
#include "playback/player.h"
#include "playback/playerwidget.h"

#include <QComboBox>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QWindow>

namespace {

bool isWhite(QRgb pixel)
{
    return qRed(pixel) > 220 && qGreen(pixel) > 220 && qBlue(pixel) > 220;
}

bool isClose(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) <= 8 && std::abs(a.green() - b.green()) <= 8
        && std::abs(a.blue() - b.blue()) <= 8;
}

// The countdown's digit as the capture controller lays it over the player.
QPixmap digit(int seconds)
{
    const QFont font = Settings::audioCaptureCountdownFont();
    QPixmap pixmap(QFontMetrics(font).boundingRect(QString::number(seconds)).size()
                   + QSize(16, 16));
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, QString::number(seconds));
    return pixmap;
}

class VoiceOverWindowTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (const QString why = TestSupport::virtualDisplayMissing(); !why.isEmpty())
            GTEST_SKIP() << why.toStdString();
        window.resize(640, 460);
        window.show();
        ASSERT_TRUE(TestSupport::waitUntil(
            [this] { return window.windowHandle() && window.windowHandle()->isExposed(); }));
    }

    // What the X server shows of `widget`: painted now, then read back from the screen.
    QImage screenshot(QWidget &widget)
    {
        window.repaint();
        const QPoint at = widget.mapTo(&window, QPoint());
        return window.screen()
            ->grabWindow(window.winId(), at.x(), at.y(), widget.width(), widget.height())
            .toImage();
    }

    Playback::Player player;
    Shell::LevelMeter meter;
    Shell::VoiceOverWindow window { player, meter };
};

struct Probe {
    QPointF at; // in the view, as fractions of its size
    QColor expected;
};

struct ViewCase : TestSupport::TableRow {
    QSize picture; // empty: none yet
    QColor colour;
    bool countdown;
    std::vector<Probe> probes;
};

class PlayerView
    : public VoiceOverWindowTest
    , public ::testing::WithParamInterface<ViewCase> { };

TEST_P(PlayerView, shows_the_picture_and_the_countdown_over_it)
{
    const ViewCase &row = GetParam();
    if (!row.picture.isEmpty()) {
        QImage picture(row.picture, QImage::Format_RGB32);
        picture.fill(row.colour);
        player.setPicture(picture);
    }
    if (row.countdown)
        player.setOverlayPixmap(digit(3));
    auto *view = window.findChild<Playback::PlayerWidget *>();
    ASSERT_NE(view, nullptr);
    const QImage shot = screenshot(*view);
    for (const Probe &probe : row.probes) {
        const QPoint at(qRound(probe.at.x() * (shot.width() - 1)),
                        qRound(probe.at.y() * (shot.height() - 1)));
        EXPECT_TRUE(isClose(shot.pixelColor(at), probe.expected))
            << "at " << at.x() << "," << at.y() << ": " << shot.pixelColor(at).name().toStdString();
    }
    int white = 0;
    for (int y = 0; y < shot.height(); ++y) {
        for (int x = 0; x < shot.width(); ++x)
            white += isWhite(shot.pixel(x, y));
    }
    // A 96-pixel bold digit lights well over a thousand pixels; nothing else in the view is white.
    EXPECT_EQ(white > 500, row.countdown) << white << " white pixels";
}

INSTANTIATE_TEST_SUITE_P(Window,
                         PlayerView,
                         ::testing::Values(ViewCase { "black_before_the_first_picture",
                                                      {},
                                                      {},
                                                      false,
                                                      { { { 0.5, 0.5 }, Qt::black } } },
                                           ViewCase { "the_picture_fills_the_middle",
                                                      { 320, 180 },
                                                      QColor(200, 40, 40),
                                                      false,
                                                      { { { 0.5, 0.5 }, QColor(200, 40, 40) } } },
                                           ViewCase {
                                               "a_tall_picture_keeps_its_shape_between_black_bars",
                                               { 90, 160 },
                                               QColor(40, 80, 200),
                                               false,
                                               { { { 0.03, 0.5 }, Qt::black },
                                                 { { 0.5, 0.5 }, QColor(40, 80, 200) } } },
                                           ViewCase { "the_countdown_digit_over_the_picture",
                                                      { 320, 180 },
                                                      QColor(40, 160, 60),
                                                      true,
                                                      { { { 0.05, 0.5 }, QColor(40, 160, 60) } } }),
                         TestSupport::tableRowName);

TEST_F(VoiceOverWindowTest,
       the_meter_bar_grows_on_a_db_scale_and_the_clip_mark_lights_at_full_scale)
{
    auto *bar = window.findChild<QWidget *>(QStringLiteral("levelBar"));
    ASSERT_NE(bar, nullptr);
    struct Reading {
        int lit;
        bool clip;
    };
    // The lit run of the bar's middle row; the held peak's white line ends it.
    const auto read = [&] {
        const QImage shot = screenshot(*bar);
        const int y = shot.height() / 2;
        int lit = 0;
        while (lit < shot.width() && shot.pixelColor(lit, y).saturation() > 100)
            ++lit;
        const QColor mark = shot.pixelColor(shot.width() - 3, y);
        return Reading { lit, mark.red() > 200 && mark.green() < 80 };
    };
    std::vector<Reading> readings;
    std::int64_t nowMs = 0;
    for (const float peak : { 0.01f, 0.1f, 0.5f, 1.0f }) { // -40, -20, -6 and 0 dBFS
        meter.update(peak, nowMs += 10);
        window.showProgress(MTime::fromMSec(nowMs));
        readings.push_back(read());
    }
    for (std::size_t i = 1; i < readings.size(); ++i)
        EXPECT_GT(readings[i].lit, readings[i - 1].lit) << "at reading " << i;
    // -20 dBFS sits two thirds along a scale from -60 to 0.
    EXPECT_NEAR(static_cast<double>(readings[1].lit) / readings[3].lit, 40.0 / 60.0, 0.02);
    EXPECT_NEAR(static_cast<double>(readings[0].lit) / readings[3].lit, 20.0 / 60.0, 0.02);
    EXPECT_FALSE(readings[2].clip);
    EXPECT_TRUE(readings[3].clip);
}

TEST_F(VoiceOverWindowTest, the_input_is_chosen_before_the_take_and_fixed_during_it)
{
    QStringList chosen;
    QObject::connect(&window, &Shell::VoiceOverWindow::deviceChosen,
                     [&](const QString &uid) { chosen << uid; });
    window.setDevices({ { "mic", "Microphone", false, 1, true },
                        { "virtual:tone:440", "Virtual tone 440 Hz", false, 2, false } },
                      QStringLiteral("virtual:tone:1000"));
    auto *devices = window.findChild<QComboBox *>();
    ASSERT_NE(devices, nullptr);
    EXPECT_EQ(devices->count(), 3) << "the input named on the command line is offered too";
    EXPECT_EQ(devices->currentData().toString(), "virtual:tone:1000");
    EXPECT_TRUE(devices->isEnabled());
    emit devices->activated(0);
    EXPECT_EQ(chosen, QStringList { "mic" });

    window.setRecording(true);
    EXPECT_FALSE(devices->isEnabled());
    EXPECT_TRUE(devices->toolTip().contains("while recording"));
}

TEST_F(VoiceOverWindowTest, the_inputs_offered_follow_the_devices_as_they_come_and_go)
{
    QTemporaryDir files;
    const QString path = files.filePath(QStringLiteral("input.wav"));
    TestSupport::writeToneFile(path, 440, 48000, 1, 0.1);
    const QString uid = QStringLiteral("virtual:file:") + path;
    auto &manager = AudIO::AudioDeviceManager::Instance();
    // A file input, once named, is listed while its file is there.
    ASSERT_FALSE(manager.FindDeviceByUid(uid.toStdString()).IsNull());
    window.setDevices(manager.GetInputs(), QStringLiteral("virtual:tone:440"));
    window.followDevices(manager);
    auto *devices = window.findChild<QComboBox *>();
    ASSERT_NE(devices, nullptr);
    ASSERT_GE(devices->findData(uid), 0);

    QFile::remove(path);
    manager.Rescan();
    EXPECT_TRUE(TestSupport::waitUntil([&] { return devices->findData(uid) < 0; }));
    EXPECT_EQ(devices->currentData().toString(), "virtual:tone:440") << "the choice stays";
}

TEST_F(VoiceOverWindowTest, stop_and_closing_the_window_both_ask_to_stop_and_save)
{
    int asked = 0;
    QObject::connect(&window, &Shell::VoiceOverWindow::stopRequested, [&] { ++asked; });
    auto *stop = window.findChild<QPushButton *>();
    ASSERT_NE(stop, nullptr);
    stop->click();
    EXPECT_EQ(asked, 1);
    window.close();
    EXPECT_EQ(asked, 2);
    EXPECT_TRUE(window.isVisible()) << "the window stays until the take is saved";
}

TEST(RecordWindow, records_the_tone_with_the_window_on_the_display)
{
    if (const QString why = TestSupport::virtualDisplayMissing(); !why.isEmpty())
        GTEST_SKIP() << why.toStdString();
    QTemporaryDir data;
    const QString out = data.filePath(QStringLiteral("voice.wav"));
    // The shell inherits the suite's display, so the window really opens there.
    const auto r
        = TestSupport::runShell(EDITOR_SHELL, data.path(),
                                { "record", out, "--window", "--seconds", "1", "--countdown", "1",
                                  "--device", "virtual:tone:440", "--json" });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_TRUE(TestSupport::jsonLines(r.out.toUtf8()).value(0).value("saved").toBool());
    const auto take = TestSupport::readAudioFile(out);
    ASSERT_GE(take.frames(), 48000);
    EXPECT_NEAR(TestSupport::zeroCrossings(take, 0, take.frames()), 880.0 * take.frames() / 48000,
                3);
}

} // namespace
