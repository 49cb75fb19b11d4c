#include "playback/timelinefeed.h"

#include "audio/soundoutput.h"
#include "exportengine/picturestream.h"

#include <glog/logging.h>

#include <vector>

namespace Playback {

TimelineFeed::TimelineFeed(const Timeline::ITimeline &timeline,
                           MTime from,
                           QSize pictureSize,
                           Sound sound,
                           std::shared_ptr<const AudIO::Chronometer> chronometer)
    : m_pictures(std::make_unique<Export::PictureStream>(timeline, from, pictureSize))
    , m_sound(sound == Sound::None ? nullptr
                                   : std::make_unique<Export::SoundStream>(timeline,
                                                                           from,
                                                                           m_format.sampleRate,
                                                                           m_format.channels))
    , m_soundChoice(sound)
    , m_chronometer(std::move(chronometer))
{
    m_soundReady = !m_sound;
    m_pictureThread = std::thread([this] { makePictures(); });
    if (m_sound)
        m_soundThread = std::thread([this] { makeSound(); });
}

TimelineFeed::~TimelineFeed()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
        if (m_output)
            m_output->interrupt();
    }
    m_changed.notify_all();
    m_pictureThread.join();
    if (m_soundThread.joinable())
        m_soundThread.join();
}

bool TimelineFeed::isReady() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_picturesReady && m_soundReady;
}

void TimelineFeed::go()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_go = true;
    }
    m_changed.notify_all();
}

QString TimelineFeed::error() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_error;
}

void TimelineFeed::fail(const std::exception &e)
{
    LOG(WARNING) << "The playback stops showing the timeline: " << e.what();
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_error.isEmpty())
        m_error = QString::fromStdString(e.what());
}

bool TimelineFeed::takeDue(MTime position, QImage &picture)
{
    bool taken = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        while (!m_queue.empty() && m_queue.front().at <= position) {
            if (taken)
                ++m_dropped;
            picture = std::move(m_queue.front().image);
            m_queue.pop_front();
            taken = true;
        }
    }
    if (taken) {
        ++m_shown;
        m_changed.notify_all();
    }
    return taken;
}

void TimelineFeed::makePictures()
{
    try {
        for (;;) {
            Picture next;
            const bool more = m_pictures->next(next.image, next.at);
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!more)
                break;
            m_changed.wait(lock, [this] { return m_stop || m_queue.size() < depth; });
            if (m_stop)
                return;
            m_queue.push_back(std::move(next));
            // The playback starts with a few pictures in hand, so a slow one at the start
            // is not a dropped one.
            if (m_queue.size() >= depth / 2)
                m_picturesReady = true;
        }
    } catch (const std::exception &e) {
        fail(e);
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_picturesReady = true;
}

void TimelineFeed::makeSound()
{
    // 10 ms blocks: what the device takes at once, so a stop is heard at once.
    const int block = m_format.sampleRate / 100;
    std::vector<float> samples(static_cast<std::size_t>(block) * m_format.channels);
    try {
        int got = m_sound->read(samples.data(), block);
        // Opened before the playback starts: starting the system's audio stack takes a while
        // and silences the error stream meanwhile. The null output counts its time from its
        // first write, after the go.
        std::unique_ptr<AudIO::SoundOutput> output = m_soundChoice == Sound::NullOutput
            ? AudIO::nullSoundOutput(m_format, m_chronometer)
            : AudIO::openSoundOutput(m_format, m_chronometer);
        AudIO::SoundOutput *out = output.get();
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_output = std::move(output);
            m_soundReady = true;
            m_changed.wait(lock, [this] { return m_stop || m_go; });
            if (m_stop)
                return;
        }
        LOG(INFO) << "The playback's sound goes to " << out->name();
        while (got > 0) {
            out->write(samples.data(), got);
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_stop)
                    return;
            }
            got = m_sound->read(samples.data(), block);
        }
    } catch (const std::exception &e) {
        fail(e);
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    m_soundReady = true;
}

} // namespace Playback
