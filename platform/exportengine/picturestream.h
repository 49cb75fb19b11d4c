#pragma once

#include "exportengine_export.h"

#include "util/mtime.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <memory>

namespace Timeline {
class ITimeline;
}

// The timeline from a moment on, as a player takes it: pictures at a preview size and the mixed
// sound, each made by the export's own graph and handed out in order. Made on the main thread,
// where the timeline lives (the plan is copied then); each is then read by one other thread,
// which opens the files on its first read so the main thread never waits for them.
namespace Export {

class EXPORTENGINE_EXPORT PictureStream {
public:
    // Throws std::runtime_error when `from` is past the end or `size` is not 2-16384 each way.
    PictureStream(const Timeline::ITimeline &timeline, MTime from, QSize size, int rate = 30);
    ~PictureStream();
    PictureStream(const PictureStream &) = delete;
    PictureStream &operator=(const PictureStream &) = delete;

    // The next picture and the timeline moment it shows; false once the range is out. Throws
    // std::runtime_error when a file cannot be read.
    bool next(QImage &picture, MTime &at);
    int rate() const;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

class EXPORTENGINE_EXPORT SoundStream {
public:
    SoundStream(const Timeline::ITimeline &timeline, MTime from, int sampleRate, int channels);
    ~SoundStream();
    SoundStream(const SoundStream &) = delete;
    SoundStream &operator=(const SoundStream &) = delete;

    // Up to `frames` frames of interleaved floats into `out`; 0 once the range is out. Throws
    // std::runtime_error when a file cannot be read.
    int read(float *out, int frames);

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace Export
