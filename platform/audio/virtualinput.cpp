#include "audio/virtualinput.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace AudIO::Virtual {

namespace {

constexpr char tonePrefix[] = "virtual:tone:";
constexpr char filePrefix[] = "virtual:file:";
constexpr double twoPi = 6.283185307179586;

bool startsWith(const std::string &s, const char *prefix)
{
    return s.rfind(prefix, 0) == 0;
}

} // namespace

std::optional<Source> parseUid(const std::string &uid)
{
    if (startsWith(uid, tonePrefix)) {
        const std::string number = uid.substr(sizeof(tonePrefix) - 1);
        char *end = nullptr;
        const double hz = std::strtod(number.c_str(), &end);
        if (number.empty() || *end != '\0' || !(hz >= 1.0 && hz <= 20000.0))
            return std::nullopt;
        return Source { Source::Kind::Tone, hz, {} };
    }
    if (startsWith(uid, filePrefix)) {
        std::string path = uid.substr(sizeof(filePrefix) - 1);
        if (path.empty())
            return std::nullopt;
        return Source { Source::Kind::File, 0.0, std::move(path) };
    }
    return std::nullopt;
}

std::string defaultToneUid()
{
    return "virtual:tone:440";
}

namespace {

// libsndfile reads the bytes through these, never the file system.
struct Memory {
    const char *bytes;
    sf_count_t size;
    sf_count_t at = 0;
};

sf_count_t memoryLength(void *user)
{
    return static_cast<Memory *>(user)->size;
}

sf_count_t memorySeek(sf_count_t offset, int whence, void *user)
{
    auto *m = static_cast<Memory *>(user);
    const sf_count_t base = whence == SEEK_CUR ? m->at : whence == SEEK_END ? m->size : 0;
    const sf_count_t to = base + offset;
    if (to < 0 || to > m->size)
        return -1;
    m->at = to;
    return m->at;
}

sf_count_t memoryRead(void *out, sf_count_t count, void *user)
{
    auto *m = static_cast<Memory *>(user);
    const sf_count_t n = std::max<sf_count_t>(0, std::min(count, m->size - m->at));
    std::memcpy(out, m->bytes + m->at, static_cast<std::size_t>(n));
    m->at += n;
    return n;
}

sf_count_t memoryWrite(const void *, sf_count_t, void *)
{
    return 0;
}

sf_count_t memoryTell(void *user)
{
    return static_cast<Memory *>(user)->at;
}

constexpr std::int64_t maxFileBytes = 64LL << 20;
constexpr std::int64_t maxInputSeconds = 300;
// Five minutes of 48 kHz stereo, what the decoded file may hold before it is converted.
constexpr std::int64_t maxInputSamples = 300LL * 48000 * 2;

} // namespace

std::vector<float> decodeSamples(const char *bytes, std::size_t size, AudioFormat format)
{
    SF_VIRTUAL_IO io { memoryLength, memorySeek, memoryRead, memoryWrite, memoryTell };
    Memory memory { bytes, static_cast<sf_count_t>(size) };
    SF_INFO info {};
    SNDFILE *file = sf_open_virtual(&io, SFM_READ, &info, &memory);
    if (!file)
        throw std::runtime_error(std::string("not a sound file: ") + sf_strerror(nullptr));
    std::unique_ptr<SNDFILE, int (*)(SNDFILE *)> closer(file, sf_close);
    if (info.channels < 1 || info.samplerate < 1 || info.frames < 1)
        throw std::runtime_error("no audio in it");
    if (info.samplerate > 768000 || info.channels > 64)
        throw std::runtime_error("not a rate or a channel count a sound file has");
    if (info.frames / info.samplerate > maxInputSeconds
        || info.frames > maxInputSamples / info.channels)
        throw std::runtime_error("longer than five minutes");
    std::vector<float> raw(static_cast<std::size_t>(info.frames) * info.channels);
    const sf_count_t got = sf_readf_float(file, raw.data(), info.frames);
    if (got < 1)
        throw std::runtime_error("no samples could be read");

    // Channels first (a mono file feeds every channel), then the rate, linearly: this is a
    // stand-in microphone, not a mastering tool.
    const double step = static_cast<double>(info.samplerate) / format.sampleRate;
    const auto outFrames = static_cast<std::int64_t>(std::floor((got - 1) / step)) + 1;
    std::vector<float> out(static_cast<std::size_t>(outFrames) * format.channels);
    for (std::int64_t f = 0; f < outFrames; ++f) {
        const double at = f * step;
        const auto i = std::min<std::int64_t>(static_cast<std::int64_t>(at), got - 1);
        const double frac = at - static_cast<double>(i);
        const std::int64_t j = std::min<std::int64_t>(i + 1, got - 1);
        for (int c = 0; c < format.channels; ++c) {
            const int src = std::min(c, info.channels - 1);
            const float a = raw[i * info.channels + src];
            const float b = raw[j * info.channels + src];
            out[f * format.channels + c] = static_cast<float>(a + (b - a) * frac);
        }
    }
    return out;
}

