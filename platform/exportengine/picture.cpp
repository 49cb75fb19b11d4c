#include "exportengine/exportengine.h"

#include "exportengine/tracks.h"

#include "timeline/timeline.h"

#include <algorithm>

namespace Export {

namespace {

constexpr std::int64_t pictureRate = 30;

// The range a picture at `at` is rendered from: the instant itself, or the whole transition
// around it, whose mix depends on where in the transition `at` lies.
ExportRange rangeFor(const Timeline::ITimeline &timeline, MTime at)
{
    const MTime frame = MTime::fromMSec(1000 / pictureRate + 1);
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const Transition::Object &t = timeline.transition(i);
        const Timeline::IClip *left = t.leftClip();
        const Timeline::IClip *right = t.rightClip();
        if (!left || !right || left->end() != right->position())
            continue;
        const MTime half = MTime::fromMSec(
            std::min({ t.duration(), left->duration(), right->duration() }).toMSec() / 2);
        const MTime cut = left->end();
        if (half > MTime() && at >= cut - half && at < cut + half)
            return ExportRange::partial(cut - half, cut + half);
    }
    return ExportRange::partial(at, at + frame);
}

} // namespace

QImage pictureAt(const Timeline::ITimeline &timeline, MTime at, QSize size)
{
    using namespace Detail;
    if (at < MTime() || at >= timeline.duration())
        throw std::runtime_error(tr("%1 is past the end of the timeline (%2).")
                                     .arg(at.toClockString(), timeline.duration().toClockString())
                                     .toStdString());
    if (size.width() < 2 || size.height() < 2 || size.width() > 16384 || size.height() > 16384)
        throw std::runtime_error(tr("A picture is 2 to 16384 pixels wide and high.").toStdString());
    const ExportRange range = rangeFor(timeline, at);
    const RenderPlan plan = planRender(timeline, range);
    const VideoFormat format { QSize(size.width() & ~1, size.height() & ~1), { pictureRate, 1 } };
    try {
        checkSources(plan, QString(), false);
        GraphOutput graph(fedVideoGraph(plan, format), AVMEDIA_TYPE_VIDEO,
                          QStringLiteral("format=rgb24"), 0);
        const std::int64_t wanted = frameAt(at - range.from(), format.rate);
        FramePtr frame;
        for (std::int64_t i = 0; i <= wanted; ++i) {
            FramePtr next = graph.next();
            if (!next)
                break;
            frame = std::move(next);
        }
        if (!frame)
            throw Failure(tr("Encoding failed"), tr("The filters made no picture."));
        QImage image(frame->width, frame->height, QImage::Format_RGB888);
        for (int y = 0; y < frame->height; ++y)
            std::copy_n(frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0],
                        frame->width * 3, image.scanLine(y));
        if (image.size() != size)
            image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        return image;
    } catch (const Failure &f) {
        throw std::runtime_error(
            QString(f.desc.reason + QStringLiteral(": ") + f.desc.info).toStdString());
    }
}

} // namespace Export
