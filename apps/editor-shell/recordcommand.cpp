// `record`: a voice-over from an input device into a file, with the countdown, a live level meter
// and Ctrl+C to stop and keep what was said. Also lists the inputs and saves a take that an
// earlier run left behind.

#include "exitsignals.h"
#include "levelmeter.h"
#include "shellcontext.h"

#include "Application/application.h"
#include "CaptureController/iaudiocapture.h"
#include "Statistics/istatistics.h"
#include "Statistics/workspacestatistics.h"

#include "audio/audiodevicemanager.h"
#include "audio/takefile.h"
#include "dialogs/terminaldialogs.h"
#include "playback/player.h"
#include "playback/playerwidget.h"
#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPainter>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>
#include <memory>

#include <unistd.h>

namespace Shell {

namespace {

const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                       QStringLiteral("Stop by itself after N seconds."),
                                       QStringLiteral("N"));
const QCommandLineOption countdownOption(QStringLiteral("countdown"),
                                         QStringLiteral("Count S seconds down first (3)."),
                                         QStringLiteral("S"));
const QCommandLineOption deviceOption(QStringLiteral("device"),
                                      QStringLiteral("Record from the input UID."),
                                      QStringLiteral("UID"));
const QCommandLineOption volumeOption(QStringLiteral("volume"),
                                      QStringLiteral("Input volume, 0-100 percent."),
                                      QStringLiteral("P"));
const QCommandLineOption qualityOption(QStringLiteral("quality"),
                                       QStringLiteral("Audio quality code 0-7 (5: 48 kHz stereo)."),
                                       QStringLiteral("Q"));
const QCommandLineOption windowOption(QStringLiteral("window"),
                                      QStringLiteral("Show the player and the meter in a window."));
const QCommandLineOption listOption(QStringLiteral("list-devices"),
                                    QStringLiteral("List the input devices."));
const QCommandLineOption recoverOption(QStringLiteral("recover"),
                                       QStringLiteral("Save the interrupted take to OUT."));
const QCommandLineOption jsonOption(QStringLiteral("json"), QStringLiteral("Answer in JSON."));

void printJson(QTextStream &out, const QJsonObject &object)
{
    out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

int listDevices(Context &c)
{
    auto &manager = AudIO::AudioDeviceManager::Instance();
    const std::string chosen = manager.DefaultInput().Uid();
    const bool json = c.parser.isSet(jsonOption);
    for (const AudIO::AudioDeviceInfo &device : manager.GetInputs()) {
        const int volume = qRound(manager.GetInputMasterVolume(device.Uid()) * 100);
        const QString uid = QString::fromStdString(device.Uid());
        const QString name = QString::fromStdString(device.Name());
        const bool isDefault = device.Uid() == chosen;
        if (json) {
            printJson(c.out,
                      { { QStringLiteral("uid"), uid },
                        { QStringLiteral("name"), name },
                        { QStringLiteral("grabber"), device.IsGrabber() },
                        { QStringLiteral("volume"), volume },
                        { QStringLiteral("default"), isDefault } });
        } else {
            c.out << (isDefault ? "* " : "  ") << uid << "  " << name
                  << (device.IsGrabber() ? "  (records the system's output)" : "") << "  volume "
                  << volume << "%\n";
        }
    }
    return 0;
}

int recover(Context &c, const QString &out)
{
    const QStringList takes = AudIO::interruptedTakes(Settings::recordingsPath());
    if (takes.isEmpty()) {
        c.err << "record: there is no interrupted take to recover\n";
        return 1;
    }
    const std::int64_t frames = AudIO::convertAudioFile(takes.first(), out);
    QFile::remove(takes.first());
    if (c.parser.isSet(jsonOption)) {
        printJson(c.out,
                  { { QStringLiteral("recovered"), takes.first() },
                    { QStringLiteral("path"), out },
                    { QStringLiteral("frames"), static_cast<qint64>(frames) } });
    } else {
        c.out << "Saved the interrupted take to " << out << " (" << frames << " frames)\n";
    }
    return 0;
}

// A bar for the window, drawn from the same meter as the terminal line.
class MeterWidget final : public QWidget {
public:
    explicit MeterWidget(const LevelMeter &meter)
        : m_meter(meter)
    {
        setMinimumHeight(18);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.fillRect(rect(), QColor(30, 30, 30));
        const int w = width();
        const int level = LevelMeter::cells(m_meter.levelDb(), w);
        const int hot = LevelMeter::cells(-12.0, w);
        p.fillRect(0, 0, std::min(level, hot), height(), QColor(40, 200, 60));
        if (level > hot)
            p.fillRect(hot, 0, level - hot, height(), QColor(230, 200, 40));
        const int hold = LevelMeter::cells(m_meter.holdDb(), w);
        p.fillRect(std::max(0, hold - 2), 0, 2, height(), Qt::white);
        if (m_meter.clipping())
            p.fillRect(w - 10, 0, 10, height(), Qt::red);
    }

private:
    const LevelMeter &m_meter;
};

struct Request {
    QString out;
    double seconds = 0; // 0: until stopped
    int countdown = 3;
    int volume = -1;
    int quality = 5;
    std::string device;
    bool json = false;
};

// Checks the options; empty when they are good.
QString parse(Context &c, Request &r)
{
    if (c.arguments.size() != 1)
        return QStringLiteral("record takes one output file");
    r.out = QFileInfo(c.arguments.first()).absoluteFilePath();
    r.json = c.parser.isSet(jsonOption);
    bool ok = true;
    if (c.parser.isSet(secondsOption)) {
        r.seconds = c.parser.value(secondsOption).toDouble(&ok);
        if (!ok || !(r.seconds > 0) || r.seconds > 24 * 3600)
            return QStringLiteral("--seconds takes a length above 0");
    }
    if (c.parser.isSet(countdownOption)) {
        r.countdown = c.parser.value(countdownOption).toInt(&ok);
        if (!ok || r.countdown < 0 || r.countdown > 60)
            return QStringLiteral("--countdown takes whole seconds from 0 to 60");
    }
    if (c.parser.isSet(volumeOption)) {
        r.volume = c.parser.value(volumeOption).toInt(&ok);
        if (!ok || r.volume < 0 || r.volume > 100)
            return QStringLiteral("--volume takes a percentage from 0 to 100");
    }
    if (c.parser.isSet(qualityOption)) {
        r.quality = c.parser.value(qualityOption).toInt(&ok);
        if (!ok || r.quality < 0)
            return QStringLiteral("--quality takes a code from 0 to 7");
    }
    r.device = c.parser.isSet(deviceOption)
        ? c.parser.value(deviceOption).toStdString()
        : AudIO::AudioDeviceManager::Instance().DefaultInput().Uid();
    return {};
}

class Session final : public Capture::IAudioCaptureObserver {
public:
    Session(Context &c, const Request &r, Capture::IAudioCapture &capture)
        : c(c)
        , r(r)
        , capture(capture)
        , isTerminal(::isatty(STDERR_FILENO) != 0)
    {
        capture.addObserver(this);
        meterTimer.setInterval(33);
        QObject::connect(&meterTimer, &QTimer::timeout, [this] { refresh(); });
    }
    ~Session() override { capture.removeObserver(this); }

    void audioCaptureStateChanged() override
    {
        if (capture.state() == Capture::State::CountingDown) {
            c.err << capture.countdownSeconds() << "... ";
            c.err.flush();
        } else if (capture.state() == Capture::State::Recording && !meterTimer.isActive()) {
            c.err << "recording" << (isTerminal ? " (Ctrl+C stops and saves)" : "") << '\n';
            c.err.flush();
            capture.showLevels();
            clock.start();
            meterTimer.start();
        }
    }

    void audioCaptureDeviceLost() override
    {
        c.err << "\nrecord: the input device is gone; saving what was recorded until then\n";
        capture.stop(r.out);
    }

    void audioCaptureFinished(const Capture::CaptureResult &result) override
    {
        meterTimer.stop();
        capture.hideLevels();
        if (isTerminal)
            c.err << '\n';
        finished = result;
        done = true;
        if (loop)
            loop->quit();
    }

    void interrupt()
    {
        interrupted = true;
        if (capture.state() == Capture::State::Recording)
            capture.stop(r.out);
        else
            capture.cancel();
        if (capture.state() == Capture::State::Idle && loop)
            loop->quit();
    }

    void refresh()
    {
        meter.update(capture.peakLevel(), clock.elapsed());
        const MTime recorded = capture.recordedTime();
        if (window)
            window->update();
        if (elapsedLabel)
            elapsedLabel->setText(recorded.toClockString());
        if (isTerminal) {
            c.err << '\r' << recorded.toClockString() << "  " << meter.line(30) << "   ";
            c.err.flush();
        }
        if (r.seconds > 0 && recorded.toSecF() >= r.seconds)
            capture.stop(r.out);
    }

    Context &c;
    const Request &r;
    Capture::IAudioCapture &capture;
    const bool isTerminal;
    LevelMeter meter;
    QTimer meterTimer;
    QElapsedTimer clock;
    QEventLoop *loop = nullptr;
    QWidget *window = nullptr;
    QLabel *elapsedLabel = nullptr;
    Capture::CaptureResult finished;
    bool done = false;
    bool interrupted = false;
};

int report(Context &c, const Request &r, const Session &s)
{
    const Capture::CaptureResult &f = s.finished;
    const double seconds = f.sampleRate ? static_cast<double>(f.frames) / f.sampleRate : 0.0;
    if (r.json) {
        printJson(c.out,
                  { { QStringLiteral("path"), f.saved ? f.path : QString() },
                    { QStringLiteral("saved"), f.saved },
                    { QStringLiteral("error"), f.error },
                    { QStringLiteral("device"), QString::fromStdString(r.device) },
                    { QStringLiteral("frames"), static_cast<qint64>(f.frames) },
                    { QStringLiteral("sampleRate"), f.sampleRate },
                    { QStringLiteral("channels"), f.channels },
                    { QStringLiteral("seconds"), seconds },
                    { QStringLiteral("lostFrames"), static_cast<qint64>(f.lostFrames) },
                    { QStringLiteral("overruns"), f.overruns },
                    { QStringLiteral("deviceLost"), f.deviceLost },
                    { QStringLiteral("firstSampleLatencyMs"),
                      static_cast<double>(f.firstSampleLatencyUs) / 1000.0 } });
    } else if (f.saved) {
        c.out << "Saved " << QString::number(seconds, 'f', 3) << " s (" << f.frames << " frames, "
              << f.sampleRate << " Hz, " << f.channels << " channel" << (f.channels == 1 ? "" : "s")
              << ") to " << f.path << '\n';
        if (f.lostFrames > 0)
            c.out << "Input lost: " << f.lostFrames << " frames in " << f.overruns
                  << " places, kept as silence so the take stays in time\n";
    }
    return f.saved ? 0 : 1;
}

int record(Context &c)
{
    if (c.parser.isSet(listOption))
        return listDevices(c);
    if (c.parser.isSet(recoverOption)) {
        if (c.arguments.size() != 1) {
            c.err << "usage: editor-shell record --recover OUT\n";
            return 2;
        }
        return recover(c, QFileInfo(c.arguments.first()).absoluteFilePath());
    }
    Request r;
    if (const QString problem = parse(c, r); !problem.isEmpty()) {
        c.err << "record: " << problem << '\n';
        return 2;
    }
    Capture::IAudioCapture *capture = Capture::audioCapture();
    if (!capture) {
        c.err << "record: voice-over capture is not available\n";
        return 1;
    }
    const QStringList left = AudIO::interruptedTakes(Settings::recordingsPath());
    if (!left.isEmpty())
        c.err << "record: an interrupted take exists (" << left.first()
              << "); save it with: editor-shell record --recover OUT\n";

    // The layer's messages (a missing device, a failed save) go to the terminal.
    c.app.setDialogs(std::make_shared<Dialog::TerminalDialogs>(Dialog::TerminalDialogs::Answer::No,
                                                               stdin, stderr));
    Playback::Player player;
    Playback::setCurrentPlayback(&player);
    Session session(c, r, *capture);

    std::unique_ptr<QWidget> window;
    if (c.parser.isSet(windowOption)) {
        window = std::make_unique<QWidget>();
        window->setWindowTitle(QStringLiteral("Voice-over: ") + QFileInfo(r.out).fileName());
        auto *layout = new QVBoxLayout(window.get());
        layout->addWidget(new Playback::PlayerWidget(player), 1);
        layout->addWidget(new MeterWidget(session.meter));
        session.elapsedLabel = new QLabel(QStringLiteral("0:00:00.000"));
        layout->addWidget(session.elapsedLabel);
        window->resize(640, 420);
        window->show();
        session.window = window.get();
    }

    const auto device = AudIO::AudioDeviceManager::Instance().FindDeviceByUid(r.device);
    c.err << "record: input " << QString::fromStdString(r.device);
    if (!device.IsNull())
        c.err << " (" << QString::fromStdString(device.Name()) << ")";
    c.err << '\n';
    c.err.flush();

    capture->setDevice(QString::fromStdString(r.device));
    if (r.volume >= 0)
        capture->setVolume(r.volume);
    capture->setQuality(r.quality);
    // The record button: the workspace reports the click, then the capture starts.
    if (Statistics::IStatistics *statistics = Statistics::statistics())
        statistics->workspaceStatistics()->audioCaptureClicked(Capture::Mode::Voice);
    capture->start(Capture::Mode::Voice, r.countdown * 1000);

    int status = 1;
    if (capture->state() != Capture::State::Idle) {
        // Ctrl+C (and a polite kill) stop the take and keep it.
        const auto interrupts = ExitSignals::take([&session] { session.interrupt(); });
        QEventLoop loop;
        session.loop = &loop;
        if (!session.done)
            loop.exec();
        session.loop = nullptr;
        if (session.done)
            status = report(c, r, session);
        else if (session.interrupted) {
            c.err << "\nrecord: cancelled during the countdown; nothing was recorded\n";
            status = 130;
        }
    }
    // What the take was made with is released on a later turn of the loop; give it that turn.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Playback::setCurrentPlayback(nullptr);
    return status;
}

} // namespace

Command recordCommand()
{
    return { "record",
             "record OUT [--seconds N] [--countdown S] [--device UID] [--volume P] [--quality Q] "
             "[--window] [--json] | --list-devices [--json] | --recover OUT   voice-over capture",
             [](QCommandLineParser &p) {
                 p.addOption(secondsOption);
                 p.addOption(countdownOption);
                 p.addOption(deviceOption);
                 p.addOption(volumeOption);
                 p.addOption(qualityOption);
                 p.addOption(windowOption);
                 p.addOption(listOption);
                 p.addOption(recoverOption);
                 p.addOption(jsonOption);
             },
             record };
}

} // namespace Shell
