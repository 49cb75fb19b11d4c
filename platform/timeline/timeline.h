#pragma once

#include "timeline_export.h"

#include "timeline/clip.h"
#include "timeline/track.h"
#include "timeline/transition.h"

#include "util/guardedptr.h"

#include <QHash>
#include <QString>

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace Media {
class File;
}

// The edit: tracks of clips and the transitions between them. The project owns one timeline;
// analysis, statistics and the shell see it through ITimeline and change it through Model.
// Main thread only.
namespace Timeline {

class TIMELINE_EXPORT ITimeline {
public:
    virtual ~ITimeline();

    virtual int trackCount() const noexcept = 0;
    virtual const ITrack &track(int index) const = 0;
    int trackCount(TrackType type) const noexcept;

    virtual std::size_t transitionCount() const noexcept = 0;
    virtual const Transition::Object &transition(std::size_t index) const = 0;

    // Where the last clip of any track ends.
    virtual MTime duration() const noexcept = 0;
    // True when a video track has empty time before its first clip or between two clips.
    virtual bool hasGaps() const noexcept = 0;
    virtual const IClip *findClip(ClipId id) const noexcept = 0;

    // How often the file (by path) was brought to this timeline: every clip made from it, and
    // every time it came and failed analysis. A file's analysis is reported on its first use
    // only, so a failed file counts as much as a placed one.
    virtual int fileUses(const Media::File &file) const = 0;

    // Work that ends later (an analysis placing files) holds the timeline through this, as the
    // user may open another project meanwhile.
    const Util::Lifetime &lifetime() const noexcept { return m_lifetime; }

private:
    Util::Lifetime m_lifetime;
};

class TIMELINE_EXPORT Model final : public ITimeline {
public:
    // Image files, and files whose length analysis did not find, get this length on the timeline.
    static constexpr MTime defaultStillDuration = MTime::fromMSec(5000);

    Model();
    ~Model() override;
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    using ITimeline::trackCount;
    int trackCount() const noexcept override { return static_cast<int>(m_tracks.size()); }
    const Track &track(int index) const override;
    Track &track(int index);
    std::size_t transitionCount() const noexcept override { return m_transitions.size(); }
    const Transition::Object &transition(std::size_t index) const override;
    Transition::Object &transition(std::size_t index);
    MTime duration() const noexcept override;
    bool hasGaps() const noexcept override;
    const Clip *findClip(ClipId id) const noexcept override;
    Clip *findClip(ClipId id) noexcept;
    int fileUses(const Media::File &file) const override;
    // The file was brought to the timeline but could not be placed because analysis failed.
    void noteFailedFile(const Media::File &file);

    Track &addTrack(TrackType type);
    // Throws std::out_of_range for an index past the end.
    Track &insertTrack(int index, TrackType type);
    // Removes the track with its clips and their transitions.
    void removeTrack(int index);

    // Puts a piece of `file` on a track the way a drop does: a drop inside a clip lands where
    // that clip ends, and the clips after the drop move right just as far as the new clip needs.
    // The clip's kind follows the track (picture tracks take clips, sound tracks sound). Throws
    // std::out_of_range for a bad track, std::invalid_argument for a null file, a negative
    // position or a title track.
    Clip &insertClip(int trackIndex, MTime position, std::shared_ptr<Media::File> file);
    // Puts a clip exactly where its position says. Throws std::invalid_argument when it would
    // overlap a clip of that track, has a negative position or no length, or `id` is taken. With
    // `id` 0 the clip gets the next free identifier; a project being read gives the one it had.
    Clip &placeClip(int trackIndex, std::unique_ptr<Clip> clip, ClipId id = 0);
    // Removes the clip and every transition that touches it. Returns false for an unknown id.
    bool removeClip(ClipId id);
    // Removes the clip as removeClip does and closes its place: the clips after it on its track
    // move left by its length, their transitions with them.
    bool rippleRemoveClip(ClipId id);

    // Links a transition to its clips (either may be 0 at a track's open end, not both); both
    // must be on one track. Throws std::invalid_argument otherwise.
    Transition::Object &
    addTransition(std::unique_ptr<Transition::Object> transition, ClipId left, ClipId right);
    void removeTransition(std::size_t index);

    // The track a clip of this timeline is on; -1 when the id is unknown.
    int trackOf(ClipId id) const noexcept;

    // The editing commands of the timeline panel. Each throws std::invalid_argument for an
    // unknown clip.

    // Plays the clip at `speed` (1 is normal), its length following so the same source plays.
    // A speed the clip cannot take is brought back into range: from minSpeed to maxSpeed, and
    // no slower than lets the clip end before the next clip of its track starts. Returns the
    // speed applied.
    static constexpr double minSpeed = 0.01;
    static constexpr double maxSpeed = 100.0;
    double setClipSpeed(ClipId id, double speed, bool compensated);
    // Gives the clip a new length on the timeline (at least one millisecond); the clips after it
    // on its track move by the difference, so nothing overlaps and no gap opens.
    void setClipLength(ClipId id, MTime length);
    // Cuts the clip in two at `at`, which must lie strictly inside it. The right part is a new
    // clip with the same content whose source starts where the left part stops; transitions at
    // the clip's end move to it. Returns the right part.
    Clip &splitClip(ClipId id, MTime at);
    // Moves the clip to `position` on a track of its own type; the transitions that joined it to
    // its old neighbours go. Throws std::invalid_argument when it would overlap another clip,
    // leave the timeline or change track type; nothing changes then.
    Clip &moveClip(ClipId id, int trackIndex, MTime position);
    // Keeps the part of the clip from `start` to `end` (within it, at least a millisecond): the
    // source moves with the start, fades shrink to fit, and a transition on an end that no
    // longer meets its neighbour goes. Throws std::invalid_argument otherwise.
    void trimClip(ClipId id, MTime start, MTime end);
    // The clip of a track under `at` (start included, end excluded); null when there is none.
    Clip *clipAt(int trackIndex, MTime at) noexcept;

private:
    Track &checkedTrack(int index) const;
    Clip &adopt(Track &track, std::unique_ptr<Clip> clip, ClipId id = 0);
    // Every edit that can open or close a gap forgets the last answer.
    void edited() noexcept { m_gaps.reset(); }
    void dropTransitionsOf(const IClip *clip);
    void forgetUse(const Clip &clip);

    std::vector<std::unique_ptr<Track>> m_tracks;
    std::vector<std::unique_ptr<Transition::Object>> m_transitions;
    std::unordered_map<ClipId, Clip *> m_clipsById;
    QHash<QString, int> m_failedUses;
    // Clips per file path, kept as clips come and go: asking per file must not walk every clip,
    // or an import of many files would cost the square of their number. A file's path is
    // settled before it reaches a timeline (analysis keeps the requested path, a project file
    // resolves its paths while reading).
    QHash<QString, int> m_clipUses;
    ClipId m_nextId = 1;
    // The gap query's answer since the last edit: every export click asks it, and over a long
    // timeline it costs a walk of its own.
    mutable std::optional<bool> m_gaps;
};

} // namespace Timeline
