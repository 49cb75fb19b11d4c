#include "CaptureController/controller.h"

#include "CaptureController/iaudiocapture.h"

#include "audio/audiodevicemanager.h"
#include "audio/recordingstream.h"
#include "audio/systemaudiorecorder.h"
#include "dialogs/dialog.h"
#include "playback/player.h"
#include "playback/playerwidget.h"
#include "util/scheduler.h"

#include <QCoreApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QPixmap>
#include <QTimer>

#include <glog/logging.h>

#include <algorithm>
#include <atomic>

namespace Capture {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("MainWindow", text);
}

void tellUser(const QString &text, const QString &details = {})
{
    Dialog::showMessage(tr("Voice-over"), text, details);
}

// The codes the reader knows are 0-7, 5 the best; anything past them is taken as the best.
int readerQuality(int quality)
{
    return quality == 5 || quality >= 8 ? 5 : quality;
}

QPixmap countdownPixmap(int seconds)
{
    const QFont font = Settings::audioCaptureCountdownFont();
    const QString text = QString::number(seconds);
    const QFontMetrics metrics(font);
    const QRect bounds = metrics.boundingRect(text).adjusted(-8, -8, 8, 8);
    QPixmap pixmap(bounds.size());
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, text);
    return pixmap;
}

// Holds what a take was made with until a later turn of the event loop, so none of it is
// destroyed from inside one of its own callbacks.
class ReleaseGuard final : public QObject {
public:
    std::unique_ptr<AudIO::RecordingStream> stream;
    std::shared_ptr<AudIO::AudioReader> reader;
    std::shared_ptr<AudIO::SystemAudioRecorder> recorder;
};

} // namespace

