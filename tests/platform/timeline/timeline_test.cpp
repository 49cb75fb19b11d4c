#include "mediamodel/mediafile.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using namespace Timeline;

std::shared_ptr<Media::File> video(const char *path, std::int64_t ms)
{
    auto file = std::make_shared<Media::File>(QString::fromLatin1(path));
    file->duration = MTime::fromMSec(ms);
    file->videoTracks.emplace_back();
    return file;
}

std::shared_ptr<Media::File> photo(const char *path)
{
    auto file = std::make_shared<Media::File>(QString::fromLatin1(path));
    Media::VideoTrack still;
    still.stillImage = true;
    file->videoTracks.push_back(still);
    return file;
}

// (position, length) of every clip of a track, in track order.
std::vector<std::pair<std::int64_t, std::int64_t>> layout(const Track &track)
{
    std::vector<std::pair<std::int64_t, std::int64_t>> result;
    for (const auto &clip : track.clips())
        result.emplace_back(clip->position().toMSec(), clip->duration().toMSec());
    return result;
}

class TimelineModel : public ::testing::Test {
protected:
    TimelineModel()
    {
        timeline.addTrack(TrackType::Video);
        timeline.addTrack(TrackType::Audio);
        timeline.addTrack(TrackType::Title);
    }
    Model timeline;
};

TEST_F(TimelineModel, a_clip_takes_the_files_length_or_the_still_length_and_the_tracks_type)
{
    const Clip &clip = timeline.insertClip(0, MTime::fromMSec(500), video("a.mp4", 3000));
    EXPECT_EQ(clip.position().toMSec(), 500);
    EXPECT_EQ(clip.duration().toMSec(), 3000);
    EXPECT_EQ(clip.type(), ClipType::Video);
    EXPECT_EQ(clip.kind(), ClipKind::Clip);
    EXPECT_FALSE(clip.isImageClip());
    EXPECT_NE(clip.id(), 0u);
    EXPECT_EQ(timeline.findClip(clip.id()), &clip);

    const Clip &sound = timeline.insertClip(1, MTime(), video("b.mp4", 1000));
    EXPECT_EQ(sound.type(), ClipType::Audio);
    EXPECT_EQ(sound.kind(), ClipKind::Audio);

    const Clip &still = timeline.insertClip(0, clip.end(), photo("p.jpg"));
    EXPECT_TRUE(still.isImageClip());
    EXPECT_EQ(still.duration(), Model::defaultStillDuration);
}

TEST_F(TimelineModel, a_drop_inside_a_clip_lands_after_it_and_pushes_only_what_it_must)
{
    timeline.insertClip(0, MTime(), video("a.mp4", 4000)); // 0..4000
    timeline.insertClip(0, MTime::fromMSec(5000), video("b.mp4", 1000)); // 5000..6000
    timeline.insertClip(0, MTime::fromMSec(10000), video("c.mp4", 1000)); // 10000..11000
    // Dropped at 1000, inside the first clip: lands at 4000 and reaches 6000, so the clip at
    // 5000 must move 1000 ms; every later clip moves as much, keeping the edit's rhythm.
    timeline.insertClip(0, MTime::fromMSec(1000), video("d.mp4", 2000));
    EXPECT_EQ(layout(timeline.track(0)),
              (std::vector<std::pair<std::int64_t, std::int64_t>> {
                  { 0, 4000 }, { 4000, 2000 }, { 6000, 1000 }, { 11000, 1000 } }));
}

TEST_F(TimelineModel, a_drop_into_a_wide_gap_moves_nothing)
{
    timeline.insertClip(0, MTime::fromMSec(10000), video("a.mp4", 1000));
    timeline.insertClip(0, MTime::fromMSec(2000), video("b.mp4", 1000));
    EXPECT_EQ(
        layout(timeline.track(0)),
        (std::vector<std::pair<std::int64_t, std::int64_t>> { { 2000, 1000 }, { 10000, 1000 } }));
}

TEST_F(TimelineModel, bad_insertions_are_refused_without_changing_the_track)
{
    EXPECT_THROW(timeline.insertClip(7, MTime(), video("a.mp4", 1000)), std::out_of_range);
    EXPECT_THROW(timeline.insertClip(2, MTime(), video("a.mp4", 1000)), std::invalid_argument);
    EXPECT_THROW(timeline.insertClip(0, MTime(), nullptr), std::invalid_argument);
    EXPECT_THROW(timeline.insertClip(0, MTime::fromMSec(-1), video("a.mp4", 1000)),
                 std::invalid_argument);
    EXPECT_EQ(timeline.track(0).clipCount(), 0u);
}

