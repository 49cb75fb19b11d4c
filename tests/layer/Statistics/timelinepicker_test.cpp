#include "Statistics/timelinepicker.h"

#include "trackedevents.h"

#include "project/project.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

namespace {

using namespace StatisticsTest;
using Timeline::TrackType;

class TimelineCensus : public ::testing::Test {
protected:
    TimelineCensus()
    {
        timeline.addTrack(TrackType::Video); // 0
        timeline.addTrack(TrackType::Audio); // 1
        timeline.addTrack(TrackType::Overlay); // 2
        timeline.addTrack(TrackType::Title); // 3
    }

    Timeline::Clip &clipWith(std::unique_ptr<Effect::Object> effect)
    {
        Timeline::Clip &clip = timeline.insertClip(0, timeline.track(0).end(), videoFile("fx.mp4"));
        clip.addEffect(std::move(effect));
        return clip;
    }

    std::map<std::string, std::uint64_t> effectNames(QSet<QString> luts = {},
                                                     QHash<QString, bool> presets = {})
    {
        const auto picker = std::make_shared<Statistics::EffectsPicker>(luts, presets);
        Statistics::walkTimeline(timeline, { picker });
        // The names are asked for after the effects are gone: nothing is read from them later.
        timeline.removeTrack(0);
        return picker->counts();
    }

    Timeline::Model timeline;
};

// The walk offers a picker only the clips like those it looks at: none may miss one it counts.
TEST_F(TimelineCensus, one_walk_hands_every_clip_and_transition_to_every_picker)
{
    const auto a = timeline.insertClip(0, MTime(), videoFile("a.mp4")).id();
    const auto b = timeline.insertClip(0, MTime::fromMSec(4000), videoFile("b.mp4")).id();
    timeline.insertClip(1, MTime(), soundFile("s.mp3"));
    auto title = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
    title->setDuration(MTime::fromMSec(100));
    title->setTitleItem(Timeline::TitleItem { Timeline::TitleItem::Title, "t", {} });
    timeline.placeClip(3, std::move(title));
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Dissolve), a, b);

    const auto clips1 = std::make_shared<Statistics::ClipCountPicker>();
    const auto titles = std::make_shared<Statistics::TitlesCountPicker>();
    const auto transitions = std::make_shared<Statistics::TransitionCountPicker>();
    const auto clips2 = std::make_shared<Statistics::ClipCountPicker>();
    Statistics::walkTimeline(timeline, { clips1, titles, transitions, clips2 });
    EXPECT_EQ(clips1->count(), 4u);
    EXPECT_EQ(clips2->count(), 4u);
    EXPECT_EQ(titles->titles(), 1u);
    EXPECT_EQ(transitions->count(), 1u);
}

TEST_F(TimelineCensus, files_count_once_per_kind_however_many_clips_use_them)
{
    const auto movie = videoFile("movie.mp4");
    timeline.insertClip(0, MTime(), movie);
    timeline.insertClip(0, MTime::fromMSec(10000), movie); // a second cut of the same file
    timeline.insertClip(0, MTime::fromMSec(20000), photoFile("a.jpg"));
    timeline.insertClip(0, MTime::fromMSec(30000), photoFile("b.jpg"));
    timeline.insertClip(1, MTime(), soundFile("song.mp3"));
    timeline.insertClip(1, MTime::fromMSec(5000), movie); // its sound, on an audio track
    timeline.insertClip(2, MTime(), videoFile("overlay.mp4")); // overlay clips are not counted
    auto title
        = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title); // nor clips without a file
    title->setDuration(MTime::fromMSec(100));
    timeline.placeClip(3, std::move(title));

    const auto files = std::make_shared<Statistics::FileCountPicker>();
    Statistics::walkTimeline(timeline, { files });
    EXPECT_EQ(files->videoCount(), 1u);
    EXPECT_EQ(files->photoCount(), 2u);
    EXPECT_EQ(files->audioCount(), 2u);
}

TEST_F(TimelineCensus, background_removal_is_named_by_its_quality)
{
    for (int mode : { 64, 128, 128, 256, 512 }) {
        auto effect = std::make_unique<Effect::BackgroundRemove>();
        effect->qualityMode = mode;
        clipWith(std::move(effect));
    }
    EXPECT_EQ(effectNames(),
              (std::map<std::string, std::uint64_t> { { "BackgroundRemove", 2 },
                                                      { "BackgroundRemove_quick", 2 },
                                                      { "BackgroundRemove_precise", 1 } }));
}

TEST_F(TimelineCensus, colour_tables_and_presets_say_where_they_came_from_and_every_effect_counts)
{
    const auto named = [](auto effect, const char *name, const char *id) {
        effect->setName(QString::fromLatin1(name));
        effect->setUniqueId(QString::fromLatin1(id));
        return effect;
    };
    clipWith(named(std::make_unique<Effect::Lut>(), "Film", "lut-film"));
    clipWith(named(std::make_unique<Effect::Lut>(), "Film", "lut-film"));
    clipWith(named(std::make_unique<Effect::Lut>(), "Teal", "lut-teal"));
    clipWith(named(std::make_unique<Effect::ManualEnhance>(), "Warm", "warm"));
    clipWith(named(std::make_unique<Effect::ManualEnhance>(), "Mine", "mine"));
    clipWith(named(std::make_unique<Effect::ManualEnhance>(), "Odd", "not-known"));
    Timeline::Clip &clip = clipWith(std::make_unique<Effect::Crop>());
    clip.addEffect(Effect::Crop {});
    clip.addEffect(Effect::ChromaKey {});

    EXPECT_EQ(effectNames({ "lut-film" }, { { "warm", false }, { "mine", true } }),
              (std::map<std::string, std::uint64_t> { { "Film_loaded", 2 },
                                                      { "Teal", 1 },
                                                      { "Warm_preset", 1 },
                                                      { "Mine_saved", 1 },
                                                      { "Odd", 1 },
                                                      { "Crop", 2 },
                                                      { "ChromaKey", 1 } }));
}

TEST(TimelineBlock, the_duration_drops_its_fraction)
{
    const auto project = Project::Object::createNew();
    project->timeline().insertClip(0, MTime(), videoFile("a.mp4", 1999));
    Params params;
    Statistics::appendTimelineParams(params, project.get());
    EXPECT_EQ(params["TIMELINE_DURATION_S"], "1");
}

TEST(TimelineBlock, an_empty_project_reports_zeros)
{
    Project::Object project;
    Params params;
    Statistics::appendTimelineParams(params, &project);
    EXPECT_EQ(params.size(), 9u);
    for (const auto &[key, value] : params)
        EXPECT_EQ(value, "0") << key;
}

} // namespace
