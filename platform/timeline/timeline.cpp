#include "timeline/timeline.h"

#include "media/mediafile.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Timeline {

ITimeline::~ITimeline() = default;

int ITimeline::trackCount(TrackType type) const noexcept
{
    int count = 0;
    for (int i = 0, n = trackCount(); i < n; ++i)
        count += track(i).type() == type;
    return count;
}

Model::Model() = default;
Model::~Model()
{
    // Transitions point at clips; let them go first.
    m_transitions.clear();
}

Track &Model::checkedTrack(int index) const
{
    if (index < 0 || index >= trackCount())
        throw std::out_of_range("no track " + std::to_string(index) + " on a timeline of "
                                + std::to_string(trackCount()) + " tracks");
    return *m_tracks[static_cast<std::size_t>(index)];
}

const Track &Model::track(int index) const
{
    return checkedTrack(index);
}

Track &Model::track(int index)
{
    return checkedTrack(index);
}

const Transition::Object &Model::transition(std::size_t index) const
{
    return *m_transitions.at(index);
}

MTime Model::duration() const noexcept
{
    MTime end;
    for (const auto &track : m_tracks)
        end = std::max(end, track->end());
    return end;
}

bool Model::hasGaps() const noexcept
{
    for (const auto &track : m_tracks) {
        if (track->type() != TrackType::Video)
            continue;
        MTime covered;
        for (const auto &clip : track->clips()) {
            if (clip->position() > covered)
                return true;
            covered = clip->end();
        }
    }
    return false;
}

const Clip *Model::findClip(ClipId id) const noexcept
{
    const auto it = m_clipsById.find(id);
    return it == m_clipsById.end() ? nullptr : it->second;
}

Clip *Model::findClip(ClipId id) noexcept
{
    const auto it = m_clipsById.find(id);
    return it == m_clipsById.end() ? nullptr : it->second;
}

Track &Model::addTrack(TrackType type)
{
    m_tracks.push_back(std::make_unique<Track>(type));
    return *m_tracks.back();
}

Track &Model::insertTrack(int index, TrackType type)
{
    if (index < 0 || index > trackCount())
        throw std::out_of_range("cannot insert a track at " + std::to_string(index));
    return **m_tracks.insert(m_tracks.begin() + index, std::make_unique<Track>(type));
}

void Model::removeTrack(int index)
{
    Track &track = checkedTrack(index);
    for (const auto &clip : track.clips()) {
        dropTransitionsOf(clip.get());
        m_clipsById.erase(clip->id());
        forgetUse(*clip);
    }
    m_tracks.erase(m_tracks.begin() + index);
}

Clip &Model::adopt(Track &track, std::unique_ptr<Clip> clip)
{
    clip->m_id = m_nextId++;
    Clip &placed = track.add(std::move(clip));
    m_clipsById.emplace(placed.id(), &placed);
    if (placed.file())
        ++m_clipUses[placed.file()->path];
    return placed;
}

Clip &Model::insertClip(int trackIndex, MTime position, std::shared_ptr<Media::File> file)
{
    Track &track = checkedTrack(trackIndex);
    if (!file)
        throw std::invalid_argument("cannot insert a clip without a file");
    if (position < MTime())
        throw std::invalid_argument("cannot insert a clip before the start of the timeline");
    if (position > maxTime)
        throw std::invalid_argument("cannot insert a clip past "
                                    + maxTime.toClockString().toStdString());
    ClipKind kind;
    switch (track.type()) {
    case TrackType::Video:
    case TrackType::Overlay:
        kind = ClipKind::Clip;
        break;
    case TrackType::Audio:
        kind = ClipKind::Audio;
        break;
    default:
        throw std::invalid_argument("a title track takes no media files");
    }

    const MTime length
        = file->isStillImage() || file->duration <= MTime() ? defaultStillDuration : file->duration;
    auto &clips = track.m_clips;
    auto startsAt = [&](MTime t) {
        return std::lower_bound(
            clips.begin(), clips.end(), t,
            [](const std::unique_ptr<Clip> &c, MTime at) { return c->position() < at; });
    };
    // A drop inside a clip never splits it: the new clip follows it. Clips do not overlap, so
    // only the one starting last before the drop can hold it.
    auto next = startsAt(position);
    if (next != clips.begin() && (*std::prev(next))->end() > position) {
        position = (*std::prev(next))->end();
        next = startsAt(position);
    }
    // Nothing moves unless everything still ends in time.
    if (length > maxTime - position)
        throw std::invalid_argument("the clip would end past "
                                    + maxTime.toClockString().toStdString());
    if (next != clips.end()) {
        const MTime needed = position + length - (*next)->position();
        if (needed > MTime() && clips.back()->end() > maxTime - needed)
            throw std::invalid_argument("the clips after the drop would be moved past "
                                        + maxTime.toClockString().toStdString());
        if (needed > MTime()) {
            for (auto it = next; it != clips.end(); ++it)
                (*it)->m_position += needed;
        }
    }

    auto clip = std::make_unique<Clip>(kind, std::move(file));
    clip->m_position = position;
    clip->m_duration = length;
    return adopt(track, std::move(clip));
}