TEST_F(TimelineModel, placing_refuses_overlaps_and_accepts_touching_clips)
{
    auto first = std::make_unique<Clip>(ClipKind::Title);
    first->setDuration(MTime::fromMSec(1000));
    timeline.placeClip(2, std::move(first));

    auto overlapping = std::make_unique<Clip>(ClipKind::Title);
    overlapping->setPosition(MTime::fromMSec(999));
    overlapping->setDuration(MTime::fromMSec(10));
    EXPECT_THROW(timeline.placeClip(2, std::move(overlapping)), std::invalid_argument);

    auto touching = std::make_unique<Clip>(ClipKind::Title);
    touching->setPosition(MTime::fromMSec(1000));
    touching->setDuration(MTime::fromMSec(10));
    EXPECT_NO_THROW(timeline.placeClip(2, std::move(touching)));
    EXPECT_EQ(timeline.track(2).clipCount(), 2u);
}

TEST_F(TimelineModel, duration_is_the_latest_end_of_any_track)
{
    EXPECT_EQ(timeline.duration(), MTime());
    timeline.insertClip(0, MTime(), video("a.mp4", 1000));
    timeline.insertClip(1, MTime::fromMSec(500), video("b.mp4", 1499));
    EXPECT_EQ(timeline.duration().toMSec(), 1999);
}

TEST_F(TimelineModel, gaps_are_empty_time_on_a_video_track)
{
    EXPECT_FALSE(timeline.hasGaps());
    timeline.insertClip(0, MTime(), video("a.mp4", 1000));
    timeline.insertClip(1, MTime::fromMSec(5000), video("b.mp4", 1000)); // sound may start late
    EXPECT_FALSE(timeline.hasGaps());
    Timeline::Clip &c = timeline.insertClip(0, MTime::fromMSec(3000), video("c.mp4", 1000));
    EXPECT_TRUE(timeline.hasGaps());
    // The answer is kept between edits: every edit, and nothing else, may change it.
    EXPECT_THROW(c.setPosition(MTime::fromMSec(1000)), std::logic_error);
    timeline.removeClip(c.id());
    EXPECT_FALSE(timeline.hasGaps());
}

TEST_F(TimelineModel, removing_a_clip_removes_its_transitions)
{
    const ClipId a = timeline.insertClip(0, MTime(), video("a.mp4", 1000)).id();
    const ClipId b = timeline.insertClip(0, MTime::fromMSec(1000), video("b.mp4", 1000)).id();
    const ClipId c = timeline.insertClip(0, MTime::fromMSec(2000), video("c.mp4", 1000)).id();
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, b);
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Wipe), b, c);
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Fade), 0, a);

    EXPECT_TRUE(timeline.removeClip(c));
    ASSERT_EQ(timeline.transitionCount(), 2u);
    EXPECT_EQ(timeline.transition(0).rightClip()->id(), b);
    EXPECT_FALSE(timeline.removeClip(c));
    EXPECT_EQ(timeline.findClip(c), nullptr);
}

// Three touching one-second clips a, b, c on the video track, joined by two transitions.
class TimelineEdits : public TimelineModel {
protected:
    TimelineEdits()
    {
        a = timeline.insertClip(0, MTime(), video("a.mp4", 1000)).id();
        b = timeline.insertClip(0, MTime::fromMSec(1000), video("b.mp4", 1000)).id();
        c = timeline.insertClip(0, MTime::fromMSec(2000), video("c.mp4", 1000)).id();
        timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve), a,
                               b);
        timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Wipe), b, c);
    }
    ClipId a = 0, b = 0, c = 0;
};

TEST_F(TimelineEdits, a_ripple_delete_closes_the_gap_and_keeps_the_later_transitions)
{
    EXPECT_TRUE(timeline.rippleRemoveClip(a));
    using Layout = decltype(layout(timeline.track(0)));
    EXPECT_EQ(layout(timeline.track(0)), (Layout { { 0, 1000 }, { 1000, 1000 } }));
    ASSERT_EQ(timeline.transitionCount(), 1u);
    EXPECT_EQ(timeline.transition(0).leftClip()->id(), b);
    EXPECT_FALSE(timeline.rippleRemoveClip(a));
}

TEST_F(TimelineEdits, a_move_is_refused_onto_a_clip_or_another_kind_of_track_and_changes_nothing)
{
    EXPECT_THROW(timeline.moveClip(a, 0, MTime::fromMSec(1500)), std::invalid_argument);
    EXPECT_THROW(timeline.moveClip(a, 1, MTime::fromMSec(5000)), std::invalid_argument);
    EXPECT_THROW(timeline.moveClip(a, 0, MTime::fromMSec(-1)), std::invalid_argument);
    EXPECT_EQ(timeline.transitionCount(), 2u);

    // Over its own old place is no overlap.
    const Clip &moved = timeline.moveClip(c, 0, MTime::fromMSec(2500));
    EXPECT_EQ(moved.id(), c);
    using Layout = decltype(layout(timeline.track(0)));
    EXPECT_EQ(layout(timeline.track(0)), (Layout { { 0, 1000 }, { 1000, 1000 }, { 2500, 1000 } }));
    ASSERT_EQ(timeline.transitionCount(), 1u) << "c no longer meets b";
    EXPECT_EQ(timeline.transition(0).rightClip()->id(), b);
}

