#pragma once

#include "audio_export.h"

#include "audio/audioreader.h"
#include "audio/soundoutput.h"

#include <memory>
#include <vector>

// The system's audio stack through PortAudio (ALSA, PulseAudio or JACK, whichever runs). It only
// sees devices as they were when it was initialised, so the list is refreshed by starting it
// again, which is only done while no stream of ours is open.
namespace AudIO::PortAudio {

// The inputs PortAudio sees now; empty when it cannot start. Identifiers are "pa:" with the host
// API and the device's name, which survive a re-plug where the index does not.
AUDIO_EXPORT std::vector<AudioDeviceInfo> listInputs();
// The list from a fresh start of PortAudio when it already runs and no stream is open; otherwise
// the last list (empty when it never ran). Starting it takes tens of milliseconds of probing,
// so this is only called when the machine's devices may have changed.
AUDIO_EXPORT std::vector<AudioDeviceInfo> relist();
// The last list, without starting anything.
AUDIO_EXPORT std::vector<AudioDeviceInfo> known();

AUDIO_EXPORT std::shared_ptr<AudioReader>
createReader(const AudioDeviceInfo &device,
             AudioFormat format,
             std::shared_ptr<Chronometer> chronometer,
             std::shared_ptr<SystemAudioRecorder> recorder);

// The system's default output, blocking on each write; null when there is none or it cannot
// play `format`.
AUDIO_EXPORT std::unique_ptr<SoundOutput> openDefaultOutput(AudioFormat format);

} // namespace AudIO::PortAudio
