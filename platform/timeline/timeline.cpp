#include "timeline/timeline.h"

#include "mediamodel/mediafile.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

Transition::Object &Model::transition(std::size_t index)
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

namespace {

bool findGaps(const std::vector<std::unique_ptr<Track>> &tracks) noexcept
{
    for (const auto &track : tracks) {
        if (track->type() != TrackType::Video)
            continue;
        const auto &clips = track->clips();
        MTime covered;
        for (std::size_t i = 0, n = clips.size(); i < n; ++i) {
            // A long timeline's clips are scattered in memory; fetching ahead keeps the walk
            // from waiting on each one (bench/timelinecensus_bench.cpp).
            if (i + 8 < n)
                __builtin_prefetch(reinterpret_cast<const char *>(clips[i + 8].get()) + 64);
            if (clips[i]->position() > covered)
                return true;
            covered = clips[i]->end();
        }
    }
    return false;
}

} // namespace

bool Model::hasGaps() const noexcept
{
    if (!m_gaps)
        m_gaps = findGaps(m_tracks);
    return *m_gaps;
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
    edited();
    m_tracks.push_back(std::make_unique<Track>(type));
    return *m_tracks.back();
}

Track &Model::insertTrack(int index, TrackType type)
{
    if (index < 0 || index > trackCount())
        throw std::out_of_range("cannot insert a track at " + std::to_string(index));
    edited();
    return **m_tracks.insert(m_tracks.begin() + index, std::make_unique<Track>(type));
}

void Model::removeTrack(int index)
{
    Track &track = checkedTrack(index);
    edited();
    for (const auto &clip : track.clips()) {
        dropTransitionsOf(clip.get());
        m_clipsById.erase(clip->id());
        forgetUse(*clip);
    }
    m_tracks.erase(m_tracks.begin() + index);
}

Clip &Model::adopt(Track &track, std::unique_ptr<Clip> clip, ClipId id)
{
    edited();
    if (id == 0)
        id = m_nextId;
    m_nextId = std::max(m_nextId, id + 1);
    clip->m_id = id;
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
            edited();
            for (auto it = next; it != clips.end(); ++it)
                (*it)->m_position += needed;
        }
    }

    auto clip = std::make_unique<Clip>(kind, std::move(file));
    clip->m_position = position;
    clip->m_duration = length;
    return adopt(track, std::move(clip));
}

Clip &Model::placeClip(int trackIndex, std::unique_ptr<Clip> clip, ClipId id)
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
    if (id != 0 && m_clipsById.count(id))
        throw std::invalid_argument("clip id " + std::to_string(id) + " is taken");
    return adopt(track, std::move(clip), id);
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
    edited();
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

namespace {

Clip &known(Model &model, ClipId id)
{
    Clip *clip = model.findClip(id);
    if (!clip)
        throw std::invalid_argument("no clip " + std::to_string(id) + " on the timeline");
    return *clip;
}

} // namespace

double Model::setClipSpeed(ClipId id, double speed, bool compensated)
{
    Clip &clip = known(*this, id);
    const Track &track = *m_tracks[static_cast<std::size_t>(trackOf(id))];
    edited();
    double applied = std::clamp(std::isfinite(speed) ? speed : 1.0, minSpeed, maxSpeed);
    // The source the clip plays stays the same, so its length scales with 1/speed.
    const double sourceMs = static_cast<double>(clip.duration().toMSec()) * clip.speed();
    MTime room = MTime::fromMSec(std::numeric_limits<std::int64_t>::max() / 4);
    const auto &clips = track.clips();
    const auto self = std::find_if(clips.begin(), clips.end(), [&](const std::unique_ptr<Clip> &c) {
        return c.get() == &clip;
    });
    if (std::next(self) != clips.end())
        room = (*std::next(self))->position() - clip.position();
    const double slowest = sourceMs / static_cast<double>(room.toMSec());
    if (applied < slowest)
        applied = std::min(maxSpeed, slowest);
    const auto length = std::max<std::int64_t>(1, std::llround(sourceMs / applied));
    clip.m_duration = std::min(MTime::fromMSec(length), room);
    clip.m_fadeIn = std::min(clip.m_fadeIn, clip.m_duration);
    clip.m_fadeOut = std::min(clip.m_fadeOut, clip.m_duration);
    clip.setSpeed(applied, compensated);
    return applied;
}

