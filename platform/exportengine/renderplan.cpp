#include "exportengine/renderplan.h"

#include "mediamodel/mediafile.h"
#include "timeline/audioeffects.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"

#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace Export {

namespace {

void leaveOut(RenderPlan &plan, const QString &what)
{
    if (!plan.leftOut.contains(what))
        plan.leftOut.append(what);
}

// What the engine draws of `effect` only in part, named once.
void approximations(RenderPlan &plan, const Effect::Object &effect)
{
    if (const auto *mask = Effect::as<Effect::Mask>(effect)) {
        bool soft = false;
        bool outlined = false;
        for (const auto *shapes : { &mask->highlights, &mask->conceals })
            for (const Effect::MaskShape &s : *shapes) {
                soft = soft || s.smoothBorder > 0;
                outlined = outlined || s.outline;
            }
        if (soft)
            leaveOut(plan, QStringLiteral("effect Mask (soft borders drawn sharp)"));
        if (outlined)
            leaveOut(plan, QStringLiteral("effect Mask (outlines not drawn)"));
    } else if (const auto *eq = Effect::as<Effect::AudioEqualizer>(effect)) {
        // A preset's curve is played from the gains stored with it; a preset chosen without them
        // plays flat.
        const bool flat
            = std::all_of(eq->gains.begin(), eq->gains.end(), [](double g) { return g == 0; });
        if (flat && eq->preset != Effect::AudioEqualizer::Custom
            && eq->preset != Effect::AudioEqualizer::Flat
            && eq->preset != Effect::AudioEqualizer::Saved)
            leaveOut(plan,
                     QStringLiteral("effect AudioEqualizer (a preset without its gains, "
                                    "played flat)"));
    } else if (Effect::as<Effect::AudioReverb>(effect)) {
        leaveOut(plan, QStringLiteral("effect AudioReverb (approximated by four echoes)"));
    }
}

// The clip's switched-on effects the engine can draw, copied; what it cannot is named once.
void takeEffects(RenderPlan &plan, const Timeline::IClip &clip, RenderPiece &piece)
{
    for (const Effect::Handle &effect : clip.effects()) {
        if (!effect->isEnabled())
            continue;
        if (effect.id() == Effect::Id::BackgroundRemove) {
            // Telling people from background takes a segmentation model this editor does not
            // ship.
            leaveOut(plan, QStringLiteral("effect BackgroundRemove"));
            continue;
        }
        if (const auto *lut = Effect::as<Effect::Lut>(*effect);
            lut && !QFileInfo(lut->path).isFile()) {
            leaveOut(plan, QStringLiteral("effect Lut (table file missing)"));
            continue;
        }
        approximations(plan, *effect);
        piece.effects.push_back(std::shared_ptr<const Effect::Object>(effect->clone()));
    }
    const Timeline::AnimationItem &animation = clip.animation();
    if (!animation.isEmpty()) {
        // The animation holds its key times, not the rectangles a pan moves between.
        if (animation.presetId.contains(QLatin1String("pan"), Qt::CaseInsensitive))
            leaveOut(plan, QStringLiteral("pan and zoom (the pan drawn as a centred zoom)"));
        piece.panZoom = true;
        piece.zoomOut = animation.presetId.contains(QLatin1String("out"), Qt::CaseInsensitive);
        if (animation.keyframes.size() >= 2) {
            piece.panZoomFrom
                = *std::min_element(animation.keyframes.begin(), animation.keyframes.end());
            piece.panZoomTo
                = *std::max_element(animation.keyframes.begin(), animation.keyframes.end());
        } else {
            piece.panZoomTo = clip.duration();
        }
    }
    piece.stabilized = clip.isStabilized();
}

// The part of `clip` inside [from, to), on the output's time line; false when none is.
bool cut(const Timeline::IClip &clip, MTime from, MTime to, RenderPiece *piece)
{
    const MTime start = std::max(clip.position(), from);
    const MTime end = std::min(clip.end(), to);
    if (end <= start)
        return false;
    if (clip.file()) {
        piece->path = clip.file()->path;
        piece->stillImage = clip.isImageClip() || clip.file()->isStillImage();
    }
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
    piece->blending = clip.blendingMode();
    return true;
}

const char *xfadeName(Transition::Id id)
{
    switch (id) {
    case Transition::Id::Dissolve:
    case Transition::Id::ShaderISF:
        return "fade";
    case Transition::Id::Fade:
        return "fadeblack";
    case Transition::Id::Wipe:
        return "wipeleft";
    case Transition::Id::Slide:
        return "slideleft";
    case Transition::Id::Zoom:
        return "zoomin";
    }
    return "fade";
}

// Where a clip's pieces went: the picture or title piece and the sound piece.
struct Placed {
    std::vector<RenderPiece *> pieces;
};

void join(RenderPlan &plan,
          const Transition::Object &transition,
          const std::unordered_map<const Timeline::IClip *, Placed> &placed)
{
    auto find = [&](const Timeline::IClip *clip) -> const Placed * {
        const auto it = clip ? placed.find(clip) : placed.end();
        return it == placed.end() ? nullptr : &it->second;
    };
    const Placed *left = find(transition.leftClip());
    const Placed *right = find(transition.rightClip());
    if (!left && !right)
        return;
    if (transition.id() == Transition::Id::ShaderISF)
        leaveOut(plan, QStringLiteral("transition ShaderISF (shown as a dissolve)"));
    const MTime length = transition.duration();
    if (left && right) {
        const RenderPiece &l = *left->pieces.front();
        const RenderPiece &r = *right->pieces.front();
        const MTime cutAt = l.at + l.length;
        // Only where the range keeps both sides of the cut, and the clips meet there.
        if (l.skip + l.length != l.clipLength || r.skip > MTime() || r.at != cutAt)
            return;
        const std::int64_t limit
            = std::min({ length.toMSec(), l.length.toMSec(), r.length.toMSec(), 2 * cutAt.toMSec(),
                         2 * (plan.duration - cutAt).toMSec() });
        const MTime half = MTime::fromMSec(limit / 2);
        if (half <= MTime())
            return;
        for (RenderPiece *p : left->pieces)
            p->tail = half;
        for (RenderPiece *p : right->pieces) {
            p->lead = half;
            p->join = RenderJoin { QLatin1String(xfadeName(transition.id())), half + half };
        }
        return;
    }
    // At an open end the picture comes from black or goes to it.
    for (RenderPiece *p : (left ? left : right)->pieces) {
        const MTime fade = std::min(length, p->length);
        if (left && p->skip + p->length == p->clipLength)
            p->openOut = fade;
        if (right && p->skip == MTime())
            p->openIn = fade;
    }
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

    // Clip, then where its pieces lie (track slot, index): the vectors settle first.
    struct Slot {
        const Timeline::IClip *clip;
        int layer; // -1 the main picture, -2 none
        std::size_t picture;
        int sound; // -1 none
        std::size_t soundIndex;
    };
    std::vector<Slot> placements;
    bool mainTaken = false;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::ITrack &track = timeline.track(t);
        if (track.clipCount() == 0)
            continue;
        const Timeline::TrackType type = track.type();
        const bool titles = type == Timeline::TrackType::Title;
        const bool picture
            = type == Timeline::TrackType::Video || type == Timeline::TrackType::Overlay;
        int layer = -2;
        if (picture && !mainTaken && type == Timeline::TrackType::Video) {
            mainTaken = true;
            layer = -1;
        } else if (picture || titles) {
            plan.layers.push_back({ titles ? RenderLayer::Titles : RenderLayer::Pictures, {} });
            layer = static_cast<int>(plan.layers.size()) - 1;
        }
        RenderTrack sound;
        const int soundSlot = static_cast<int>(plan.audio.size());
        for (std::size_t c = 0; c < track.clipCount(); ++c) {
            const Timeline::IClip &clip = track.clip(c);
            RenderPiece piece;
            if (!cut(clip, from, to, &piece))
                continue;
            if (titles || clip.hasTitle()) {
                // A title of no known kind is kept in the project but shows nothing.
                const auto &title = clip.titleItem();
                if (!title || title->subtype == Timeline::TitleItem::Invalid
                    || title->text.trimmed().isEmpty() || layer == -2)
                    continue;
                piece.title = title;
                piece.path.clear();
                piece.stillImage = false;
                if (!titles) {
                    // A title on a picture track still lies over the picture.
                    plan.layers.push_back({ RenderLayer::Titles, { piece } });
                    continue;
                }
            } else if (!clip.file()) {
                leaveOut(plan, QStringLiteral("clips without media"));
                continue;
            }
            if (!piece.title)
                takeEffects(plan, clip, piece);
            Slot slot { &clip, layer, 0, -1, 0 };
            // A file without pictures leaves black (or nothing, on a layer); one without sound,
            // silence.
            const bool pictures = piece.title || clip.file()->hasVideo();
            const bool sounds = !piece.title && clip.file()->hasAudio();
            if (!pictures)
                slot.layer = -2;
            if (slot.layer != -2) {
                RenderTrack &into = layer == -1 ? plan.video : plan.layers[layer].pieces;
                slot.picture = into.size();
                into.push_back(piece);
            }
            if (sounds && !piece.stillImage) {
                slot.sound = soundSlot;
                slot.soundIndex = sound.size();
                sound.push_back(piece);
            }
            placements.push_back(slot);
        }
        if (!sound.empty())
            plan.audio.push_back(std::move(sound));
    }

    std::unordered_map<const Timeline::IClip *, Placed> placed;
    for (const Slot &s : placements) {
        if (s.layer == -2 && s.sound < 0)
            continue;
        Placed &p = placed[s.clip];
        if (s.layer == -1)
            p.pieces.push_back(&plan.video[s.picture]);
        else if (s.layer >= 0)
            p.pieces.push_back(&plan.layers[s.layer].pieces[s.picture]);
        if (s.sound >= 0)
            p.pieces.push_back(&plan.audio[s.sound][s.soundIndex]);
    }
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i)
        join(plan, timeline.transition(i), placed);
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

} // namespace Export
