#pragma once

#include "applogicexport.h"

#include "Statistics/eventparams.h"
#include "Statistics/pointerset.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Messages/collection.h"

#include "timeline/clip.h"
#include "timeline/effect.h"

namespace Media {
class File;
}
namespace Project {
class Object;
}
namespace Resource {
class Controller;
class SampleCatalogue;
} // namespace Resource
namespace Timeline {
class IClip;
class ITimeline;
} // namespace Timeline
namespace Transition {
class Object;
}

// The timeline census: small visitors fed by one walk over the timeline. A report makes the
// pickers it needs, walks once, then reads them. Pickers live for one report; main thread only.
namespace Statistics {

class APPLOGIC_EXPORT ITimelinePicker {
public:
    // What a picker wants to be offered. A walk offers each clip to every picker, so a picker that
    // ignores clips, or has seen all it needs of them, saves a call per clip by saying so.
    enum Visits : unsigned { None = 0, Clips = 1, Transitions = 2, Both = Clips | Transitions };

    // `clipsLike`: the picker looks only at clips with at least one of these Timeline::Trait
    // bits, and the walk offers it no others (0: every clip). Most clips are plain pieces of
    // media, so a picker of titles or store content is then called for a few clips, not all.
    explicit ITimelinePicker(unsigned visits = Both, Timeline::ClipTraits clipsLike = 0) noexcept
        : m_visits(visits)
        , m_clipsLike(clipsLike)
    {
    }
    virtual ~ITimelinePicker();
    virtual void pick(const Transition::Object &transition);
    virtual void pick(const Timeline::IClip &clip);

    bool wantsClips() const noexcept { return m_visits & Clips; }
    bool wantsTransitions() const noexcept { return m_visits & Transitions; }
    Timeline::ClipTraits clipsLike() const noexcept { return m_clipsLike; }

protected:
    // For pickers whose answer cannot change any more: later clips are not offered.
    void stopClips() noexcept { m_visits &= ~Clips; }

private:
    unsigned m_visits;
    Timeline::ClipTraits m_clipsLike;
};

using Pickers = std::vector<std::shared_ptr<ITimelinePicker>>;

// Hands every clip of every track, then every transition, to each picker in list order (a
// picker that looks at some clips only is offered them after the pickers that look at all;
// pickers change only their own state, so the order is not seen).
APPLOGIC_EXPORT void walkTimeline(const Timeline::ITimeline &timeline, const Pickers &pickers);

class APPLOGIC_EXPORT ClipCountPicker final : public ITimelinePicker {
public:
    ClipCountPicker() noexcept
        : ITimelinePicker(Clips)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

class APPLOGIC_EXPORT TransitionCountPicker final : public ITimelinePicker {
public:
    TransitionCountPicker() noexcept
        : ITimelinePicker(Transitions)
    {
    }
    void pick(const Transition::Object &transition) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

// Distinct source files by kind. Sets hold file objects, not paths: two clips cut from one file
// share its object, so the file counts once.
class APPLOGIC_EXPORT FileCountPicker final : public ITimelinePicker {
public:
    FileCountPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::HasFile)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    std::size_t videoCount() const noexcept { return m_video.size(); }
    std::size_t audioCount() const noexcept { return m_audio.size(); }
    std::size_t photoCount() const noexcept { return m_photo.size(); }

private:
    PointerSet m_video;
    PointerSet m_audio;
    PointerSet m_photo;
};

// How often each effect is used, by report name: the identifier for plain effects, with
// "_quick"/"_precise" for background removal by quality, the table name with "_loaded" for the
// user's own tables, the preset name with "_saved"/"_preset" for known colour presets.
// Everything is read from the effects during the walk: the timeline may change, and its effects
// go, before a report asks for the names.
class APPLOGIC_EXPORT EffectsPicker final : public ITimelinePicker {
public:
    // Names: every report name, as above. KindsOnly: uses by kind and the total only, for a
    // report that names effects by kind (the export census), so no effect object is read.
    enum Detail { Names, KindsOnly };
    EffectsPicker(QSet<QString> loadedLuts,
                  QHash<QString, bool> colorPresets,
                  Detail detail = Names);

    void pick(const Timeline::IClip &clip) override;

    // Report name -> uses; empty with KindsOnly.
    std::map<std::string, std::uint64_t> counts() const;
    std::uint64_t total() const noexcept { return m_total; }
    // Uses of each kind of effect, by Effect::Id, whatever its table or preset.
    const std::array<std::uint64_t, Effect::idCount> &usesByKind() const noexcept { return m_uses; }

private:
    void pickNamed(Effect::Id kind, const Effect::Object &effect);

    // A table or colour preset as used: its identity, the name it showed, how often.
    struct NamedUse {
        Effect::Id kind;
        QString name;
        std::uint64_t count;
    };