std::vector<float> loadFileSamples(const std::string &path, AudioFormat format)
{
    auto fail = [&](const std::string &why) {
        return std::runtime_error("cannot play " + path + " as input: " + why);
    };
    // O_NONBLOCK: a FIFO planted at the path must not hang the device.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        throw fail(std::strerror(errno));
    struct stat st { };
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > maxFileBytes) {
        ::close(fd);
        throw fail(S_ISREG(st.st_mode) ? "larger than 64 MiB" : "not a regular file");
    }
    std::vector<char> bytes(static_cast<std::size_t>(st.st_size));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    ::close(fd);
    try {
        return decodeSamples(bytes.data(), done, format);
    } catch (const std::exception &e) {
        throw fail(e.what());
    }
}

class Reader::Impl {
public:
    Source source;
    std::vector<float> fileSamples;
    std::size_t filePosition = 0;
    double phase = 0.0;
    std::vector<float> block;
    std::int64_t blocksDone = 0;

    std::thread thread;
    std::mutex mutex;
    std::condition_variable wake;
    bool stopping = false;
};

Reader::Reader(AudioDeviceInfo device,
               Source source,
               AudioFormat format,
               std::shared_ptr<Chronometer> chronometer,
               std::shared_ptr<SystemAudioRecorder> recorder,
               bool pulled)
    : AudioReader(std::move(device), format, std::move(chronometer), std::move(recorder))
    , d(std::make_unique<Impl>())
    , m_pulled(pulled)
{
    d->source = std::move(source);
    d->block.resize(static_cast<std::size_t>(maxBlockFrames) * format.channels);
}

Reader::~Reader()
{
    close();
}

void Reader::open()
{
    if (d->source.kind == Source::Kind::File && d->fileSamples.empty())
        d->fileSamples = loadFileSamples(d->source.path, Format());
    if (m_pulled)
        return;
    d->stopping = false;
    d->thread = std::thread([this] { run(); });
}

void Reader::close()
{
    if (!d->thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(d->mutex);
        d->stopping = true;
    }
    d->wake.notify_all();
    d->thread.join();
}

void Reader::generate(int frames)
{
    const int channels = Format().channels;
    float *out = d->block.data();
    if (d->source.kind == Source::Kind::Tone) {
        const double step = twoPi * d->source.frequency / Format().sampleRate;
        for (int f = 0; f < frames; ++f) {
            const auto s = static_cast<float>(0.5 * std::sin(d->phase));
            for (int c = 0; c < channels; ++c)
                out[f * channels + c] = s;
            d->phase += step;
            if (d->phase >= twoPi)
                d->phase -= twoPi;
        }
    } else {
        const std::size_t total = d->fileSamples.size();
        for (std::size_t i = 0; i < static_cast<std::size_t>(frames) * channels; ++i) {
            out[i] = d->fileSamples[d->filePosition];
            d->filePosition = (d->filePosition + 1) % total;
        }
    }
    deliver(out, frames, channels);
}

// Frames in the next 10 ms block, so rates that are not a multiple of 100 lose nothing.
static int framesOfBlock(std::int64_t index, int rate)
{
    return static_cast<int>((index + 1) * rate / 100 - index * rate / 100);
}

void Reader::pull(std::chrono::microseconds duration)
{
    const int rate = Format().sampleRate;
    std::int64_t left = duration.count() * rate / 1000000;
    while (left > 0) {
        const int n
            = static_cast<int>(std::min<std::int64_t>(left, framesOfBlock(d->blocksDone++, rate)));
        generate(n);
        left -= n;
    }
    afterPull();
}

void Reader::run()
{
    using namespace std::chrono;
    const int rate = Format().sampleRate;
    auto next = steady_clock::now();
    std::unique_lock<std::mutex> lock(d->mutex);
    while (!d->stopping) {
        next += milliseconds(10);
        if (d->wake.wait_until(lock, next, [this] { return d->stopping; }))
            break;
        // A machine that slept or starved this thread: the time that passed is input lost, as
        // a real device would have lost it, not a burst of samples that never happened.
        const auto behind = steady_clock::now() - next;
        if (behind > milliseconds(200)) {
            const auto blocks = duration_cast<milliseconds>(behind).count() / 10;
            std::int64_t lost = 0;
            for (std::int64_t i = 0; i < blocks; ++i)
                lost += framesOfBlock(d->blocksDone++, rate);
            deviceOverflowed(static_cast<int>(lost));
            next += milliseconds(blocks * 10);
        }
        lock.unlock();
        generate(framesOfBlock(d->blocksDone++, rate));
        lock.lock();
    }
}

} // namespace AudIO::Virtual
