#pragma once

#include "timeline_export.h"

#include "timeline/effect.h"
#include "util/mtime.h"

#include <QString>

#include <boost/container/small_vector.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

namespace Media {
class File;
}

// Clips: the pieces of media, titles and intros that sit on the timeline's tracks. The timeline
// owns its clips; everything else sees them through IClip. Main thread only.
namespace Timeline {

class Track;

// The kind of track, and of the clips on it. The numbers are stored in project files and read by
// the statistics ("a clip of type 1"), so they are fixed.
enum class TrackType : int { None = 0, Video = 1, Audio = 2, Title = 3, Overlay = 4 };
using ClipType = TrackType;

// What a clip is, independent of where it sits: a piece of a media file on a picture track (an
// overlay clip is of this kind too), an intro, a title, a piece of sound, or the sound of an intro.
enum class ClipKind : int { Clip = 0, Intro = 1, Title = 2, Audio = 3, IntroAudio = 4 };

using ClipId = std::uint64_t;

// Times beyond a few years are damage, not edits: no clip starts, lasts or ends past this, which
// also keeps sums of positions and lengths far from overflowing. Project files hold the same
// bound, so whatever a timeline holds can be saved and opened again.
inline constexpr MTime maxTime = MTime::fromMSec(100'000'000'000);

// How a clip's picture is laid over what lies beneath it. The numbers are stored in project files
// and reported by the statistics.
enum class BlendingMode : int {
    Overlay = 0,
    Lighten = 1,
    Color = 2,
    ColorDodge = 3,
    LinearDodge = 4,
    SourceOver = 5,
    Screen = 6,
    Difference = 7,
    Multiply = 8,
    Darken = 9,
    ColorBurn = 10,
    HardLight = 11,
    SoftLight = 12,
    Exclusion = 13,
};
inline constexpr int blendingModeCount = static_cast<int>(BlendingMode::Exclusion) + 1;

// The content identifier of the generated special-effects clips (sparks, snow, light leaks).
inline constexpr const char *specialEffectsContentId = "special-fx";

// The text item of a title clip. The subtype numbers are the title designer's.
struct TitleItem {
    enum Subtype : int { Invalid = 0, Title = 1, Callout = 2, Sticker = 3, Subtitle = 4 };

    int subtype = Title;
    QString text;
    QString styleId; // the designer's style or the store item it came from

    bool operator==(const TitleItem &o) const
    {
        return subtype == o.subtype && text == o.text && styleId == o.styleId;
    }
};

// Key-framed motion or an animation preset on a clip. Empty when the clip does not move.
struct AnimationItem {
    QString presetId;
    std::vector<MTime> keyframes;

    bool isEmpty() const noexcept { return presetId.isEmpty() && keyframes.empty(); }
    bool operator==(const AnimationItem &o) const
    {
        return presetId == o.presetId && keyframes == o.keyframes;
    }
};

// What a census asks of every clip, as bits of one word: the walk over a long timeline reads it
// with one call per clip and offers the clip only to the pickers that look at clips like it.
using ClipTraits = std::uint32_t;
namespace Trait {
enum : ClipTraits {
    // One bit per ClipKind, at the kind's number.
    KindClip = 1u << 0,
    KindIntro = 1u << 1,
    KindTitle = 1u << 2,
    KindAudio = 1u << 3,
    KindIntroAudio = 1u << 4,
    Animated = 1u << 5, // a non-empty animation
    Titled = 1u << 6, // a title item
    FromResource = 1u << 7, // a content-store resource identifier
    Generated = 1u << 8, // a content identifier
    HasFile = 1u << 9,
    HasEffects = 1u << 10,
    SpeedChanged = 1u << 11, // a speed other than 1
    SpeedCompensated = 1u << 12,
    Stabilized = 1u << 13,
};
} // namespace Trait

// Most clips carry a few effects; keeping up to three inside the clip saves the walk over a
// long timeline a trip to a separate buffer per clip (bench/timelinecensus_bench.cpp).
using EffectList = boost::container::small_vector<Effect::Handle, 3>;

class TIMELINE_EXPORT IClip {
public:
    virtual ~IClip();

    // Unique within its timeline for the timeline's life; 0 for a clip not on a timeline yet.
    virtual ClipId id() const noexcept = 0;
    virtual ClipType type() const noexcept = 0;
    virtual ClipKind kind() const noexcept = 0;
    // Null for clips made of no file (titles, colour clips).
    virtual const std::shared_ptr<Media::File> &file() const noexcept = 0;
    virtual bool isImageClip() const noexcept = 0;

    virtual MTime position() const noexcept = 0; // where it starts on the timeline
    virtual MTime duration() const noexcept = 0; // how long it lasts on the timeline
    virtual MTime sourceIn() const noexcept = 0; // where it starts in its file
    MTime end() const noexcept { return position() + duration(); }

    // In the clip's order of application.
    virtual const EffectList &effects() const noexcept = 0;

    virtual double speed() const noexcept = 0;
    // Pitch kept while the speed is changed.
    virtual bool isSpeedCompensated() const noexcept = 0;
    virtual bool isStabilized() const noexcept = 0;
    virtual const AnimationItem &animation() const noexcept = 0;
    virtual const std::optional<TitleItem> &titleItem() const noexcept = 0;

    // The content-store resource a clip was made from; empty when it came from the user's files.
    virtual const QString &resourceId() const noexcept = 0;
    // What the clip shows when it is generated content (for example the special-effects clips).
    virtual const QString &contentId() const noexcept = 0;

    // What a census asks of every clip, answered from the clip's first cache lines so a walk over
    // a long timeline does not fetch the rest of each clip: whether it moves (a non-empty
    // animation), has a title item, came from a content-store resource, shows generated content.
    virtual bool isAnimated() const noexcept = 0;
    virtual bool hasTitle() const noexcept = 0;
    virtual bool hasResource() const noexcept = 0;
    virtual bool hasContent() const noexcept = 0;
    // All of the above and the kind in one word (Trait bits), from the same first cache line.
    virtual ClipTraits traits() const noexcept = 0;

    // The properties panel's values: opacity and volume in percent, fades at either end.
    virtual int opacity() const noexcept = 0;
    virtual int volume() const noexcept = 0;
    virtual MTime fadeIn() const noexcept = 0;
    virtual MTime fadeOut() const noexcept = 0;
    virtual BlendingMode blendingMode() const noexcept = 0;
};

// The one implementation. The setters are for the code that builds or edits the timeline (the
// project reader, the editor's commands); a clip on a timeline is moved only through the timeline,
// which keeps each track free of overlaps.
// Aligned to a cache line, so what a census reads of a clip lies in exactly the two lines the walk
// fetches ahead; at the allocator's 16 bytes most clips straddled a third.
class TIMELINE_EXPORT __attribute__((aligned(64))) Clip final : public IClip {
public:
    explicit Clip(ClipKind kind, std::shared_ptr<Media::File> file = {});
    ~Clip() override;
    // A copy has the same content and no place on a timeline.
    std::unique_ptr<Clip> copy() const;

    ClipId id() const noexcept override { return m_id; }
    ClipType type() const noexcept override { return static_cast<ClipType>(m_type); }
    ClipKind kind() const noexcept override { return static_cast<ClipKind>(m_kind); }
    const std::shared_ptr<Media::File> &file() const noexcept override { return m_file; }
    bool isImageClip() const noexcept override { return m_image; }
    MTime position() const noexcept override { return m_position; }
    MTime duration() const noexcept override { return m_duration; }
    MTime sourceIn() const noexcept override { return m_sourceIn; }
    const EffectList &effects() const noexcept override { return m_effects; }
    double speed() const noexcept override { return m_speed; }
    bool isSpeedCompensated() const noexcept override { return m_speedCompensated; }
    bool isStabilized() const noexcept override { return m_stabilized; }
    const AnimationItem &animation() const noexcept override { return m_animation; }
    const std::optional<TitleItem> &titleItem() const noexcept override { return m_title; }
    const QString &resourceId() const noexcept override { return m_resourceId; }
    const QString &contentId() const noexcept override { return m_contentId; }
    bool isAnimated() const noexcept override { return m_marks & Animated; }
    bool hasTitle() const noexcept override { return m_marks & Titled; }
    bool hasResource() const noexcept override { return m_marks & FromResource; }
    bool hasContent() const noexcept override { return m_marks & Generated; }
    ClipTraits traits() const noexcept override
    {
        return (1u << m_kind) | (isAnimated() ? Trait::Animated : 0u)
            | (hasTitle() ? Trait::Titled : 0u) | (hasResource() ? Trait::FromResource : 0u)
            | (hasContent() ? Trait::Generated : 0u) | (m_file ? Trait::HasFile : 0u)
            | (m_effects.empty() ? 0u : Trait::HasEffects)
            | (m_marks & SpeedChanged ? Trait::SpeedChanged : 0u)
            | (m_speedCompensated ? Trait::SpeedCompensated : 0u)
            | (m_stabilized ? Trait::Stabilized : 0u);
    }
    int opacity() const noexcept override { return m_opacity; }
    int volume() const noexcept override { return m_volume; }
    MTime fadeIn() const noexcept override { return m_fadeIn; }
    MTime fadeOut() const noexcept override { return m_fadeOut; }
    BlendingMode blendingMode() const noexcept override { return m_blending; }

    static constexpr int maxOpacity = 100;
    static constexpr int maxVolume = 400;

    static constexpr double maxSpeed = 100.0;

    // Only before the clip is placed on a track (std::logic_error after: the timeline moves its
    // clips). Each throws std::invalid_argument for a time before 0 or past maxTime.
    void setPosition(MTime position);
    void setDuration(MTime duration);
    void setSourceIn(MTime in);

    Effect::Object &addEffect(std::unique_ptr<Effect::Object> effect);
    template<class E, class = std::enable_if_t<std::is_base_of_v<Effect::Object, E>>>
    E &addEffect(E effect)
    {
        return static_cast<E &>(
            addEffect(std::unique_ptr<Effect::Object>(std::make_unique<E>(std::move(effect)))));
    }
    void removeEffect(std::size_t index);
    // Puts `effect` in the place of the one at `index`; throws std::out_of_range, or
    // std::invalid_argument for a null effect.
    void replaceEffect(std::size_t index, std::unique_ptr<Effect::Object> effect);

    void setSpeed(double speed, bool compensated = false);
    void setStabilized(bool stabilized) { m_stabilized = stabilized; }
    // Throws std::invalid_argument for a key frame before 0 or past maxTime.
    void setAnimation(AnimationItem animation);
    // Throws std::invalid_argument for a subtype the title designer does not have.
    void setTitleItem(std::optional<TitleItem> title);
    void setResourceId(QString id);
    void setContentId(QString id);
    // Each throws std::invalid_argument for a value out of its range (opacity 0..100, volume
    // 0..400, fades 0 up to the clip's length, a mode of the enumeration).
    void setOpacity(int percent);
    void setVolume(int percent);
    void setFadeIn(MTime fade);
    void setFadeOut(MTime fade);
    void setBlendingMode(BlendingMode mode);

private:
    friend class Track;
    friend class Model;

    enum Mark : std::uint8_t {
        Animated = 1,
        Titled = 2,
        FromResource = 4,
        Generated = 8,
        SpeedChanged = 16, // the speed itself lies in the second line
    };
    void mark(Mark bit, bool on) { m_marks = on ? (m_marks | bit) : (m_marks & ~bit); }

    // What a census reads of every clip comes first, within two cache lines (the walk fetches
    // them ahead of use): kind, marks, file, effects, the store resource every store clip is
    // looked up by, and the place the gap query reads. What only a clip with that mark, or only
    // editing, reads comes after. Kinds and types are small numbers; a byte each keeps all of
    // that in two lines.
    std::uint8_t m_type = static_cast<std::uint8_t>(ClipType::None);
    std::uint8_t m_kind;
    bool m_image;
    bool m_speedCompensated = false;
    bool m_stabilized = false;
    std::uint8_t m_marks = 0;
    std::shared_ptr<Media::File> m_file;
    EffectList m_effects;
    QString m_resourceId;
    MTime m_position;
    MTime m_duration;
    // Only clips with the matching mark are asked for these.
    double m_speed = 1.0;
    QString m_contentId;
    std::optional<TitleItem> m_title;
    AnimationItem m_animation;
    ClipId m_id = 0;
    const Track *m_track = nullptr; // the track it is on, kept by the track
    MTime m_sourceIn;
    int m_opacity = maxOpacity;
    int m_volume = 100;
    BlendingMode m_blending = BlendingMode::SourceOver;
    MTime m_fadeIn;
    MTime m_fadeOut;
};

} // namespace Timeline
