#pragma once

#include "applogicexport.h"

#include "util/mtime.h"
#include "workspace/capturemode.h"

#include <QString>

#include <cstdint>

// The editor's voice-over recorder as its interface sees it. One implementation (the capture
// controller's) registers itself for its lifetime; audioCapture() is null outside it. Main thread.
namespace Capture {

enum class State { Idle = 0, CountingDown = 1, Recording = 2 };

// How a take ended, told once per take.
struct CaptureResult {
    QString path; // where it was saved; empty when it was dropped
    bool saved = false;
    QString error; // why saving failed
    std::int64_t frames = 0;
    std::int64_t lostFrames = 0; // in the file as silence
    int overruns = 0;
    int sampleRate = 0;
    int channels = 0;
    MTime duration; // by the chronometer: the take's length on the timeline
    // Where the take's first sample sits on the timeline: the playhead when it was spoken, that
    // is when it came in less the block's length and the latency the device reports.
    MTime position;
    std::int64_t firstSampleLatencyUs = 0;
    bool deviceLost = false;
    // Why the take stopped being written before the end (a full disk); what came before is
    // what `frames` counts. Empty when it was written to the end.
    QString writeError;
};

class APPLOGIC_EXPORT IAudioCaptureObserver {
public:
    virtual ~IAudioCaptureObserver();
    // The state or the countdown's number changed.
    virtual void audioCaptureStateChanged() { }
    virtual void audioCaptureVolumeChanged() { }
    // The device went away mid-take: recording has stopped, the take waits for stop(path).
    virtual void audioCaptureDeviceLost() { }
    // The take could not be written any more (a full disk): recording has stopped there, what
    // was written waits for stop(path).
    virtual void audioCaptureWriteFailed(const QString & /*why*/) { }
    virtual void audioCaptureFinished(const CaptureResult &) { }
};

class APPLOGIC_EXPORT IAudioCapture {
public:
    virtual ~IAudioCapture();

    // A level meter is on screen: peaks are measured from now, and the device state is brought
    // up to date at once unless an update is already on its way.
    virtual void showLevels() = 0;
    virtual void hideLevels() = 0;
    // Counts `delayMs` down in whole seconds over the player, then records.
    virtual void start(Mode mode, int delayMs) = 0;
    // Ends the countdown or the take without saving anything.
    virtual void cancel() = 0;
    virtual void setDevice(const QString &uid) = 0;
    // 0-100.
    virtual void setVolume(int percent) = 0;
    // Ends the countdown (nothing saved) or the take, saving it at `path`.
    virtual void stop(const QString &path) = 0;
    // The audio quality code the next take is made in.
    virtual void setQuality(int quality) = 0;

    virtual State state() const = 0;
    virtual int countdownSeconds() const = 0;
    virtual QString device() const = 0;
    virtual int volume() const = 0;
    // The input's peak (1.0 is full scale) since the last ask, while levels are shown; else 0.
    virtual float peakLevel() = 0;
    // What the running take holds so far.
    virtual MTime recordedTime() const = 0;

    virtual void addObserver(IAudioCaptureObserver *observer) = 0;
    virtual void removeObserver(IAudioCaptureObserver *observer) = 0;
};

APPLOGIC_EXPORT void setAudioCapture(IAudioCapture *capture);
APPLOGIC_EXPORT IAudioCapture *audioCapture();

} // namespace Capture
