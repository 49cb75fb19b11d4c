#pragma once

#include "audio_export.h"

#include <string>

namespace AudIO {

// What a recording is made in: samples per second and interleaved channels, 32-bit float.
struct AudioFormat {
    int sampleRate = 48000;
    int channels = 2;
    bool operator==(const AudioFormat &o) const
    {
        return sampleRate == o.sampleRate && channels == o.channels;
    }
};

// The editor's audio quality codes 0-7; anything else gets the best one, 5 (48 kHz stereo).
AUDIO_EXPORT AudioFormat formatForQuality(int quality);

// One input device as the manager lists it. A default-constructed one is null: what a lookup of
// an unknown identifier gives.
class AUDIO_EXPORT AudioDeviceInfo {
public:
    AudioDeviceInfo() = default;
    AudioDeviceInfo(std::string uid, std::string name, bool grabber, int channels, bool isDefault)
        : m_uid(std::move(uid))
        , m_name(std::move(name))
        , m_grabber(grabber)
        , m_channels(channels)
        , m_default(isDefault)
    {
    }

    bool IsNull() const { return m_uid.empty(); }
    // Records what the system itself plays (a monitor of the output), not a microphone.
    bool IsGrabber() const { return m_grabber; }
    bool IsDefault() const { return m_default; }
    bool IsVirtual() const { return m_uid.rfind("virtual:", 0) == 0; }
    const std::string &Uid() const { return m_uid; }
    const std::string &Name() const { return m_name; }
    int Channels() const { return m_channels; }

    bool operator==(const AudioDeviceInfo &o) const
    {
        return m_uid == o.m_uid && m_name == o.m_name && m_grabber == o.m_grabber
            && m_channels == o.m_channels && m_default == o.m_default;
    }
    bool operator!=(const AudioDeviceInfo &o) const { return !(*this == o); }

private:
    std::string m_uid;
    std::string m_name;
    bool m_grabber = false;
    int m_channels = 0;
    bool m_default = false;
};

} // namespace AudIO
