#pragma once

#include "timeline_export.h"

#include "timeline/clip.h"

#include <memory>
#include <vector>

namespace Timeline {

class TIMELINE_EXPORT ITrack {
public:
    virtual ~ITrack();

    virtual TrackType type() const noexcept = 0;
    // Clips in the order of their position; they never overlap.
    virtual std::size_t clipCount() const noexcept = 0;
    virtual const IClip &clip(std::size_t index) const = 0;
    // Where the last clip ends; zero for an empty track.
    virtual MTime end() const noexcept = 0;
};

// A track owns its clips, kept sorted by position. Clips reach a track only through the
// timeline, which hands out their identifiers.
class TIMELINE_EXPORT Track final : public ITrack {
public:
    explicit Track(TrackType type);
    ~Track() override;

    TrackType type() const noexcept override { return m_type; }
    std::size_t clipCount() const noexcept override { return m_clips.size(); }
    const Clip &clip(std::size_t index) const override { return *m_clips.at(index); }
    Clip &clip(std::size_t index) { return *m_clips.at(index); }
    MTime end() const noexcept override;

    const std::vector<std::unique_ptr<Clip>> &clips() const noexcept { return m_clips; }
    // Whether a clip from `position` lasting `duration` would overlap one already here.
    bool overlaps(MTime position, MTime duration) const;

private:
    friend class Model;

    Clip &add(std::unique_ptr<Clip> clip);
    std::unique_ptr<Clip> take(const IClip *clip);

    TrackType m_type;
    std::vector<std::unique_ptr<Clip>> m_clips;
};

} // namespace Timeline
