#include "timeline/track.h"

#include <algorithm>

namespace Timeline {

ITrack::~ITrack() = default;

Track::Track(TrackType type)
    : m_type(type)
{
}

Track::~Track() = default;

MTime Track::end() const noexcept
{
    // Sorted and free of overlaps, so the last clip ends last.
    return m_clips.empty() ? MTime() : m_clips.back()->end();
}

bool Track::overlaps(MTime position, MTime duration) const
{
    const MTime end = position + duration;
    const auto after = std::lower_bound(
        m_clips.begin(), m_clips.end(), end,
        [](const std::unique_ptr<Clip> &c, MTime t) { return c->position() < t; });
    // Only the clip just before `end` can reach into the range.
    return after != m_clips.begin() && (*std::prev(after))->end() > position;
}

Clip &Track::add(std::unique_ptr<Clip> clip)
{
    const auto at = std::upper_bound(
        m_clips.begin(), m_clips.end(), clip->position(),
        [](MTime t, const std::unique_ptr<Clip> &c) { return t < c->position(); });
    clip->m_type = static_cast<std::uint8_t>(m_type);
    clip->m_track = this;
    return **m_clips.insert(at, std::move(clip));
}

std::unique_ptr<Clip> Track::take(const IClip *clip)
{
    const auto it
        = std::find_if(m_clips.begin(), m_clips.end(),
                       [clip](const std::unique_ptr<Clip> &c) { return c.get() == clip; });
    if (it == m_clips.end())
        return nullptr;
    std::unique_ptr<Clip> taken = std::move(*it);
    m_clips.erase(it);
    taken->m_type = static_cast<std::uint8_t>(ClipType::None);
    taken->m_track = nullptr;
    return taken;
}

} // namespace Timeline
