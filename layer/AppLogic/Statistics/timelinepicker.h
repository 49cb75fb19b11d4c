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
#include <string>
#include <vector>

#include "timeline/effect.h"

namespace Media {
class File;
}
namespace Project {
class Object;
}
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
    virtual ~ITimelinePicker();
    virtual void pick(const Transition::Object &transition);
    virtual void pick(const Timeline::IClip &clip);
};

using Pickers = std::vector<std::shared_ptr<ITimelinePicker>>;

// Hands every clip of every track, then every transition, to each picker in list order.
APPLOGIC_EXPORT void walkTimeline(const Timeline::ITimeline &timeline, const Pickers &pickers);

class APPLOGIC_EXPORT ClipCountPicker final : public ITimelinePicker {
public:
    void pick(const Timeline::IClip &clip) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

class APPLOGIC_EXPORT TransitionCountPicker final : public ITimelinePicker {
public:
    void pick(const Transition::Object &transition) override;
    std::uint64_t count() const noexcept { return m_count; }

private:
    std::uint64_t m_count = 0;
};

// Distinct source files by kind. Sets hold file objects, not paths: two clips cut from one file
// share its object, so the file counts once.
class APPLOGIC_EXPORT FileCountPicker final : public ITimelinePicker {
public:
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
class APPLOGIC_EXPORT EffectsPicker final : public ITimelinePicker {
public:
    EffectsPicker(QSet<QString> loadedLuts, QHash<QString, bool> colorPresets);

    void pick(const Timeline::IClip &clip) override;

    // Report name -> uses. Built on request: the walk itself only bumps integers and notes the
    // effects whose name depends on their settings; those are looked into here, in one pass
    // that fetches objects ahead of use, so a long timeline does not wait on memory per effect.
    std::map<std::string, std::uint64_t> counts() const;
    std::uint64_t total() const noexcept { return m_total; }

private:
    QSet<QString> m_loadedLuts;
    QHash<QString, bool> m_colorPresets;
    std::array<std::uint64_t, Effect::idCount> m_byId {};
    std::vector<const Effect::Object *> m_lookInto; // background removals, tables, colour presets
    std::uint64_t m_total = 0;
};

// The project block of "PROJECT_OPENED" and "PROJECT_SAVED": timeline length, clip, transition,
// effect and track counts, and the size of the user's collection. Nothing for a null project.
APPLOGIC_EXPORT void appendTimelineParams(Params &params, const Project::Object *project);

} // namespace Statistics