Clip &Model::placeClip(int trackIndex, std::unique_ptr<Clip> clip)
{
    Track &track = checkedTrack(trackIndex);
    if (!clip)
        throw std::invalid_argument("cannot place a null clip");
    if (clip->position() < MTime())
        throw std::invalid_argument("a clip cannot start before the timeline");
    if (clip->duration() <= MTime())
        throw std::invalid_argument("a clip must last longer than zero");
    if (clip->duration() > maxTime - clip->position())
        throw std::invalid_argument("a clip must end by " + maxTime.toClockString().toStdString());
    if (track.overlaps(clip->position(), clip->duration()))
        throw std::invalid_argument("the clip at " + clip->position().toClockString().toStdString()
                                    + " overlaps another clip of track "
                                    + std::to_string(trackIndex));
    return adopt(track, std::move(clip));
}

int Model::fileUses(const Media::File &file) const
{
    return m_failedUses.value(file.path) + m_clipUses.value(file.path);
}

void Model::forgetUse(const Clip &clip)
{
    if (!clip.file())
        return;
    const auto it = m_clipUses.find(clip.file()->path);
    if (it != m_clipUses.end() && --*it <= 0)
        m_clipUses.erase(it);
}

void Model::noteFailedFile(const Media::File &file)
{
    ++m_failedUses[file.path];
}

bool Model::removeClip(ClipId id)
{
    const int index = trackOf(id);
    if (index < 0)
        return false;
    const Clip *clip = m_clipsById.at(id);
    dropTransitionsOf(clip);
    m_clipsById.erase(id);
    forgetUse(*clip);
    m_tracks[static_cast<std::size_t>(index)]->take(clip);
    return true;
}

void Model::dropTransitionsOf(const IClip *clip)
{
    m_transitions.erase(std::remove_if(m_transitions.begin(), m_transitions.end(),
                                       [clip](const std::unique_ptr<Transition::Object> &t) {
                                           return t->leftClip() == clip || t->rightClip() == clip;
                                       }),
                        m_transitions.end());
}

Transition::Object &
Model::addTransition(std::unique_ptr<Transition::Object> transition, ClipId left, ClipId right)
{
    if (!transition)
        throw std::invalid_argument("cannot add a null transition");
    const Clip *leftClip = left ? findClip(left) : nullptr;
    const Clip *rightClip = right ? findClip(right) : nullptr;
    if ((left && !leftClip) || (right && !rightClip))
        throw std::invalid_argument("a transition names a clip that is not on the timeline");
    if (!leftClip && !rightClip)
        throw std::invalid_argument("a transition needs at least one clip");
    if (leftClip && rightClip && (leftClip == rightClip || trackOf(left) != trackOf(right)))
        throw std::invalid_argument("a transition joins two different clips of one track");
    transition->m_left = leftClip;
    transition->m_right = rightClip;
    m_transitions.push_back(std::move(transition));
    return *m_transitions.back();
}

void Model::removeTransition(std::size_t index)
{
    if (index >= m_transitions.size())
        throw std::out_of_range("no transition at that index");
    m_transitions.erase(m_transitions.begin() + static_cast<std::ptrdiff_t>(index));
}

int Model::trackOf(ClipId id) const noexcept
{
    const Clip *clip = findClip(id);
    if (!clip)
        return -1;
    for (std::size_t i = 0; i < m_tracks.size(); ++i) {
        if (m_tracks[i].get() == clip->m_track)
            return static_cast<int>(i);
    }
    return -1;
}

} // namespace Timeline
