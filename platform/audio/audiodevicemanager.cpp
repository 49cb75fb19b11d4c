#include "audio/audiodevicemanager.h"

#include "audio/portaudiobackend.h"
#include "audio/virtualinput.h"

#include <glog/logging.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>

#include <sys/stat.h>

namespace AudIO {

IAudioDevicesObserver::~IAudioDevicesObserver() = default;

namespace {

bool isRegularFile(const std::string &path)
{
    struct stat st { };
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// ALSA's device nodes: the folder changes when a card comes or goes, which is cheap to watch,
// where starting PortAudio again to see is not.
struct SoundNodes {
    bool present = false;
    timespec changed {};
    bool operator!=(const SoundNodes &o) const
    {
        return present != o.present || changed.tv_sec != o.changed.tv_sec
            || changed.tv_nsec != o.changed.tv_nsec;
    }
};

SoundNodes soundNodes()
{
    struct stat st { };
    if (::stat("/dev/snd", &st) != 0)
        return {};
    return { true, st.st_mtim };
}

AudioDeviceInfo virtualDevice(const std::string &uid, const Virtual::Source &source)
{
    const std::string name = source.kind == Virtual::Source::Kind::Tone
        ? "Virtual tone " + uid.substr(uid.rfind(':') + 1) + " Hz"
        : "Virtual input playing " + source.path;
    return AudioDeviceInfo(uid, name, false, 2, false);
}

} // namespace

class AudioDeviceManager::Impl {
public:
    Impl()
        : thread([this] { run(); })
    {
    }
    ~Impl()
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            quitting = true;
        }
        wake.notify_all();
        thread.join();
    }

    // The full list: the system's, then the always-present tone, then the other virtual inputs
    // asked for by name (a tone of another pitch, a file while it is there). A device asked for
    // stays listed, or a take from it would look like one whose device was pulled.
    enum class System { Start, Known, Refresh };
    std::vector<AudioDeviceInfo> list(System system)
    {
        std::vector<AudioDeviceInfo> devices = system == System::Start ? PortAudio::listInputs()
            : system == System::Known                                  ? PortAudio::known()
                                                                       : PortAudio::relist();
        devices.push_back(virtualDevice(Virtual::defaultToneUid(),
                                        *Virtual::parseUid(Virtual::defaultToneUid())));
        std::lock_guard<std::mutex> lock(mutex);
        for (const std::string &uid : namedDevices) {
            const auto source = Virtual::parseUid(uid);
            if (source
                && (source->kind == Virtual::Source::Kind::Tone || isRegularFile(source->path)))
                devices.push_back(virtualDevice(uid, *source));
        }
        return devices;
    }

    void run()
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!quitting) {
            wake.wait_for(lock, std::chrono::seconds(2),
                          [this] { return quitting || rescanAsked; });
            if (quitting)
                break;
            const bool asked = std::exchange(rescanAsked, false);
            const SoundNodes nodes = soundNodes();
            const bool systemChanged = asked || nodes != lastNodes;
            lastNodes = nodes;
            lock.unlock();
            const std::vector<AudioDeviceInfo> devices
                = list(systemChanged ? System::Refresh : System::Known);
            lock.lock();
            const bool changed = devices != lastList;
            lastList = devices;
            if (!changed && !asked && !readerLost())
                continue;
            lock.unlock();
            {
                std::lock_guard<std::mutex> observing(observersMutex);
                for (IAudioDevicesObserver *observer : observers)
                    observer->OnAudioDevicesChanged(devices);
            }
            lock.lock();
        }
    }

    // Caller holds mutex. A reader whose device stopped by itself is news even when the list
    // still shows the device (a server that died and came back).
    bool readerLost()
    {
        bool lost = false;
        for (auto &[uid, readers] : openReaders) {
            for (auto it = readers.begin(); it != readers.end();) {
                auto reader = it->lock();
                if (!reader) {
                    it = readers.erase(it);
                    continue;
                }
                if (reader->IsDeviceLost() && reportedLost.insert(reader.get()).second)
                    lost = true;
                ++it;
            }
        }
        return lost;
    }

    std::vector<std::shared_ptr<AudioReader>> readersOf(const std::string &uid)
    {
        std::vector<std::shared_ptr<AudioReader>> result;
        for (const auto &weak : openReaders[uid]) {
            if (auto reader = weak.lock())
                result.push_back(std::move(reader));
        }
        return result;
    }

    std::mutex mutex;
    std::condition_variable wake;
    bool quitting = false;
    bool rescanAsked = false;
    std::vector<AudioDeviceInfo> lastList;
    SoundNodes lastNodes = soundNodes();
    std::set<std::string> namedDevices;
    std::map<std::string, float> volumes;
    std::map<std::string, std::vector<std::weak_ptr<AudioReader>>> openReaders;
    std::set<const AudioReader *> reportedLost;
    std::vector<std::weak_ptr<Virtual::Reader>> pulledReaders;
    Pacing pacing = Pacing::RealTime;

    std::mutex observersMutex;
    std::vector<IAudioDevicesObserver *> observers;

    std::thread thread;
};

