#include "exportengine/picturestream.h"

#include "exportengine/exportengine.h"
#include "exportengine/renderer.h"
#include "exportengine/tracks.h"

#include "timeline/timeline.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace Export {

using Detail::tr;

namespace {

RenderPlan planFrom(const Timeline::ITimeline &timeline, MTime from)
{
    if (from < MTime() || from >= timeline.duration())
        throw std::runtime_error(tr("%1 is past the end of the timeline (%2).")
                                     .arg(from.toClockString(), timeline.duration().toClockString())
                                     .toStdString());
    return planRender(timeline, ExportRange::partial(from, timeline.duration()));
}

[[noreturn]] void rethrow(const Detail::Failure &f)
{
    throw std::runtime_error(
        QString(f.desc.reason + QStringLiteral(": ") + f.desc.info).toStdString());
}

} // namespace

class PictureStream::Impl {
public:
    RenderPlan plan;
    VideoFormat format;
    QSize size;
    MTime from;
    std::optional<Detail::GraphOutput> graph;
    std::int64_t index = 0;
    bool ended = false;
};

PictureStream::PictureStream(const Timeline::ITimeline &timeline, MTime from, QSize size, int rate)
    : d(std::make_unique<Impl>())
{
    if (size.width() < 2 || size.height() < 2 || size.width() > 16384 || size.height() > 16384)
        throw std::runtime_error(tr("A picture is 2 to 16384 pixels wide and high.").toStdString());
    d->plan = planFrom(timeline, from);
    d->format = { QSize(size.width() & ~1, size.height() & ~1), { std::max(rate, 1), 1 } };
    d->size = size;
    d->from = from;
}

PictureStream::~PictureStream() = default;

int PictureStream::rate() const
{
    return static_cast<int>(d->format.rate.numerator());
}

bool PictureStream::next(QImage &picture, MTime &at)
{
    if (d->ended)
        return false;
    try {
        if (!d->graph) {
            Detail::checkSources(d->plan, QString(), false);
            d->graph.emplace(Detail::fedVideoGraph(d->plan, d->format), AVMEDIA_TYPE_VIDEO,
                             QStringLiteral("format=rgb24"), 1);
        }
        const Detail::FramePtr frame = d->graph->next();
        if (!frame) {
            d->ended = true;
            return false;
        }
        QImage image(frame->width, frame->height, QImage::Format_RGB888);
        for (int y = 0; y < frame->height; ++y)
            std::copy_n(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                        frame->width * 3, image.scanLine(y));
        // An odd preview size is made one pixel smaller and stretched back, as a frame is.
        picture = image.size() == d->size ? std::move(image) : image.scaled(d->size);
        at = d->from + MTime::fromMSec(d->index * 1000 / rate());
        ++d->index;
        return true;
    } catch (const Detail::Failure &f) {
        d->ended = true;
        rethrow(f);
    }
}

class SoundStream::Impl {
public:
    RenderPlan plan;
    AudioFormat format;
    std::optional<Detail::GraphOutput> graph;
    Detail::FramePtr pending; // a frame read but not yet handed out whole
    int pendingUsed = 0;
    bool ended = false;
};

SoundStream::SoundStream(const Timeline::ITimeline &timeline,
                         MTime from,
                         int sampleRate,
                         int channels)
    : d(std::make_unique<Impl>())
{
    d->plan = planFrom(timeline, from);
    d->format.sampleRate = sampleRate;
    d->format.channels = channels == 1 ? 1 : 2;
    d->format.layout = channels == 1 ? QStringLiteral("mono") : QStringLiteral("stereo");
}

SoundStream::~SoundStream() = default;

int SoundStream::read(float *out, int frames)
{
    const int channels = d->format.channels;
    int done = 0;
    try {
        while (done < frames && !d->ended) {
            if (!d->pending) {
                if (!d->graph) {
                    Detail::checkSources(d->plan, QString(), false);
                    d->graph.emplace(Detail::fedAudioGraph(d->plan, d->format), AVMEDIA_TYPE_AUDIO,
                                     QStringLiteral("aformat=sample_fmts=flt"), 1);
                }
                d->pending = d->graph->next();
                d->pendingUsed = 0;
                if (!d->pending) {
                    d->ended = true;
                    break;
                }
            }
            const int left = d->pending->nb_samples - d->pendingUsed;
            const int n = std::min(left, frames - done);
            const auto *in = reinterpret_cast<const float *>(d->pending->data[0]);
            std::memcpy(out + static_cast<std::ptrdiff_t>(done) * channels,
                        in + static_cast<std::ptrdiff_t>(d->pendingUsed) * channels,
                        sizeof(float) * static_cast<std::size_t>(n) * channels);
            done += n;
            d->pendingUsed += n;
            if (d->pendingUsed >= d->pending->nb_samples)
                d->pending.reset();
        }
    } catch (const Detail::Failure &f) {
        d->ended = true;
        rethrow(f);
    }
    return done;
}

} // namespace Export
