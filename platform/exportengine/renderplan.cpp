#include "exportengine/renderplan.h"

#include "media/mediafile.h"
#include "timeline/timeline.h"

#include <algorithm>
#include <cmath>

namespace Export {

namespace {

QString num(double value)
{
    return QString::number(value, 'f', 6);
}

QString seconds(MTime time)
{
    return num(time.toSecF());
}

void leaveOut(RenderPlan &plan, const QString &what)
{
    if (!plan.leftOut.contains(what))
        plan.leftOut.append(what);
}

// What of a clip the engine does not draw: it is named once, the rest of the clip still plays.
void noteUndrawn(RenderPlan &plan, const Timeline::IClip &clip)
{
    for (const Effect::Handle &effect : clip.effects()) {
        if (effect->isEnabled())
            leaveOut(
                plan,
                QStringLiteral("effect %1")
                    .arg(QLatin1String(Effect::idText(effect->id()).data(),
                                       static_cast<int>(Effect::idText(effect->id()).size()))));
    }
    if (!clip.animation().isEmpty())
        leaveOut(plan, QStringLiteral("animation"));
    if (clip.isStabilized())
        leaveOut(plan, QStringLiteral("stabilisation"));
}

// The part of `clip` inside [from, to), on the output's time line; false when none is.
bool cut(const Timeline::IClip &clip, MTime from, MTime to, RenderPiece *piece)
{
    const MTime start = std::max(clip.position(), from);
    const MTime end = std::min(clip.end(), to);
    if (end <= start || !clip.file())
        return false;
    piece->path = clip.file()->path;
    piece->stillImage = clip.isImageClip() || clip.file()->isStillImage();
    piece->at = start - from;
    piece->length = end - start;
    piece->skip = start - clip.position();
    piece->clipLength = clip.duration();
    piece->sourceIn = clip.sourceIn();
    piece->speed = clip.speed() > 0 ? clip.speed() : 1.0;
    piece->pitchKept = clip.isSpeedCompensated();
    piece->opacity = clip.opacity();
    piece->volume = clip.volume();
    piece->fadeIn = clip.fadeIn();
    piece->fadeOut = clip.fadeOut();
    return true;
}

QString tempo(double speed)
{
    // One tempo step reaches from half to a hundred times; slower needs several.
    QStringList steps;
    while (speed < 0.5) {
        steps << QStringLiteral("atempo=0.5");
        speed /= 0.5;
    }
    steps << QStringLiteral("atempo=%1").arg(num(speed));
    return steps.join(QLatin1Char(','));
}

} // namespace

double RenderPiece::sourceStart() const
{
    return sourceIn.toSecF() + skip.toSecF() * speed;
}

double RenderPiece::sourceEnd() const
{
    return sourceStart() + length.toSecF() * speed;
}

RenderPlan planRender(const Timeline::ITimeline &timeline, const ExportRange &range)
{
    RenderPlan plan;
    MTime from;
    MTime to = timeline.duration();
    if (range.kind() == ExportRange::Partial) {
        from = std::min(range.from(), to);
        to = std::clamp(range.to(), from, to);
    }
    plan.duration = to - from;

    int pictureTrack = -1;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::ITrack &track = timeline.track(t);
        if (track.clipCount() == 0)
            continue;
        const bool picture = track.type() == Timeline::TrackType::Video
            || track.type() == Timeline::TrackType::Overlay;
        if (picture && pictureTrack < 0 && track.type() == Timeline::TrackType::Video) {
            pictureTrack = t;
        } else if (picture) {
            leaveOut(plan, QStringLiteral("track %1 over the picture").arg(t));
            continue;
        }
        if (track.type() == Timeline::TrackType::Title) {
            leaveOut(plan, QStringLiteral("titles"));
            continue;
        }
        std::vector<RenderPiece> sound;
        for (std::size_t c = 0; c < track.clipCount(); ++c) {
            const Timeline::IClip &clip = track.clip(c);
            if (clip.hasTitle())
                leaveOut(plan, QStringLiteral("titles"));
            else if (!clip.file())
                leaveOut(plan, QStringLiteral("clips without media"));
            RenderPiece piece;
            if (!cut(clip, from, to, &piece))
                continue;
            noteUndrawn(plan, clip);
            if (picture)
                plan.video.push_back(piece);
            if (!piece.stillImage)
                sound.push_back(piece);
        }
        if (!sound.empty())
            plan.audio.push_back(std::move(sound));
    }
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const std::string_view id = Transition::idText(timeline.transition(i).id());
        leaveOut(plan,
                 QStringLiteral("transition %1")
                     .arg(QLatin1String(id.data(), static_cast<int>(id.size()))));
    }
    return plan;
}

