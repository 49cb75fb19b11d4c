#include "audio/portaudiobackend.h"

#include <alsa/asoundlib.h>
#include <glog/logging.h>
#include <portaudio.h>

#include <algorithm>
#include <cstdarg>
#include <mutex>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace AudIO::PortAudio {

namespace {

std::mutex paMutex;
bool paReady = false;
int openStreams = 0;
std::vector<AudioDeviceInfo> cachedInputs;

void quietAlsa(const char *, int, const char *, int, const char *, ...) { }

// PortAudio probes every host API it was built with, and ALSA and JACK each print a page of
// complaints on a machine without sound cards or a JACK server. What matters reaches us through
// PortAudio's return codes; the noise is kept off the user's terminal while it starts.
class QuietStderr {
public:
    QuietStderr()
    {
        std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        const int null = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (m_saved >= 0 && null >= 0)
            ::dup2(null, STDERR_FILENO);
        if (null >= 0)
            ::close(null);
    }
    ~QuietStderr()
    {
        if (m_saved >= 0) {
            ::dup2(m_saved, STDERR_FILENO);
            ::close(m_saved);
        }
    }

private:
    int m_saved = -1;
};

std::string uidOf(PaDeviceIndex index)
{
    const PaDeviceInfo *info = Pa_GetDeviceInfo(index);
    const PaHostApiInfo *api = Pa_GetHostApiInfo(info->hostApi);
    return std::string("pa:") + (api ? api->name : "?") + ":" + info->name;
}

bool looksLikeGrabber(const std::string &name)
{
    std::string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    return lower.find("monitor") != std::string::npos || lower.find("loopback") != std::string::npos
        || lower.find("stereo mix") != std::string::npos;
}

// Caller holds paMutex.
bool ensureStarted()
{
    if (paReady)
        return true;
    snd_lib_error_set_handler(quietAlsa);
    QuietStderr quiet;
    const PaError error = Pa_Initialize();
    if (error != paNoError) {
        LOG(WARNING) << "the system's audio devices cannot be listed: " << Pa_GetErrorText(error);
        return false;
    }
    paReady = true;
    return true;
}

void relistLocked()
{
    cachedInputs.clear();
    const PaDeviceIndex count = Pa_GetDeviceCount();
    const PaDeviceIndex defaultInput = Pa_GetDefaultInputDevice();
    for (PaDeviceIndex i = 0; i < count; ++i) {
        const PaDeviceInfo *info = Pa_GetDeviceInfo(i);
        if (!info || info->maxInputChannels < 1)
            continue;
        cachedInputs.emplace_back(uidOf(i), info->name, looksLikeGrabber(info->name),
                                  info->maxInputChannels, i == defaultInput);
    }
}

PaDeviceIndex indexOf(const std::string &uid)
{
    for (PaDeviceIndex i = 0; i < Pa_GetDeviceCount(); ++i) {
        const PaDeviceInfo *info = Pa_GetDeviceInfo(i);
        if (info && info->maxInputChannels > 0 && uidOf(i) == uid)
            return i;
    }
    return paNoDevice;
}

class Reader final : public AudioReader {
public:
    Reader(AudioDeviceInfo device,
           AudioFormat format,
           std::shared_ptr<Chronometer> chronometer,
           std::shared_ptr<SystemAudioRecorder> recorder)
        : AudioReader(std::move(device), format, std::move(chronometer), std::move(recorder))
    {
    }
    ~Reader() override { close(); }

private:
    void open() override
    {
        std::lock_guard<std::mutex> lock(paMutex);
        if (!ensureStarted())
            throw std::runtime_error("the system's audio stack is not available");
        const PaDeviceIndex index = indexOf(Device().Uid());
        if (index == paNoDevice)
            throw std::runtime_error("the device " + Device().Uid() + " is gone");
        const PaDeviceInfo *info = Pa_GetDeviceInfo(index);
        m_inChannels = std::min(Format().channels, info->maxInputChannels);
        PaStreamParameters input {};
        input.device = index;
        input.channelCount = m_inChannels;
        input.sampleFormat = paFloat32;
        input.suggestedLatency = info->defaultLowInputLatency;
        const PaError error
            = Pa_OpenStream(&m_stream, &input, nullptr, Format().sampleRate,
                            Format().sampleRate / 100, paClipOff, &Reader::callback, this);
        if (error != paNoError) {
            m_stream = nullptr;
            throw std::runtime_error(std::string("the device cannot record ")
                                     + std::to_string(Format().sampleRate)
                                     + " Hz: " + Pa_GetErrorText(error));
        }
        Pa_SetStreamFinishedCallback(m_stream, &Reader::finished);
        ++openStreams;
        m_stopping = false;
        // Before the start: the first block may come before Pa_StartStream returns.
        if (const PaStreamInfo *stream = Pa_GetStreamInfo(m_stream))
            setReportedLatency(
                std::chrono::nanoseconds(static_cast<std::int64_t>(stream->inputLatency * 1e9)));
        const PaError started = Pa_StartStream(m_stream);
        if (started != paNoError) {
            Pa_CloseStream(m_stream);
            m_stream = nullptr;
            --openStreams;
            throw std::runtime_error(std::string("the device cannot start: ")
                                     + Pa_GetErrorText(started));
        }
    }