AudioDeviceManager &AudioDeviceManager::Instance()
{
    static AudioDeviceManager manager;
    return manager;
}

AudioDeviceManager::AudioDeviceManager()
    : d(std::make_unique<Impl>())
{
}

AudioDeviceManager::~AudioDeviceManager() = default;

std::vector<AudioDeviceInfo> AudioDeviceManager::GetInputs()
{
    return d->list(Impl::System::Start);
}

AudioDeviceInfo AudioDeviceManager::FindDeviceByUid(const std::string &uid)
{
    if (const auto source = Virtual::parseUid(uid)) {
        if (source->kind != Virtual::Source::Kind::Tone && !isRegularFile(source->path))
            return {};
        if (uid != Virtual::defaultToneUid()) {
            std::lock_guard<std::mutex> lock(d->mutex);
            d->namedDevices.insert(uid);
        }
        return virtualDevice(uid, *source);
    }
    for (const AudioDeviceInfo &device : PortAudio::listInputs()) {
        if (device.Uid() == uid)
            return device;
    }
    return {};
}

AudioDeviceInfo AudioDeviceManager::DefaultInput()
{
    for (const AudioDeviceInfo &device : PortAudio::listInputs()) {
        if (device.IsDefault())
            return device;
    }
    return FindDeviceByUid(Virtual::defaultToneUid());
}

float AudioDeviceManager::GetInputMasterVolume(const std::string &uid)
{
    std::lock_guard<std::mutex> lock(d->mutex);
    const auto it = d->volumes.find(uid);
    return it == d->volumes.end() ? 1.0f : it->second;
}

void AudioDeviceManager::SetInputMasterVolume(const std::string &uid, float volume)
{
    volume = std::clamp(volume, 0.0f, 1.0f);
    std::lock_guard<std::mutex> lock(d->mutex);
    d->volumes[uid] = volume;
    for (const auto &reader : d->readersOf(uid))
        reader->SetGain(volume);
}

float AudioDeviceManager::GetInputPeakValue(const std::string &uid)
{
    std::lock_guard<std::mutex> lock(d->mutex);
    float peak = 0.0f;
    for (const auto &reader : d->readersOf(uid)) {
        if (reader->IsRunning())
            peak = std::max(peak, reader->TakePeak());
    }
    return peak;
}

std::shared_ptr<AudioReader>
AudioDeviceManager::CreateReader(const AudioDeviceInfo &device,
                                 int quality,
                                 std::shared_ptr<Chronometer> chronometer,
                                 std::shared_ptr<SystemAudioRecorder> recorder)
{
    if (device.IsNull())
        return nullptr;
    const AudioFormat format = formatForQuality(quality);
    std::shared_ptr<AudioReader> reader;
    std::lock_guard<std::mutex> lock(d->mutex);
    if (const auto source = Virtual::parseUid(device.Uid())) {
        auto virtualReader
            = std::make_shared<Virtual::Reader>(device, *source, format, std::move(chronometer),
                                                std::move(recorder), d->pacing == Pacing::Pulled);
        if (virtualReader->IsPulled())
            d->pulledReaders.push_back(virtualReader);
        reader = std::move(virtualReader);
    } else {
        reader
            = PortAudio::createReader(device, format, std::move(chronometer), std::move(recorder));
    }
    const auto volume = d->volumes.find(device.Uid());
    reader->SetGain(volume == d->volumes.end() ? 1.0f : volume->second);
    d->openReaders[device.Uid()].push_back(reader);
    return reader;
}

void AudioDeviceManager::AddObserver(IAudioDevicesObserver *observer)
{
    std::lock_guard<std::mutex> lock(d->observersMutex);
    d->observers.push_back(observer);
}

void AudioDeviceManager::RemoveObserver(IAudioDevicesObserver *observer)
{
    std::lock_guard<std::mutex> lock(d->observersMutex);
    d->observers.erase(std::remove(d->observers.begin(), d->observers.end(), observer),
                       d->observers.end());
}

void AudioDeviceManager::Rescan()
{
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->rescanAsked = true;
    }
    d->wake.notify_all();
}

void AudioDeviceManager::SetVirtualPacing(Pacing pacing)
{
    std::lock_guard<std::mutex> lock(d->mutex);
    d->pacing = pacing;
}

void AudioDeviceManager::PullVirtualInputs(std::chrono::microseconds duration)
{
    std::vector<std::shared_ptr<Virtual::Reader>> readers;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        auto &pulled = d->pulledReaders;
        pulled.erase(std::remove_if(pulled.begin(), pulled.end(),
                                    [](const auto &weak) { return weak.expired(); }),
                     pulled.end());
        for (const auto &weak : pulled) {
            if (auto reader = weak.lock(); reader && reader->IsRunning())
                readers.push_back(std::move(reader));
        }
    }
    for (const auto &reader : readers)
        reader->pull(duration);
}

} // namespace AudIO
