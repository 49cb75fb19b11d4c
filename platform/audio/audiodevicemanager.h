#pragma once

#include "audio_export.h"

#include "audio/audiodeviceinfo.h"
#include "audio/audioreader.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace AudIO {

class Chronometer;
class SystemAudioRecorder;

// Told when the list of input devices changed, on the device manager's own thread.
class AUDIO_EXPORT IAudioDevicesObserver {
public:
    virtual ~IAudioDevicesObserver();
    virtual void OnAudioDevicesChanged(const std::vector<AudioDeviceInfo> &devices) = 0;
};

// The process's audio inputs: the system's (through PortAudio) and the virtual ones, which are
// always there. It re-lists the devices on its own thread every two seconds, as PortAudio tells
// nobody about a plugged or pulled device, and tells its observers there when the list changed or
// an open device stopped on its own. Every call is thread-safe.
class AUDIO_EXPORT AudioDeviceManager {
public:
    static AudioDeviceManager &Instance();

    std::vector<AudioDeviceInfo> GetInputs();
    // A device of the list, or a virtual one named by its identifier ("virtual:tone:HZ",
    // "virtual:file:PATH" with a regular file there); null otherwise.
    AudioDeviceInfo FindDeviceByUid(const std::string &uid);
    // The system's default input if it has one, else the virtual 440 Hz tone.
    AudioDeviceInfo DefaultInput();

    // The input gain of a device, 0-1; applied to the samples as they come in, so it works the
    // same on every device and never touches the system mixer other programs share.
    float GetInputMasterVolume(const std::string &uid);
    void SetInputMasterVolume(const std::string &uid, float volume);
    // The highest absolute sample (0-1, more when clipping) of the device since the last ask,
    // while a reader records from it; 0 when none does.
    float GetInputPeakValue(const std::string &uid);

    // A reader in the quality's format. `chronometer` times the take (a playback's, so the take
    // sits on the timeline; a reader starts an idle one itself). Null when the device cannot be
    // used; the reason is logged.
    std::shared_ptr<AudioReader> CreateReader(const AudioDeviceInfo &device,
                                              int quality,
                                              std::shared_ptr<Chronometer> chronometer,
                                              std::shared_ptr<SystemAudioRecorder> recorder);

    void AddObserver(IAudioDevicesObserver *observer);
    // Returns once no call to the observer runs any more.
    void RemoveObserver(IAudioDevicesObserver *observer);
    // Re-lists now rather than at the next turn; the observers hear of it on the manager's thread.
    void Rescan();

    // Virtual inputs made from now on run on their own clock (the default), or deliver only when
    // PullVirtualInputs is called: tests and benchmarks take exact amounts without waiting.
    enum class Pacing { RealTime, Pulled };
    void SetVirtualPacing(Pacing pacing);
    // Every open pulled input delivers `duration` of samples now, on this thread.
    void PullVirtualInputs(std::chrono::microseconds duration);

private:
    AudioDeviceManager();
    ~AudioDeviceManager();
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace AudIO