std::int64_t frameAt(MTime at, boost::rational<std::int64_t> rate)
{
    const std::int64_t n = at.toMSec() * rate.numerator();
    const std::int64_t d = 1000 * rate.denominator();
    return n <= 0 ? 0 : (n + d - 1) / d;
}

std::int64_t sampleAt(MTime at, int sampleRate)
{
    const std::int64_t n = at.toMSec() * sampleRate;
    return n <= 0 ? 0 : (n + 999) / 1000;
}

QString videoFilters(const RenderPiece &piece,
                     QSize frameSize,
                     boost::rational<std::int64_t> frameRate,
                     const QString &pixelFormat)
{
    QStringList f;
    if (!piece.stillImage) {
        // Times are the file's until the speed is applied, the clip's after: the fades are
        // placed in the clip, whatever part of it the range keeps.
        const double s0 = piece.sourceStart();
        f << QStringLiteral("trim=start=%1:end=%2").arg(num(s0), num(piece.sourceEnd()))
          << QStringLiteral("setpts=((T-%1)/%2+%3)/TB")
                 .arg(num(s0), num(piece.speed), seconds(piece.skip))
          << QStringLiteral("fps=fps=%1/%2:start_time=%3")
                 .arg(frameRate.numerator())
                 .arg(frameRate.denominator())
                 .arg(seconds(piece.skip));
    }
    f << QStringLiteral("scale=w=%1:h=%2:force_original_aspect_ratio=decrease:"
                        "force_divisible_by=2")
             .arg(frameSize.width())
             .arg(frameSize.height())
      << QStringLiteral("pad=w=%1:h=%2:x=(ow-iw)/2:y=(oh-ih)/2:color=black")
             .arg(frameSize.width())
             .arg(frameSize.height())
      << QStringLiteral("setsar=1") << QStringLiteral("format=%1").arg(pixelFormat);
    if (piece.fadeIn > MTime())
        f << QStringLiteral("fade=t=in:st=0:d=%1").arg(seconds(piece.fadeIn));
    if (piece.fadeOut > MTime())
        f << QStringLiteral("fade=t=out:st=%1:d=%2")
                 .arg(seconds(piece.clipLength - piece.fadeOut), seconds(piece.fadeOut));
    if (piece.opacity < 100) {
        // Over the black beneath it, a see-through picture is a darker one.
        const QString a = num(piece.opacity / 100.0);
        f << QStringLiteral("lutyuv=y=16+(val-16)*%1:u=128+(val-128)*%1:v=128+(val-128)*%1").arg(a);
    }
    f << QStringLiteral("setpts=PTS-STARTPTS");
    return f.join(QLatin1Char(','));
}

QString audioFilters(const RenderPiece &piece, int sampleRate, const QString &channelLayout)
{
    QStringList f;
    f << QStringLiteral("atrim=start=%1:end=%2")
             .arg(num(piece.sourceStart()), num(piece.sourceEnd()))
      << QStringLiteral("asetpts=N/SR/TB") << QStringLiteral("aresample=%1").arg(sampleRate);
    if (std::abs(piece.speed - 1.0) > 1e-9) {
        if (piece.pitchKept)
            f << tempo(piece.speed);
        else
            f << QStringLiteral("asetrate=%1").arg(std::llround(sampleRate * piece.speed))
              << QStringLiteral("aresample=%1").arg(sampleRate);
    }
    f << QStringLiteral("asetpts=N/SR/TB+%1/TB").arg(seconds(piece.skip));
    if (piece.fadeIn > MTime())
        f << QStringLiteral("afade=t=in:st=0:d=%1").arg(seconds(piece.fadeIn));
    if (piece.fadeOut > MTime())
        f << QStringLiteral("afade=t=out:st=%1:d=%2")
                 .arg(seconds(piece.clipLength - piece.fadeOut), seconds(piece.fadeOut));
    if (piece.volume != 100)
        f << QStringLiteral("volume=%1").arg(num(piece.volume / 100.0));
    f << QStringLiteral("asetpts=N/SR/TB")
      << QStringLiteral("aformat=sample_fmts=fltp:sample_rates=%1:channel_layouts=%2")
             .arg(sampleRate)
             .arg(channelLayout);
    return f.join(QLatin1Char(','));
}

} // namespace Export
