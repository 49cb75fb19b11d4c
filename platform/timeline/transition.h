#pragma once

#include "timeline_export.h"

#include "util/guardedptr.h"
#include "util/mtime.h"

#include <QString>

#include <memory>
#include <string_view>
#include <vector>

namespace Media {
class File;
}
namespace Timeline {
class IClip;
class Model;
} // namespace Timeline

// A transition between two neighbouring clips of one track, or at the open end of a single clip.
// The timeline owns its transitions and keeps their clip links valid: removing a clip removes the
// transitions that touch it. Main thread only.
namespace Transition {

// The numbers are stored in project files; the texts are what the statistics and the project
// file write.
enum class Id : int { Dissolve = 0, Fade = 1, Wipe = 2, Slide = 3, Zoom = 4, ShaderISF = 5 };
inline constexpr int idCount = static_cast<int>(Id::ShaderISF) + 1;
TIMELINE_EXPORT std::string_view idText(Id id) noexcept;
TIMELINE_EXPORT bool idFromText(std::string_view text, Id *id) noexcept;

// What a resource of a transition is; a shader transition has a shader resource, a media
// transition carries the pictures and sounds it plays.
enum class ResourceType : int { Image = 1, Video = 2, Audio = 3, Shader = 4 };

struct Resource {
    ResourceType type = ResourceType::Image;
    std::shared_ptr<Media::File> file; // null for resources that are not files (shaders by id)
    QString resourceId;
};

class TIMELINE_EXPORT Object {
public:
    explicit Object(Id id, MTime duration = MTime::fromMSec(1000));
    ~Object();
    // The same transition with the same resources, linked to no clips.
    std::unique_ptr<Object> copy() const;

    Id id() const noexcept { return m_id; }
    MTime duration() const noexcept { return m_duration; }
    void setDuration(MTime duration) { m_duration = duration; }

    // Null at the open start (left) or end (right) of a track.
    const Timeline::IClip *leftClip() const noexcept { return m_left; }
    const Timeline::IClip *rightClip() const noexcept { return m_right; }

    const std::vector<Resource> &resources() const noexcept { return m_resources; }
    void addResource(Resource resource) { m_resources.push_back(std::move(resource)); }
    void setResources(std::vector<Resource> resources) { m_resources = std::move(resources); }
    // A sound plays while the transition runs: an audio resource, or a video resource whose file
    // has sound.
    bool hasAudioResources() const noexcept;

    // Removing a clip removes its transitions, also while work that will fill one is under way.
    const Util::Lifetime &lifetime() const noexcept { return m_lifetime; }

private:
    friend class Timeline::Model;

    Id m_id;
    MTime m_duration;
    const Timeline::IClip *m_left = nullptr;
    const Timeline::IClip *m_right = nullptr;
    std::vector<Resource> m_resources;
    Util::Lifetime m_lifetime;
};

} // namespace Transition