TEST_F(TimelineEdits, a_trim_moves_the_source_with_the_start_and_drops_the_transitions_it_parts)
{
    timeline.trimClip(b, MTime::fromMSec(1200), MTime::fromMSec(2000));
    const Clip &clip = *timeline.findClip(b);
    EXPECT_EQ(clip.position().toMSec(), 1200);
    EXPECT_EQ(clip.duration().toMSec(), 800);
    EXPECT_EQ(clip.sourceIn().toMSec(), 200);
    ASSERT_EQ(timeline.transitionCount(), 1u) << "the end still meets c";
    EXPECT_EQ(timeline.transition(0).leftClip()->id(), b);

    EXPECT_THROW(timeline.trimClip(b, MTime::fromMSec(1100), MTime::fromMSec(2000)),
                 std::invalid_argument);
    EXPECT_THROW(timeline.trimClip(b, MTime::fromMSec(1500), MTime::fromMSec(1500)),
                 std::invalid_argument);
}

TEST_F(TimelineModel, a_transition_joins_clips_of_one_track)
{
    const ClipId a = timeline.insertClip(0, MTime(), video("a.mp4", 1000)).id();
    const ClipId s = timeline.insertClip(1, MTime(), video("s.mp4", 1000)).id();
    EXPECT_THROW(timeline.addTransition(
                     std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, s),
                 std::invalid_argument);
    EXPECT_THROW(timeline.addTransition(
                     std::make_unique<Transition::Object>(Transition::Id::Dissolve), 0, 0),
                 std::invalid_argument);
    EXPECT_THROW(timeline.addTransition(
                     std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, 999),
                 std::invalid_argument);
    EXPECT_EQ(timeline.transitionCount(), 0u);
}

TEST_F(TimelineModel, removing_a_track_forgets_its_clips)
{
    const ClipId a = timeline.insertClip(0, MTime(), video("a.mp4", 1000)).id();
    timeline.removeTrack(0);
    EXPECT_EQ(timeline.findClip(a), nullptr);
    EXPECT_EQ(timeline.trackCount(), 2);
    EXPECT_EQ(timeline.trackCount(TrackType::Video), 0);
    EXPECT_EQ(timeline.trackCount(TrackType::Audio), 1);
}

TEST_F(TimelineModel, file_uses_count_clips_by_path_and_failed_arrivals)
{
    const auto file = video("/media/a.mp4", 1000);
    EXPECT_EQ(timeline.fileUses(*file), 0);
    const Clip &first = timeline.insertClip(0, MTime(), file);
    // Another analysis of the same path is another object; it is still the same file.
    timeline.insertClip(1, MTime(), video("/media/a.mp4", 1000));
    EXPECT_EQ(timeline.fileUses(*file), 2);
    timeline.noteFailedFile(*video("/media/a.mp4", 0));
    EXPECT_EQ(timeline.fileUses(*file), 3);
    timeline.removeClip(first.id());
    EXPECT_EQ(timeline.fileUses(*file), 2);
    EXPECT_EQ(timeline.fileUses(*video("/media/b.mp4", 1000)), 0);
}

TEST(TransitionSound, comes_from_audio_resources_or_video_files_with_sound)
{
    Transition::Object transition(Transition::Id::ShaderISF);
    transition.addResource({ Transition::ResourceType::Shader, nullptr, "shader-1" });
    EXPECT_FALSE(transition.hasAudioResources());

    auto silent = std::make_shared<Media::File>("silent.mp4");
    transition.addResource({ Transition::ResourceType::Video, silent, {} });
    EXPECT_FALSE(transition.hasAudioResources());

    auto loud = std::make_shared<Media::File>("loud.mp4");
    loud->audioTracks.emplace_back();
    transition.addResource({ Transition::ResourceType::Video, loud, {} });
    EXPECT_TRUE(transition.hasAudioResources());
    EXPECT_TRUE(transition.copy()->hasAudioResources());
}

TEST(ClipCopy, carries_effects_as_independent_values)
{
    Clip clip(ClipKind::Clip);
    clip.addEffect(Effect::Crop()).left = 0.2;
    const auto copy = clip.copy();
    ASSERT_EQ(copy->effects().size(), 1u);
    EXPECT_TRUE(*copy->effects()[0] == *clip.effects()[0]);
    EXPECT_NE(copy->effects()[0].get(), clip.effects()[0].get());
    EXPECT_THROW(clip.setSpeed(0.0), std::invalid_argument);
}

} // namespace