void Model::setClipLength(ClipId id, MTime length)
{
    Clip &clip = known(*this, id);
    if (length < MTime::fromMSec(1))
        throw std::invalid_argument("a clip must last longer than zero");
    edited();
    const MTime shift = length - clip.duration();
    Track &track = *m_tracks[static_cast<std::size_t>(trackOf(id))];
    bool after = false;
    for (const auto &c : track.m_clips) {
        if (after)
            c->m_position += shift;
        after = after || c.get() == &clip;
    }
    clip.m_duration = length;
    clip.m_fadeIn = std::min(clip.m_fadeIn, length);
    clip.m_fadeOut = std::min(clip.m_fadeOut, length);
}

Clip &Model::splitClip(ClipId id, MTime at)
{
    Clip &clip = known(*this, id);
    if (!(at > clip.position() && at < clip.end()))
        throw std::invalid_argument("the cut must lie inside the clip");
    edited();
    const MTime left = at - clip.position();
    auto right = clip.copy();
    right->m_position = at;
    right->m_duration = clip.duration() - left;
    right->m_sourceIn = clip.sourceIn()
        + MTime::fromMSec(std::llround(static_cast<double>(left.toMSec()) * clip.speed()));
    // A fade belongs to the end of the clip it was set on.
    right->m_fadeIn = MTime();
    right->m_fadeOut = std::min(right->m_fadeOut, right->m_duration);
    clip.m_fadeOut = MTime();
    clip.m_duration = left;
    clip.m_fadeIn = std::min(clip.m_fadeIn, left);
    Track &track = *m_tracks[static_cast<std::size_t>(trackOf(id))];
    Clip &placed = adopt(track, std::move(right));
    for (const auto &transition : m_transitions) {
        if (transition->m_left == &clip)
            transition->m_left = &placed;
    }
    return placed;
}

bool Model::rippleRemoveClip(ClipId id)
{
    const int index = trackOf(id);
    if (index < 0)
        return false;
    const Clip &clip = *m_clipsById.at(id);
    const MTime end = clip.end();
    const MTime length = clip.duration();
    removeClip(id);
    for (const auto &later : m_tracks[static_cast<std::size_t>(index)]->m_clips) {
        if (later->position() >= end)
            later->m_position = later->m_position - length;
    }
    return true;
}

Clip &Model::moveClip(ClipId id, int trackIndex, MTime position)
{
    Clip &clip = known(*this, id);
    Track &target = checkedTrack(trackIndex);
    if (static_cast<int>(clip.type()) != static_cast<int>(target.type()))
        throw std::invalid_argument("track " + std::to_string(trackIndex)
                                    + " holds another kind of clip");
    if (position < MTime() || clip.duration() > maxTime - position)
        throw std::invalid_argument("a clip must lie between 0 and "
                                    + maxTime.toClockString().toStdString());
    for (const auto &other : target.m_clips) {
        if (other.get() != &clip && other->position() < position + clip.duration()
            && position < other->end())
            throw std::invalid_argument("it would overlap clip " + std::to_string(other->id())
                                        + " of track " + std::to_string(trackIndex));
    }
    edited();
    dropTransitionsOf(&clip);
    std::unique_ptr<Clip> taken = m_tracks[static_cast<std::size_t>(trackOf(id))]->take(&clip);
    taken->m_position = position;
    return target.add(std::move(taken));
}

void Model::trimClip(ClipId id, MTime start, MTime end)
{
    Clip &clip = known(*this, id);
    if (start < clip.position() || end > clip.end() || end - start < MTime::fromMSec(1))
        throw std::invalid_argument("a trim keeps a part of the clip at least a millisecond long");
    edited();
    const MTime cut = start - clip.position();
    const bool startMoved = cut > MTime();
    const bool endMoved = end < clip.end();
    m_transitions.erase(std::remove_if(m_transitions.begin(), m_transitions.end(),
                                       [&](const std::unique_ptr<Transition::Object> &t) {
                                           return (startMoved && t->rightClip() == &clip)
                                               || (endMoved && t->leftClip() == &clip);
                                       }),
                        m_transitions.end());
    clip.m_sourceIn = clip.m_sourceIn
        + MTime::fromMSec(std::llround(static_cast<double>(cut.toMSec()) * clip.speed()));
    clip.m_position = start;
    clip.m_duration = end - start;
    clip.m_fadeIn = std::min(clip.m_fadeIn, clip.m_duration);
    clip.m_fadeOut = std::min(clip.m_fadeOut, clip.m_duration);
}

Clip *Model::clipAt(int trackIndex, MTime at) noexcept
{
    if (trackIndex < 0 || trackIndex >= trackCount())
        return nullptr;
    for (const auto &clip : m_tracks[static_cast<std::size_t>(trackIndex)]->m_clips) {
        if (clip->position() <= at && at < clip->end())
            return clip.get();
    }
    return nullptr;
}

} // namespace Timeline