class Controller::AudioCaptureImpl final
    : public QObject
    , public IAudioCapture
    , public AudIO::IAudioDevicesObserver
    , public Playback::PlaybackWatcher {
public:
    enum : int { LevelsShown = 2 };

    explicit AudioCaptureImpl(const Options &options)
        : playback(options.playback)
    {
        countdown.setInterval(static_cast<int>(options.countdownStep.count()));
        connect(&countdown, &QTimer::timeout, this, [this] { tick(); });
        manager.AddObserver(this);
    }

    ~AudioCaptureImpl() override
    {
        manager.RemoveObserver(this);
        unwatchPlayback();
        countdown.stop();
        if (stream) {
            stream->Stop();
            stream->Keep();
        }
    }

    // IAudioCapture

    void showLevels() override
    {
        flags.fetch_or(LevelsShown);
        if (!scheduler.isPending())
            refreshDevices();
    }

    void hideLevels() override { flags.fetch_and(~LevelsShown); }

    void start(Mode m, int delayMs) override { startImpl(m, delayMs, false); }

    void cancel() override { stopImpl({}); }

    void setDevice(const QString &uid) override
    {
        const std::string narrow = uid.toStdString();
        if (narrow == deviceUid)
            return;
        stopImpl({});
        deviceUid = narrow;
    }

    void setVolume(int percent) override
    {
        if (percent == volumePercent)
            return;
        volumePercent = percent;
        if (!manager.FindDeviceByUid(deviceUid).IsNull())
            manager.SetInputMasterVolume(deviceUid, static_cast<float>(percent) / 100.0f);
        for (IAudioCaptureObserver *observer : std::vector(observers))
            observer->audioCaptureVolumeChanged();
    }

    void stop(const QString &path) override { stopImpl(path); }

    void setQuality(int code) override { quality = code; }

    State state() const override { return static_cast<State>(stateCode == 3 ? 0 : stateCode); }
    int countdownSeconds() const override { return secondsLeft; }
    QString device() const override { return QString::fromStdString(deviceUid); }
    int volume() const override { return volumePercent; }

    float peakLevel() override
    {
        if (!(flags.load() & LevelsShown))
            return 0.0f;
        return manager.GetInputPeakValue(deviceUid);
    }

    MTime recordedTime() const override
    {
        if (!stream || !reader)
            return {};
        return MTime::fromMSec(stream->Frames() * 1000 / reader->Format().sampleRate);
    }

    void addObserver(IAudioCaptureObserver *observer) override { observers.push_back(observer); }
    void removeObserver(IAudioCaptureObserver *observer) override
    {
        observers.erase(std::remove(observers.begin(), observers.end(), observer), observers.end());
    }

    // AudIO::IAudioDevicesObserver, on the device manager's thread.
    void OnAudioDevicesChanged(const std::vector<AudIO::AudioDeviceInfo> &devices) override
    {
        QMetaObject::invokeMethod(
            this, [this, devices] { applyDevices(devices); }, Qt::QueuedConnection);
    }

    // Playback::PlaybackWatcher
    void playbackStarted() override
    {
        if (!waitingForPlayback)
            return;
        waitingForPlayback = false;
        unwatchPlayback();
        startImpl(mode, 0, true);
    }

private:
    void startImpl(Mode m, int delayMs, bool keepPlayback)
    {
        if (stateCode == 2)
            return;
        if (stateCode == 1 && countdown.isActive())
            return;
        if (playback && !keepPlayback)
            playback->stop();
        mode = m;
        secondsLeft = std::max(delayMs, 0) / 1000;
        if (secondsLeft != 0) {
            stateCode = 1;
            drawCountdown();
            countdown.start();
            tellState();
            return;
        }
        stateCode = 2;
        const AudIO::AudioDeviceInfo device = manager.FindDeviceByUid(deviceUid);
        if (device.IsNull()) {
            LOG(ERROR) << "Can't find a device"
                       << " UID: " << deviceUid;
            stateCode = 0;
            tellUser(tr("Can't find a device"));
            tellState();
            return;
        }
        // The playback's chronometer places the take on the timeline; alone, it keeps its own.
        chronometer = playback ? playback->chronometer() : std::make_shared<AudIO::Chronometer>();
        recorder = std::make_shared<AudIO::SystemAudioRecorder>(firstGrabber());
        reader = manager.CreateReader(device, readerQuality(quality), chronometer, recorder);
        try {
            if (!reader)
                throw std::runtime_error("no reader for " + deviceUid);
            stream = std::make_unique<AudIO::RecordingStream>(reader);
            stream->SetWriteFailedHandler([this] {
                QMetaObject::invokeMethod(
                    this, [this] { takeWriteFailed(); }, Qt::QueuedConnection);
            });
            stream->Start();
        } catch (const std::exception &e) {
            LOG(ERROR) << "Can not create audio reader"
                       << " UID: " << deviceUid << ": " << e.what();
            stream.reset();
            reader.reset();
            recorder.reset();
            stateCode = 0;
            tellUser(tr("Can not create audio reader"), QString::fromStdString(e.what()));
        }
        tellState();
    }

    void stopImpl(const QString &path)
    {
        if (stateCode == 0 || stateCode == 3)
            return;
        if (stateCode == 1) {
            countdown.stop();
            waitingForPlayback = false;
            unwatchPlayback();
            clearCountdown();
            stateCode = 0;
            tellState();
            return;
        }
        stream->Stop();
        reader->Stop();
        CaptureResult result = resultOf(*stream);
        result.position = reader->TakeStart();
        result.duration = chronometer->position() - result.position;
        result.deviceLost = deviceGone;
        result.writeError = stream->WriteError();
        if (!path.isEmpty())
            save(path, result);
        else
            stream->Drop();
        if (playback)
            playback->stop();
        stateCode = 0;
        deviceGone = false;
        writeFailed = false;
        auto *guard = new ReleaseGuard;
        guard->stream = std::move(stream);
        guard->reader = std::move(reader);
        guard->recorder = std::move(recorder);
        guard->deleteLater();
        tellState();
        for (IAudioCaptureObserver *observer : std::vector(observers))
            observer->audioCaptureFinished(result);
    }

    void save(const QString &path, CaptureResult &result)
    {
        try {
            stream->Save(path);
            result.path = path;
            result.saved = true;
        } catch (const std::exception &e) {
            LOG(ERROR) << "Error in conversion while saving captured audio"
                       << " " << e.what();
            const QString description = QString::fromStdString(e.what());
            const QString message
                = tr("Error was encountered while saving captured audio. Details:\n%1")
                      .arg(description);
            LOG(ERROR) << message.toStdString();
            tellUser(message);
            result.error = description;
            // The user's file is untouched; the take stays for a later recovery.
            stream->Keep();
        }
    }

    static CaptureResult resultOf(const AudIO::RecordingStream &stream)
    {
        const AudIO::RecordingResult r = stream.Result();
        CaptureResult result;
        result.frames = r.frames;
        result.lostFrames = r.lostFrames;
        result.overruns = r.overruns;
        result.sampleRate = r.format.sampleRate;
        result.channels = r.format.channels;
        result.firstSampleLatencyUs
            = std::chrono::duration_cast<std::chrono::microseconds>(r.firstSampleLatency).count();
        return result;
    }

    void tick()
    {
        --secondsLeft;
        if (secondsLeft >= 1) {
            drawCountdown();
            tellState();
            return;
        }
        clearCountdown();
        countdown.stop();
        if (mode == Mode::WithPlayback && playback) {
            waitingForPlayback = true;
            watched = playback;
            playback->addWatcher(this);
            playback->play();
            tellState();
            return;
        }
        startImpl(mode, 0, false);
    }

    void drawCountdown()
    {
        if (playback)
            playback->setOverlayPixmap(countdownPixmap(secondsLeft));
    }

    void clearCountdown()
    {
        if (playback)
            playback->setOverlayPixmap(QPixmap());
    }

    void unwatchPlayback()
    {
        if (watched)
            watched->removeWatcher(this);
        watched = nullptr;
    }

    AudIO::AudioDeviceInfo firstGrabber()
    {
        for (const AudIO::AudioDeviceInfo &device : knownDevices) {
            if (device.IsGrabber())
                return device;
        }
        return {};
    }

    void refreshDevices() { applyDevices(manager.GetInputs()); }

    // Main thread: a take whose device left the list, or stopped by itself, ends here; what it
    // holds waits for stop(path).
    void applyDevices(const std::vector<AudIO::AudioDeviceInfo> &devices)
    {
        knownDevices = devices;
        if (stateCode != 2 || deviceGone || !reader)
            return;
        const bool listed = std::any_of(devices.begin(), devices.end(),
                                        [this](const auto &d) { return d.Uid() == deviceUid; });
        if (listed && !reader->IsDeviceLost())
            return;
        deviceGone = true;
        stream->Stop();
        LOG(ERROR) << "The recording device was disconnected"
                   << " UID: " << deviceUid;
        for (IAudioCaptureObserver *observer : std::vector(observers))
            observer->audioCaptureDeviceLost();
    }

    // Main thread: a take that can no longer be written ends now, not when its time is up; what
    // it holds waits for stop(path).
    void takeWriteFailed()
    {
        if (stateCode != 2 || !stream || writeFailed)
            return;
        writeFailed = true;
        stream->Stop();
        // The stream has logged why.
        const QString why = stream->WriteError();
        for (IAudioCaptureObserver *observer : std::vector(observers))
            observer->audioCaptureWriteFailed(why);
    }

    void tellState()
    {
        for (IAudioCaptureObserver *observer : std::vector(observers))
            observer->audioCaptureStateChanged();
    }

    Playback::Player *const playback;
    AudIO::AudioDeviceManager &manager = AudIO::AudioDeviceManager::Instance();
    int stateCode = 0;
    Mode mode = Mode::Voice;
    int secondsLeft = 0;
    QTimer countdown;
    std::string deviceUid;
    int volumePercent = 100;
    int quality = 5;
    std::shared_ptr<AudIO::AudioReader> reader;
    std::unique_ptr<AudIO::RecordingStream> stream;
    std::shared_ptr<AudIO::SystemAudioRecorder> recorder;
    std::shared_ptr<AudIO::Chronometer> chronometer;
    std::atomic<int> flags { 0 };
    bool waitingForPlayback = false;
    bool deviceGone = false;
    bool writeFailed = false;
    Playback::Player *watched = nullptr;
    std::vector<AudIO::AudioDeviceInfo> knownDevices;
    std::vector<IAudioCaptureObserver *> observers;
    Vantel::Util::Scheduler<AudioCaptureImpl> scheduler { this, &AudioCaptureImpl::refreshDevices };
};

Controller::Controller()
    : Controller(Options {})
{
}

Controller::Controller(const Options &options)
    : d(std::make_unique<AudioCaptureImpl>(options))
{
    setAudioCapture(d.get());
}

Controller::~Controller()
{
    if (audioCapture() == d.get())
        setAudioCapture(nullptr);
}

} // namespace Capture
