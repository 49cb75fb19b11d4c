// `record`: a voice-over from an input device into a file, with the countdown, a live level meter
// and Ctrl+C to stop and keep what was said. Also lists the inputs and saves a take that an
// earlier run left behind.

#include "analysiswait.h"
#include "exitsignals.h"
#include "levelmeter.h"
#include "outputguard.h"
#include "projectactions.h"
#include "shellcontext.h"
#include "voiceoverwindow.h"

#include "Application/application.h"
#include "CaptureController/iaudiocapture.h"
#include "FileAnalyzer/model.h"
#include "Messages/fileadder.h"
#include "Statistics/istatistics.h"
#include "Statistics/workspacestatistics.h"

#include "audio/audiodevicemanager.h"
#include "audio/takefile.h"
#include "dialogs/terminaldialogs.h"
#include "playback/player.h"
#include "project/project.h"
#include "pubsub/subscriber.h"
#include "timeline/clip.h"
#include "timeline/timeline.h"
#include "util/format.h"
#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <utility>

#include <unistd.h>

namespace Shell {

namespace {

void printJson(QTextStream &out, const QJsonObject &object)
{
    out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

int listDevices(Context &c)
{
    auto &manager = AudIO::AudioDeviceManager::Instance();
    const std::string chosen = manager.DefaultInput().Uid();
    const bool json = c.json();
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

// The result of a run that saved nothing: what a script reads instead of the take's figures.
QJsonObject notRecordedObject(const QString &device, const QString &error)
{
    return {
        { QStringLiteral("path"), QString() },   { QStringLiteral("saved"), false },
        { QStringLiteral("error"), error },      { QStringLiteral("device"), device },
        { QStringLiteral("frames"), 0 },         { QStringLiteral("sampleRate"), 0 },
        { QStringLiteral("channels"), 0 },       { QStringLiteral("seconds"), 0 },
        { QStringLiteral("lostFrames"), 0 },     { QStringLiteral("overruns"), 0 },
        { QStringLiteral("deviceLost"), false }, { QStringLiteral("firstSampleLatencyMs"), 0 }
    };
}

// A run that saved nothing still answers a script with the result's object: the reason on the
// error stream (unless the layer or the output check `told` it already) and in "error".
int notRecorded(Context &c,
                const QString &device,
                const QString &error,
                int status,
                bool told = false)
{
    if (!told)
        c.err << errorPrefix << error << '\n';
    if (c.json())
        printJson(c.out, notRecordedObject(device, error));
    return status;
}

QString extensionProblem(const QString &out)
{
    if (AudIO::isAudioFileExtension(out))
        return {};
    return QStringLiteral("OUT must end in .%1: a take is saved in the format its name tells")
        .arg(AudIO::audioFileExtensions().join(QStringLiteral(", .")));
}

int recover(Context &c, const QString &out)
{
    if (const QString problem = extensionProblem(out); !problem.isEmpty())
        return notRecorded(c, {}, problem, usageExit);
    const QStringList takes = AudIO::interruptedTakes(Settings::recordingsPath());
    if (takes.isEmpty())
        return notRecorded(c, {}, QStringLiteral("there is no interrupted take to recover"), 1);
    if (QString refused; !checkOutput(c, out, QStringLiteral("record"), false, {}, &refused))
        return notRecorded(c, {}, refused, 1, true);
    std::int64_t frames = 0;
    try {
        frames = AudIO::recoverTake(takes.first(), out);
    } catch (const std::exception &e) {
        return notRecorded(c, {}, QString::fromStdString(e.what()), 1);
    }
    rememberOutput(out, QStringLiteral("record"));
    if (c.json()) {
        printJson(c.out,
                  { { QStringLiteral("recovered"), takes.first() },
                    { QStringLiteral("path"), out },
                    { QStringLiteral("frames"), static_cast<qint64>(frames) } });
    } else {
        c.out << "Saved the interrupted take to " << Format::printable(out) << " (" << frames
              << " frames)\n";
    }
    return 0;
}

struct Request {
    QString out;
    double seconds = 0; // 0: until stopped
    int countdown = 3;
    int volume = -1;
    int quality = 5;
    std::string device;
    bool json = false;
    // A voice-over into a project: the timeline plays from `at` while the take is made, and the
    // take lands on it. Empty: a take to OUT alone.
    QString project;
    MTime at;
};

// The request the options make; their ranges were checked by the option table.
QString parse(Context &c, Request &r)
{
    const OptionValues &o = c.options;
    r.json = c.json();
    if (o.isSet(QStringLiteral("project"))) {
        if (!c.arguments.isEmpty())
            return QStringLiteral("record --project takes no OUT: the take goes beside the "
                                  "project");
        r.project = QFileInfo(o.text(QStringLiteral("project"))).absoluteFilePath();
        if (!Settings::isProjectFilePath(r.project))
            return QStringLiteral("%1 does not end in .%2")
                .arg(Format::printable(r.project), Settings::projectFileExtension());
        if (o.isSet(QStringLiteral("at")))
            r.at = o.time(QStringLiteral("at"));
    } else {
        if (o.isSet(QStringLiteral("at")))
            return QStringLiteral("--at goes with --project");
        if (c.arguments.size() != 1)
            return QStringLiteral("record takes one output file");
        r.out = QFileInfo(c.arguments.first()).absoluteFilePath();
        if (const QString problem = extensionProblem(r.out); !problem.isEmpty())
            return problem;
    }
    if (o.isSet(QStringLiteral("seconds")))
        r.seconds = o.number(QStringLiteral("seconds"));
    r.countdown = o.integer(QStringLiteral("countdown"));
    // The voice-over mode starts the playback as its countdown ends; without one it would
    // record over a still timeline.
    if (!r.project.isEmpty() && r.countdown < 1)
        return QStringLiteral("record --project counts at least 1 second down");
    if (o.isSet(QStringLiteral("volume")))
        r.volume = o.integer(QStringLiteral("volume"));
    r.quality = o.integer(QStringLiteral("quality"));
    r.device = o.isSet(QStringLiteral("device"))
        ? o.text(QStringLiteral("device")).toStdString()
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
        // A take that never started (no device when the countdown ended) ends the run.
        if (capture.state() == Capture::State::Idle && !done && loop)
            loop->quit();
        // The voice-over mode's wait for the playback is still the countdown, at 0.
        if (capture.state() == Capture::State::CountingDown && capture.countdownSeconds() > 0) {
            c.err << capture.countdownSeconds() << "... ";
            c.err.flush();
        } else if (capture.state() == Capture::State::Recording && !meterTimer.isActive()) {
            c.err << "recording" << (isTerminal ? " (Ctrl+C stops and saves)" : "") << '\n';
            c.err.flush();
            capture.showLevels();
            if (window)
                window->setRecording(true);
            clock.start();
            meterTimer.start();
        }
    }

    void audioCaptureDeviceLost() override
    {
        c.err << '\n'
              << errorPrefix
              << "warning: the input device is gone; saving what was recorded until then\n";
        stopAndSave();
    }

    // Saves what was written; the report tells how much and why no more.
    void audioCaptureWriteFailed(const QString &) override { stopAndSave(); }

    // A voice-over ends with the timeline: the playback stopping at its end stops the take.
    void followPlayback(Playback::Player &player)
    {
        QObject::connect(&player, &Playback::Player::stopped, &meterTimer, [this] {
            if (capture.state() == Capture::State::Recording)
                stopAndSave();
        });
    }

    // Once: saving stops the playback, whose stop would otherwise ask again from inside.
    void stopAndSave()
    {
        if (stopRequested)
            return;
        stopRequested = true;
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
            stopAndSave();
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
            window->showProgress(recorded);
        if (isTerminal) {
            c.err << '\r' << recorded.toClockString() << "  " << meter.line(30) << "   ";
            c.err.flush();
        }
        if (r.seconds > 0 && recorded.toSecF() >= r.seconds)
            stopAndSave();
    }

    Context &c;
    const Request &r;
    Capture::IAudioCapture &capture;
    const bool isTerminal;
    LevelMeter meter;
    QTimer meterTimer;
    QElapsedTimer clock;
    QEventLoop *loop = nullptr;
    VoiceOverWindow *window = nullptr;
    Capture::CaptureResult finished;
    bool done = false;
    bool interrupted = false;
    bool stopRequested = false;
};

int report(Context &c, const Request &r, const Session &s, const QJsonObject &placed = {})
{
    const Capture::CaptureResult &f = s.finished;
    const double seconds = f.sampleRate ? static_cast<double>(f.frames) / f.sampleRate : 0.0;
    if (r.json) {
        QJsonObject json { { QStringLiteral("path"), f.saved ? f.path : QString() },
                           { QStringLiteral("saved"), f.saved },
                           { QStringLiteral("error"), f.error.isEmpty() ? f.writeError : f.error },
                           { QStringLiteral("writeError"), f.writeError },
                           { QStringLiteral("device"), QString::fromStdString(r.device) },
                           { QStringLiteral("frames"), static_cast<qint64>(f.frames) },
                           { QStringLiteral("sampleRate"), f.sampleRate },
                           { QStringLiteral("channels"), f.channels },
                           { QStringLiteral("seconds"), seconds },
                           { QStringLiteral("lostFrames"), static_cast<qint64>(f.lostFrames) },
                           { QStringLiteral("overruns"), f.overruns },
                           { QStringLiteral("deviceLost"), f.deviceLost },
                           { QStringLiteral("firstSampleLatencyMs"),
                             static_cast<double>(f.firstSampleLatencyUs) / 1000.0 } };
        for (auto it = placed.begin(); it != placed.end(); ++it)
            json.insert(it.key(), it.value());
        printJson(c.out, json);
    } else if (f.saved) {
        c.out << "Saved " << QString::number(seconds, 'f', 3) << " s (" << f.frames << " frames, "
              << f.sampleRate << " Hz, " << f.channels << " channel" << (f.channels == 1 ? "" : "s")
              << ") to " << f.path << '\n';
        if (f.lostFrames > 0)
            c.out << "Input lost: " << f.lostFrames << " frames in " << f.overruns
                  << " places, kept as silence so the take stays in time\n";
    }
    if (f.saved)
        rememberOutput(f.path, QStringLiteral("record"));
    if (!f.writeError.isEmpty())
        c.err << errorPrefix << "the take stopped being written after "
              << QString::number(seconds, 'f', 3) << " s (" << Format::printable(f.writeError)
              << "); only that much was kept\n";
    return f.saved && f.writeError.isEmpty() ? 0 : 1;
}

// Where a project's voice-overs live: a folder beside it named after it, so the project and
// its narration are copied and moved together.
QString takeFolderOf(const QString &project)
{
    const QFileInfo info(project);
    return info.absolutePath() + QLatin1Char('/') + info.completeBaseName()
        + QStringLiteral(".media");
}

// The first voiceover-N.wav free in the folder, so no take ever replaces an earlier one.
QString nextTakePath(const QString &folder)
{
    for (int n = 1;; ++n) {
        const QString path = folder + QStringLiteral("/voiceover-%1.wav").arg(n);
        if (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink())
            return path;
    }
}

// The first sound track with no clip between `from` and `to`; -1 when every one has.
int freeAudioTrack(const Timeline::Model &timeline, MTime from, MTime to)
{
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::Track &track = timeline.track(t);
        if (track.type() != Timeline::TrackType::Audio)
            continue;
        const bool taken
            = std::any_of(track.clips().begin(), track.clips().end(), [&](const auto &clip) {
                  return clip->position() < to && clip->end() > from;
              });
        if (!taken)
            return t;
    }
    return -1;
}

// Waits for one add request to be analysed and placed.
class AddWatch
    : public PubSub::Subscriber<FileAdder::AddMediaFilesResult>
    , public AnalysisWait {
public:
    explicit AddWatch(FileAnalyzer::Model &analysis)
        : AnalysisWait(analysis)
    {
        subscribeAllTypes();
    }

    void notify(const FileAdder::AddMediaFilesResult &) override { answered = true; }
    bool finished() const override { return answered && allRemoved(); }

    bool answered = false;
};

// The take onto the project's timeline where it was spoken, through the add request as the
// editor adds any recording, then the project saved. The placement for --json; empty when the
// take did not reach the timeline (told on the error stream).
QJsonObject placeTake(Context &c, const Request &r, const Capture::CaptureResult &take)
{
    Context quiet { c.app, c.parser, c.arguments, c.answer, c.err, c.err, c.options };
    Context &report = c.json() ? quiet : c;
    Timeline::Model &timeline = c.app.project().timeline();
    const MTime at = std::max(take.position, MTime());
    const MTime length = MTime::fromMSec(take.frames * 1000 / std::max(take.sampleRate, 1) + 1);
    int track = freeAudioTrack(timeline, at, at + length);
    if (track < 0) {
        timeline.addTrack(Timeline::TrackType::Audio);
        track = timeline.trackCount() - 1;
    }
    FileAdder::Contexts contexts;
    contexts.timeline = FileAdder::TimelineContext { &timeline, track, at };
    AddWatch watch(c.app.analysis());
    PubSub::publish(
        FileAdder::AddMediaFiles({ take.path }, FileAdder::Asrc::AudioRecording, contexts));
    if (!watch.finished()) {
        QEventLoop loop;
        watch.loop = &loop;
        loop.exec();
        watch.loop = nullptr;
    }
    const Timeline::Clip *placed = nullptr;
    for (const auto &clip : timeline.track(track).clips()) {
        if (clip->file() && clip->file()->path == take.path)
            placed = clip.get();
    }
    if (!placed) {
        c.err << errorPrefix << "the take could not be put on the timeline; it stays in "
              << Format::printable(take.path) << '\n';
        return {};
    }
    report.out << "Placed on track " << track << " at " << placed->position().toClockString()
               << " (clip " << placed->id() << ")\n";
    if (!saveProject(report, r.project))
        return {};
    return { { QStringLiteral("project"), r.project },
             { QStringLiteral("track"), track },
             { QStringLiteral("clip"), static_cast<qint64>(placed->id()) },
             { QStringLiteral("at"), placed->position().toSecF() } };
}

// Opens the project for the voice-over, locked until it is saved, and names the take's file.
QString prepareProject(Context &c, Request &r)
{
    if (!QFileInfo::exists(r.project))
        return QStringLiteral("there is no project %1").arg(Format::printable(r.project));
    if (!lockProject(c, r.project))
        return QStringLiteral("the project is being changed by another run");
    Context quiet { c.app, c.parser, c.arguments, c.answer, c.err, c.err, c.options };
    if (!openProject(c.json() ? quiet : c, r.project, false))
        return QStringLiteral("the project %1 could not be opened")
            .arg(Format::printable(r.project));
    const MTime end = c.app.project().timeline().duration();
    if (r.at >= end)
        return QStringLiteral("--at %1 is not before the end of the timeline (%2)")
            .arg(r.at.toClockString(), end.toClockString());
    const QString folder = takeFolderOf(r.project);
    if (!QDir().mkpath(folder))
        return QStringLiteral("cannot make the folder %1").arg(Format::printable(folder));
    r.out = nextTakePath(folder);
    return {};
}

int record(Context &c)
{
    if (c.options.isSet(QStringLiteral("list-devices")))
        return listDevices(c);
    if (c.options.isSet(QStringLiteral("recover"))) {
        if (c.arguments.size() != 1)
            return c.usageError(QStringLiteral("record --recover takes one OUT"));
        return recover(c, QFileInfo(c.arguments.first()).absoluteFilePath());
    }
    Request r;
    if (const QString problem = parse(c, r); !problem.isEmpty())
        return notRecorded(c, QString::fromStdString(r.device), problem, usageExit);
    Capture::IAudioCapture *capture = Capture::audioCapture();
    const QString deviceUid = QString::fromStdString(r.device);
    if (!capture)
        return notRecorded(c, deviceUid, QStringLiteral("voice-over capture is not available"), 1);
    const bool voiceOver = !r.project.isEmpty();
    if (voiceOver) {
        if (const QString problem = prepareProject(c, r); !problem.isEmpty())
            return notRecorded(c, deviceUid, problem, 1);
    }
    if (QString refused; !checkOutput(c, r.out, QStringLiteral("record"), voiceOver, {}, &refused))
        return notRecorded(c, deviceUid, refused, 1, true);
    const QStringList left = AudIO::interruptedTakes(Settings::recordingsPath());
    if (!left.isEmpty())
        c.err << errorPrefix << "warning: an interrupted take exists ("
              << Format::printable(left.first())
              << "); save it with: editor-shell record --recover OUT\n";

    // The layer's messages (a missing device, a failed save) go to the terminal.
    c.app.setDialogs(std::make_shared<Dialog::TerminalDialogs>(Dialog::TerminalDialogs::Answer::No,
                                                               stdin, stderr));
    Playback::Player &player = c.app.player();
    Session session(c, r, *capture);
    if (voiceOver) {
        player.seek(r.at);
        session.followPlayback(player);
    }

    // The voice-over mode plays the timeline after the countdown and records once it plays.
    const Capture::Mode mode = voiceOver ? Capture::Mode::WithPlayback : Capture::Mode::Voice;
    std::unique_ptr<VoiceOverWindow> window;
    if (c.options.isSet(QStringLiteral("window"))) {
        window = std::make_unique<VoiceOverWindow>(player, session.meter);
        window->setWindowTitle(QStringLiteral("Voice-over: ") + QFileInfo(r.out).fileName());
        auto &devices = AudIO::AudioDeviceManager::Instance();
        window->setDevices(devices.GetInputs(), QString::fromStdString(r.device));
        window->followDevices(devices);
        QObject::connect(window.get(), &VoiceOverWindow::stopRequested,
                         [&session] { session.interrupt(); });
        // Another input during the countdown: the layer ends the countdown as it switches, so
        // the run goes on through that and counts down again for the new one.
        QObject::connect(window.get(), &VoiceOverWindow::deviceChosen, [&](const QString &uid) {
            if (capture->state() != Capture::State::CountingDown || uid == capture->device())
                return;
            r.device = uid.toStdString();
            c.err << "\nInput: " << Format::printable(uid) << '\n';
            QEventLoop *const loop = std::exchange(session.loop, nullptr);
            capture->setDevice(uid);
            session.loop = loop;
            capture->start(mode, r.countdown * 1000);
        });
        window->resize(640, 460);
        window->show();
        session.window = window.get();
    }

    const auto device = AudIO::AudioDeviceManager::Instance().FindDeviceByUid(r.device);
    c.err << "Input: " << Format::printable(QString::fromStdString(r.device));
    if (!device.IsNull())
        c.err << " (" << Format::printable(QString::fromStdString(device.Name())) << ")";
    c.err << '\n';
    c.err.flush();

    capture->setDevice(QString::fromStdString(r.device));
    if (r.volume >= 0)
        capture->setVolume(r.volume);
    capture->setQuality(r.quality);
    // The record button: the workspace reports the click, then the capture starts.
    if (Statistics::IStatistics *statistics = Statistics::statistics())
        statistics->workspaceStatistics()->audioCaptureClicked(mode);
    capture->start(mode, r.countdown * 1000);

    int status = -1;
    if (capture->state() != Capture::State::Idle) {
        // Ctrl+C (and a polite kill) stop the take and keep it.
        const auto interrupts = ExitSignals::take([&session] { session.interrupt(); });
        QEventLoop loop;
        session.loop = &loop;
        if (!session.done)
            loop.exec();
        session.loop = nullptr;
        if (session.done) {
            QJsonObject placed;
            if (voiceOver && session.finished.saved)
                placed = placeTake(c, r, session.finished);
            status = report(c, r, session, placed);
            if (voiceOver && placed.isEmpty())
                status = 1;
        } else if (session.interrupted) {
            c.err << '\n';
            status = notRecorded(c, QString::fromStdString(r.device),
                                 QStringLiteral("cancelled during the countdown; nothing was "
                                                "recorded"),
                                 130);
        }
    }
    // The layer has told why on the terminal; a script hears it in the result.
    // The window may have switched the input during the countdown: name the one last chosen.
    if (status < 0) {
        const QString chosen = QString::fromStdString(r.device);
        const bool missing
            = AudIO::AudioDeviceManager::Instance().FindDeviceByUid(r.device).IsNull();
        status = notRecorded(c, chosen,
                             missing ? QStringLiteral("Can't find a device: ") + chosen
                                     : QStringLiteral("the recording did not start"),
                             1, true);
    }
    // What the take was made with is released on a later turn of the loop; give it that turn.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    player.stop();
    return status;
}

} // namespace

Command recordCommand()
{
    Command command = tabledCommand(
        "record", QStringLiteral("OUT"),
        QStringLiteral("Record a voice-over to OUT (WAV, or FLAC/Ogg Vorbis by the extension), or "
                       "with --project over the project's playing timeline and onto it; Ctrl+C "
                       "or --seconds stops and saves."),
        {
            path(QStringLiteral("project"),
                 QStringLiteral("A voice-over into PROJECT: its timeline plays from --at while "
                                "the take is made, and the take lands on its first free sound "
                                "track where it was spoken; saved beside it in NAME.media."),
                 QStringLiteral("PROJECT")),
            position(QStringLiteral("at"),
                     QStringLiteral("With --project: where the playback starts (default the "
                                    "start).")),
            seconds(QStringLiteral("seconds"), QStringLiteral("Stop by itself after this long."),
                    0.001, 86400),
            integer(QStringLiteral("countdown"),
                    QStringLiteral("Count this many seconds down first."), 0, 60)
                .withDefault(QStringLiteral("3")),
            text(QStringLiteral("device"),
                 QStringLiteral("Record from this input (uid from --list-devices, "
                                "virtual:tone:HZ, virtual:file:PATH); default the system's "
                                "default input, else virtual:tone:440."),
                 QStringLiteral("UID")),
            percent(QStringLiteral("volume"), QStringLiteral("Input volume."), 0, 100),
            integer(QStringLiteral("quality"),
                    QStringLiteral("Quality code: 0 8 kHz mono, 1 16 kHz mono, 2 22.05 kHz mono, "
                                   "3 44.1 kHz mono, 4 48 kHz mono, 5 48 kHz stereo, 6 44.1 kHz "
                                   "stereo, 7 96 kHz stereo."),
                    0, 7)
                .withDefault(QStringLiteral("5")),
            flag(QStringLiteral("window"),
                 QStringLiteral("Show the player and the meter in a window (needs a display).")),
            flag(QStringLiteral("list-devices"), QStringLiteral("List the input devices instead.")),
            flag(QStringLiteral("recover"),
                 QStringLiteral("Save the newest interrupted take to OUT instead.")),
        },
        record);
    command.refusedJson = [](const QString &error) { return notRecordedObject({}, error); };
    return command;
}

} // namespace Shell
