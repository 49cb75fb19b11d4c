#pragma once

#include "audio/audiodeviceinfo.h"
#include "audio/clock.h"
#include "util/mtime.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace Export {
class PictureStream;
class SoundStream;
} // namespace Export
namespace Timeline {
class ITimeline;
}
namespace AudIO {
class SoundOutput;
}

namespace Playback {

// What a playing player reads ahead: the timeline's pictures made on one thread, a few ahead of
// the playhead, and its sound made and written to the output on another. Both streams are made
// from the timeline on the owner's thread; the threads only read their own stream. Internal to
// the player; main thread but for its two workers.
class TimelineFeed {
public:
    enum class Sound { DefaultOutput, NullOutput, None };

    TimelineFeed(const Timeline::ITimeline &timeline,
                 MTime from,
                 QSize pictureSize,
                 Sound sound,
                 std::shared_ptr<const AudIO::Chronometer> chronometer);
    // Stops and joins both threads.
    ~TimelineFeed();
    TimelineFeed(const TimelineFeed &) = delete;
    TimelineFeed &operator=(const TimelineFeed &) = delete;

    // Both threads have their first pictures (half the queue) and sound ready, or have ended
    // or failed: the playback may start.
    bool isReady() const;
    // The sound starts going out; called once the chronometer runs.
    void go();

    // The picture due at `position`, when a new one is; every picture passed over for a later
    // one that was also due is counted as dropped.
    bool takeDue(MTime position, QImage &picture);
    int dropped() const { return m_dropped; }
    int shown() const { return m_shown; }
    // What stopped the pictures or the sound early; empty while all is well.
    QString error() const;

private:
    struct Picture {
        MTime at;
        QImage image;
    };

    void makePictures();
    void makeSound();
    void fail(const std::exception &e);

    // A few frames: enough to ride out a slow one, little enough to start at once.
    static constexpr std::size_t depth = 6;

    // What the sound is made in: the rate and layout every output takes.
    static constexpr AudIO::AudioFormat m_format { 48000, 2 };

    std::unique_ptr<Export::PictureStream> m_pictures;
    std::unique_ptr<Export::SoundStream> m_sound;
    const Sound m_soundChoice;
    const std::shared_ptr<const AudIO::Chronometer> m_chronometer;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Picture> m_queue;
    bool m_picturesReady = false;
    bool m_soundReady = false;
    bool m_go = false;
    bool m_stop = false;
    QString m_error;
    std::unique_ptr<AudIO::SoundOutput> m_output;
    int m_dropped = 0;
    int m_shown = 0;
    std::thread m_pictureThread; // last two: they start when the rest is ready
    std::thread m_soundThread;
};

} // namespace Playback