    void close() override
    {
        std::lock_guard<std::mutex> lock(paMutex);
        if (!m_stream)
            return;
        m_stopping = true;
        Pa_StopStream(m_stream);
        Pa_CloseStream(m_stream);
        m_stream = nullptr;
        --openStreams;
    }

    static int callback(const void *input,
                        void *,
                        unsigned long frames,
                        const PaStreamCallbackTimeInfo *,
                        PaStreamCallbackFlags flags,
                        void *self)
    {
        auto *reader = static_cast<Reader *>(self);
        // The device's own overflow: input was lost before it reached us; how much, it does not
        // say, so it is counted but adds no silence.
        if (flags & paInputOverflow)
            reader->deviceOverflowed(0);
        if (input)
            reader->deliver(static_cast<const float *>(input), static_cast<int>(frames),
                            reader->m_inChannels);
        return paContinue;
    }

    static void finished(void *self)
    {
        auto *reader = static_cast<Reader *>(self);
        if (!reader->m_stopping.load())
            reader->deviceLost();
    }

    PaStream *m_stream = nullptr;
    int m_inChannels = 1;
    std::atomic<bool> m_stopping { false };
};

class Output final : public SoundOutput {
public:
    Output(AudioFormat format, PaStream *stream, std::string name)
        : SoundOutput(format)
        , m_stream(stream)
        , m_name(std::move(name))
    {
        const PaStreamInfo *info = Pa_GetStreamInfo(stream);
        m_latency = std::chrono::nanoseconds(
            static_cast<std::int64_t>((info ? info->outputLatency : 0.0) * 1e9));
    }
    ~Output() override
    {
        std::lock_guard<std::mutex> lock(paMutex);
        Pa_AbortStream(m_stream);
        Pa_CloseStream(m_stream);
        --openStreams;
    }

    void write(const float *samples, int frames) override
    {
        // A blocking write waits at most for one buffer of the device, so an interrupt is seen
        // within that; an underflow only means a click the listener hears, not an error.
        const int step = std::max(1, format().sampleRate / 100);
        for (int done = 0; done < frames && !interrupted(); done += step) {
            const int n = std::min(step, frames - done);
            Pa_WriteStream(m_stream,
                           samples + static_cast<std::ptrdiff_t>(done) * format().channels,
                           static_cast<unsigned long>(n));
        }
    }

    std::string name() const override { return m_name; }
    std::chrono::nanoseconds latency() const override { return m_latency; }

private:
    PaStream *m_stream;
    std::string m_name;
    std::chrono::nanoseconds m_latency {};
};

} // namespace

std::unique_ptr<SoundOutput> openDefaultOutput(AudioFormat format)
{
    std::lock_guard<std::mutex> lock(paMutex);
    if (!ensureStarted())
        return nullptr;
    const PaDeviceIndex index = Pa_GetDefaultOutputDevice();
    const PaDeviceInfo *info = index == paNoDevice ? nullptr : Pa_GetDeviceInfo(index);
    if (!info || info->maxOutputChannels < format.channels)
        return nullptr;
    PaStreamParameters output {};
    output.device = index;
    output.channelCount = format.channels;
    output.sampleFormat = paFloat32;
    output.suggestedLatency = info->defaultLowOutputLatency;
    PaStream *stream = nullptr;
    QuietStderr quiet;
    if (Pa_OpenStream(&stream, nullptr, &output, format.sampleRate, format.sampleRate / 100,
                      paClipOff, nullptr, nullptr)
        != paNoError)
        return nullptr;
    if (Pa_StartStream(stream) != paNoError) {
        Pa_CloseStream(stream);
        return nullptr;
    }
    ++openStreams;
    return std::make_unique<Output>(format, stream, info->name);
}

std::vector<AudioDeviceInfo> listInputs()
{
    std::lock_guard<std::mutex> lock(paMutex);
    if (!paReady) {
        if (!ensureStarted())
            return {};
        relistLocked();
    }
    return cachedInputs;
}

std::vector<AudioDeviceInfo> known()
{
    std::lock_guard<std::mutex> lock(paMutex);
    return cachedInputs;
}

std::vector<AudioDeviceInfo> relist()
{
    std::lock_guard<std::mutex> lock(paMutex);
    if (!paReady || openStreams > 0)
        return cachedInputs;
    {
        QuietStderr quiet;
        Pa_Terminate();
    }
    paReady = false;
    cachedInputs.clear();
    if (ensureStarted())
        relistLocked();
    return cachedInputs;
}

std::shared_ptr<AudioReader> createReader(const AudioDeviceInfo &device,
                                          AudioFormat format,
                                          std::shared_ptr<Chronometer> chronometer,
                                          std::shared_ptr<SystemAudioRecorder> recorder)
{
    return std::make_shared<Reader>(device, format, std::move(chronometer), std::move(recorder));
}

} // namespace AudIO::PortAudio
