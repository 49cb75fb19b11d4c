#pragma once

#include "audio/audiodeviceinfo.h"

namespace AudIO {

// The recorder of what the system itself plays, handed to a reader beside the microphone. Ours
// names the grabber device that would feed it; mixing it into the take is the editor engine's
// work, so a reader only keeps it alive for as long as the take runs.
class SystemAudioRecorder {
public:
    explicit SystemAudioRecorder(AudioDeviceInfo grabber = {})
        : m_grabber(std::move(grabber))
    {
    }
    const AudioDeviceInfo &Grabber() const { return m_grabber; }

private:
    AudioDeviceInfo m_grabber;
};

} // namespace AudIO
