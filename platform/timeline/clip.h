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

// The text item of a title clip. The subtype numbers are the title designer's.
struct TIMELINE_EXPORT TitleItem {
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
struct TIMELINE_EXPORT AnimationItem {
    QString presetId;
    std::vector<MTime> keyframes;

    bool isEmpty() const noexcept { return presetId.isEmpty() && keyframes.empty(); }
    bool operator==(const AnimationItem &o) const
    {
        return presetId == o.presetId && keyframes == o.keyframes;
    }
};

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
};

// The one implementation. The setters are for the code that builds or edits the timeline (the
// project reader, the editor's commands); a clip on a timeline is moved only through the timeline,
// which keeps each track free of overlaps.
class TIMELINE_EXPORT Clip final : public IClip {
public:
    explicit Clip(ClipKind kind, std::shared_ptr<Media::File> file = {});
    ~Clip() override;
    // A copy has the same content and no place on a timeline.
    std::unique_ptr<Clip> copy() const;

    ClipId id() const noexcept override { return m_id; }
    ClipType type() const noexcept override { return m_type; }
    ClipKind kind() const noexcept override { return m_kind; }
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

    // Only before the clip is placed on a track.
    void setPosition(MTime position) { m_position = position; }
    void setDuration(MTime duration) { m_duration = duration; }
    void setSourceIn(MTime in) { m_sourceIn = in; }

    Effect::Object &addEffect(std::unique_ptr<Effect::Object> effect);
    template<class E, class = std::enable_if_t<std::is_base_of_v<Effect::Object, E>>>
    E &addEffect(E effect)
    {
        return static_cast<E &>(
            addEffect(std::unique_ptr<Effect::Object>(std::make_unique<E>(std::move(effect)))));
    }
    void removeEffect(std::size_t index);

    void setSpeed(double speed, bool compensated = false);
    void setStabilized(bool stabilized) { m_stabilized = stabilized; }
    void setAnimation(AnimationItem animation) { m_animation = std::move(animation); }
    void setTitleItem(std::optional<TitleItem> title) { m_title = std::move(title); }
    void setResourceId(QString id) { m_resourceId = std::move(id); }
    void setContentId(QString id) { m_contentId = std::move(id); }

private:
    friend class Track;
    friend class Model;

    // What a census reads of every clip comes first, so it shares the first cache lines.
    ClipType m_type = ClipType::None;
    ClipKind m_kind;
    bool m_image;
    std::shared_ptr<Media::File> m_file;
    EffectList m_effects;
    ClipId m_id = 0;
    const Track *m_track = nullptr; // the track it is on, kept by the track
    MTime m_position;
    MTime m_duration;
    MTime m_sourceIn;
    double m_speed = 1.0;
    bool m_speedCompensated = false;
    bool m_stabilized = false;
    AnimationItem m_animation;
    std::optional<TitleItem> m_title;
    QString m_resourceId;
    QString m_contentId;
};

} // namespace Timeline