    QSet<QString> m_loadedLuts;
    QHash<QString, bool> m_colorPresets;
    Detail m_detail;
    std::array<std::uint64_t, Effect::idCount> m_byId {}; // effects reported by their kind
    std::array<std::uint64_t, Effect::idCount> m_uses {};
    std::uint64_t m_backgroundQuick = 0;
    std::uint64_t m_backgroundPrecise = 0;
    // By table or preset identifier; where each came from is looked up once per identifier.
    QHash<QString, std::vector<NamedUse>> m_named;
    std::uint64_t m_total = 0;
};

// The pickers of the export census. Flags that, once set, cannot unset stop examining clips.

class APPLOGIC_EXPORT AnimationPicker final : public ITimelinePicker {
public:
    AnimationPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::Animated)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    bool found() const noexcept { return m_found; }

private:
    bool m_found = false;
};

// Distinct files of the clips that play from a fast-track copy; none without `resources`.
class APPLOGIC_EXPORT FastTrackFilesPicker final : public ITimelinePicker {
public:
    explicit FastTrackFilesPicker(const Resource::Controller *resources);
    void pick(const Timeline::IClip &clip) override;
    std::size_t count() const noexcept { return m_paths.size(); }

private:
    const Resource::Controller *m_resources;
    QSet<QString> m_paths;
};

class APPLOGIC_EXPORT IntrosCountPicker final : public ITimelinePicker {
public:
    IntrosCountPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::KindIntro)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

// Picture clips showing generated special effects.
class APPLOGIC_EXPORT OverlayStickersPicker final : public ITimelinePicker {
public:
    OverlayStickersPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::Generated)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

// Transitions on an overlay track (judged by the left clip, or the right one at a track's start).
class APPLOGIC_EXPORT PipTransitionCountPicker final : public ITimelinePicker {
public:
    PipTransitionCountPicker() noexcept
        : ITimelinePicker(Transitions)
    {
    }
    void pick(const Transition::Object &transition) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

class APPLOGIC_EXPORT SpeedCompensationPicker final : public ITimelinePicker {
public:
    SpeedCompensationPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::SpeedCompensated)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    bool found() const noexcept { return m_found; }

private:
    bool m_found = false;
};

class APPLOGIC_EXPORT StabilizePicker final : public ITimelinePicker {
public:
    StabilizePicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::Stabilized)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    bool found() const noexcept { return m_found; }

private:
    bool m_found = false;
};

// Title clips by the subtype of their item; subtypes other than these four are not counted.
class APPLOGIC_EXPORT TitlesCountPicker final : public ITimelinePicker {
public:
    TitlesCountPicker() noexcept
        : ITimelinePicker(Clips, Timeline::Trait::KindTitle)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    std::uint64_t titles() const noexcept { return m_counts[0]; }
    std::uint64_t callouts() const noexcept { return m_counts[1]; }
    std::uint64_t stickers() const noexcept { return m_counts[2]; }
    std::uint64_t subtitles() const noexcept { return m_counts[3]; }

private:
    std::array<std::uint64_t, 4> m_counts {};
};

class APPLOGIC_EXPORT TransitionsWithSoundCountPicker final : public ITimelinePicker {
public:
    TransitionsWithSoundCountPicker() noexcept
        : ITimelinePicker(Transitions)
    {
    }
    void pick(const Transition::Object &transition) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

// Whether any clip plays faster (SpeedUp) or slower (SlowMotion) than normal; 1.0 is neither.
class APPLOGIC_EXPORT SpeedPicker final : public ITimelinePicker {
public:
    enum Mode { SpeedUp, SlowMotion };
    explicit SpeedPicker(Mode mode)
        : ITimelinePicker(Clips, Timeline::Trait::SpeedChanged)
        , m_mode(mode)
    {
    }
    void pick(const Timeline::IClip &clip) override;
    bool found() const noexcept { return m_found; }

private:
    Mode m_mode;
    bool m_found = false;
};

// Names of the sample and stock content the clips use, by kind, each name once and sorted.
class APPLOGIC_EXPORT SamplesPicker final : public ITimelinePicker {
public:
    enum List { Videos, Backgrounds, Sounds, Music, SpecialFx, listCount };
    explicit SamplesPicker(const Resource::SampleCatalogue &catalogue);
    void pick(const Timeline::IClip &clip) override;
    const std::set<QString> &names(List list) const { return m_names[list]; }

private:
    const Resource::SampleCatalogue &m_catalogue;
    // Files already looked up: many clips share a file, and cleaning a path costs more than
    // all the counting of a clip.
    PointerSet m_seen;
    std::array<std::set<QString>, listCount> m_names;
};

// The content-store items by key, as the collection registered them: an ordered map, with a
// hash index beside it so a census finds a clip's item in one probe, not a dozen string
// comparisons down a tree.
class APPLOGIC_EXPORT StoreItemRegistry {
public:
    // Records the item under its key, replacing an entry there.
    void insert(const EditorCollection::Item &item);
    void erase(const QString &key);
    const EditorCollection::Item *find(const QString &key) const;
    bool empty() const noexcept { return m_items.empty(); }
    const std::map<QString, EditorCollection::Item> &items() const noexcept { return m_items; }

private:
    std::map<QString, EditorCollection::Item> m_items;
    QHash<QString, const EditorCollection::Item *> m_index; // into m_items, whose nodes stay put
};

// Names of the store items that clips and transitions were made from, by kind, and their
// content descriptions. The registry must not change during the walk.
class APPLOGIC_EXPORT OrbItemsPicker final : public ITimelinePicker {
public:
    explicit OrbItemsPicker(const StoreItemRegistry &registry);
    void pick(const Timeline::IClip &clip) override;
    void pick(const Transition::Object &transition) override;
    const std::set<QString> &names(EditorCollection::ItemKind kind) const
    {
        return m_names[static_cast<std::size_t>(kind)];
    }
    const std::set<QString> &descriptions() const { return m_descriptions; }

private:
    void note(const QString &resourceId);

    const StoreItemRegistry &m_registry;
    PointerSet m_seen; // items already named: many clips come from one item
    std::array<std::set<QString>, EditorCollection::itemKindCount> m_names;
    std::set<QString> m_descriptions;
};

// The project block of "PROJECT_OPENED" and "PROJECT_SAVED": timeline length, clip, transition,
// effect and track counts, and the size of the user's collection. Nothing for a null project.
APPLOGIC_EXPORT void appendTimelineParams(Params &params, const Project::Object *project);

} // namespace Statistics
