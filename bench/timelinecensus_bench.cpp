// The timeline census behind the project events: clip, transition, file and effect counts of a
// 100,000-clip timeline with 0-3 effects per clip, gathered by one walk feeding the four pickers.
// The export click's census walks the same timeline once with all eighteen of its pickers.
// Beside it: a bare loop that only touches the same clips (the floor), and four naive visitors
// that each walk the timeline and count effects in a std::map keyed by a name built per effect,
// the way one would write it first. The ratios are printed after the table.

#include "Messages/collection.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/motiontrackingstatistics.h"
#include "Statistics/timelinepicker.h"

#include "mediamodel/mediafile.h"
#include "pubsub/subscriber.h"
#include "timeline/audioeffects.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"

#include <QSet>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr int clipCount = 100'000;
constexpr int trackCount = 8;
constexpr int fileCount = 2'000;

std::unique_ptr<Effect::Object> makeEffect(int kind, int variant)
{
    switch (static_cast<Effect::Id>(kind)) {
    case Effect::Id::AudioEqualizer:
        return std::make_unique<Effect::AudioEqualizer>();
    case Effect::Id::ChromaKey:
        return std::make_unique<Effect::ChromaKey>();
    case Effect::Id::Mask:
        return std::make_unique<Effect::Mask>();
    case Effect::Id::Crop:
        return std::make_unique<Effect::Crop>();
    case Effect::Id::ManualEnhance: {
        auto e = std::make_unique<Effect::ManualEnhance>();
        e->setName(QStringLiteral("Preset %1").arg(variant % 8));
        e->setUniqueId(QStringLiteral("preset-%1").arg(variant % 8));
        return e;
    }
    case Effect::Id::AudioReverb:
        return std::make_unique<Effect::AudioReverb>();
    case Effect::Id::AudioCompressor:
        return std::make_unique<Effect::AudioCompressor>();
    case Effect::Id::AudioNoiseGate:
        return std::make_unique<Effect::AudioNoiseGate>();
    case Effect::Id::AudioMonoChannel:
        return std::make_unique<Effect::AudioMonoChannel>();
    case Effect::Id::BackgroundRemove: {
        auto e = std::make_unique<Effect::BackgroundRemove>();
        e->qualityMode = variant % 3 == 0 ? 64 : variant % 3 == 1 ? 128 : 256;
        return e;
    }
    case Effect::Id::Lut: {
        auto e = std::make_unique<Effect::Lut>();
        e->setName(QStringLiteral("Table %1").arg(variant % 12));
        e->setUniqueId(QStringLiteral("lut-%1").arg(variant % 12));
        return e;
    }
    }
    return nullptr;
}

struct Fixture {
    Fixture()
    {
        std::mt19937 random(20240601);
        std::vector<std::shared_ptr<Media::File>> files;
        for (int i = 0; i < fileCount; ++i) {
            auto file = std::make_shared<Media::File>(QStringLiteral("/media/file-%1.mp4").arg(i));
            Media::VideoTrack video;
            video.stillImage = i % 5 == 0;
            file->videoTracks.push_back(video);
            files.push_back(std::move(file));
        }
        for (int t = 0; t < trackCount; ++t)
            timeline.addTrack(t < 6 ? Timeline::TrackType::Video : Timeline::TrackType::Audio);
        std::vector<MTime> ends(trackCount);
        for (int i = 0; i < clipCount; ++i) {
            const int t = i % trackCount;
            auto clip = std::make_unique<Timeline::Clip>(t < 6 ? Timeline::ClipKind::Clip
                                                               : Timeline::ClipKind::Audio,
                                                         files[random() % fileCount]);
            clip->setPosition(ends[t]);
            clip->setDuration(MTime::fromMSec(1000 + random() % 4000));
            ends[t] = clip->end();
            const int effects = static_cast<int>(random() % 4);
            for (int e = 0; e < effects; ++e)
                clip->addEffect(makeEffect(static_cast<int>(random() % Effect::idCount),
                                           static_cast<int>(random())));
            // Some of what the export census looks for: store content, speed changes,
            // stabilised clips; the four-picker census does not read these.
            if (i % 20 == 0)
                clip->setResourceId(QStringLiteral("store-%1").arg(i % 1000));
            if (i % 50 == 0)
                clip->setSpeed(i % 100 == 0 ? 1.5 : 0.5, i % 200 == 0);
            if (i % 97 == 0)
                clip->setStabilized(true);
            timeline.placeClip(t, std::move(clip));
        }
        // A transition between every tenth pair of neighbours.
        for (int t = 0; t < trackCount; ++t) {
            const Timeline::Track &track = timeline.track(t);
            for (std::size_t c = 1; c < track.clipCount(); c += 10) {
                timeline.addTransition(
                    std::make_unique<Transition::Object>(Transition::Id::Dissolve),
                    track.clip(c - 1).id(), track.clip(c).id());
            }
        }
        for (int i = 0; i < 12; i += 2)
            loadedLuts.insert(QStringLiteral("lut-%1").arg(i));
        for (int i = 0; i < 8; ++i)
            colorPresets.insert(QStringLiteral("preset-%1").arg(i), i % 2 == 0);
    }

    Timeline::Model timeline;
    QSet<QString> loadedLuts;
    QHash<QString, bool> colorPresets;
};

const Fixture &fixture()
{
    static const Fixture f;
    return f;
}

// The export click's census: every picker of the export report, one walk, the parameter map
// built, through the reporter the editor uses (its tracker has no sink, so nothing is stored).
void BM_ExportCensus(benchmark::State &state)
{
    const Fixture &f = fixture();
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker(
        new Vantel::Tracking::GeneralVantelTracker("bench"));
    Statistics::MotionTrackingStatistics motionTracking(tracker);
    Statistics::ExportStatistics reporter(tracker, &motionTracking, {}, false);
    const auto pack = std::make_shared<Import::Object>();
    pack->mimeType = Import::Object::MIME;
    pack->kind = Import::Object::Media;
    for (int i = 0; i < 1000; ++i) {
        EditorCollection::Item item;
        item.key = QStringLiteral("store-%1").arg(i);
        item.name = QStringLiteral("Item %1").arg(i % 40);
        item.kind = static_cast<EditorCollection::ItemKind>(i % EditorCollection::itemKindCount);
        item.importObject = pack;
        PubSub::publish(EditorCollection::RegisterItemNotification(item));
    }
    std::size_t keys = 0;
    for (auto _ : state) {
        const Statistics::Params params
            = reporter.census(&f.timeline, Export::ExportRange(), false);
        keys = params.size();
        benchmark::DoNotOptimize(keys);
    }
    state.counters["clips"] = clipCount;
    state.counters["keys"] = static_cast<double>(keys);
}

// The four counting pickers, effects named (as the naive visitors do; /1) or counted by kind
// (as the project events do; /0).
void BM_CensusOneWalk(benchmark::State &state)
{
    const Fixture &f = fixture();
    const auto detail
        = state.range(0) ? Statistics::EffectsPicker::Names : Statistics::EffectsPicker::KindsOnly;
    for (auto _ : state) {
        const auto clips = std::make_shared<Statistics::ClipCountPicker>();
        const auto transitions = std::make_shared<Statistics::TransitionCountPicker>();
        const auto files = std::make_shared<Statistics::FileCountPicker>();
        const auto effects
            = std::make_shared<Statistics::EffectsPicker>(f.loadedLuts, f.colorPresets, detail);
        Statistics::walkTimeline(f.timeline, { clips, transitions, files, effects });
        const auto names = effects->counts();
        benchmark::DoNotOptimize(clips->count() + transitions->count() + files->videoCount()
                                 + names.size() + effects->total());
    }
    state.counters["clips"] = clipCount;
}

// The floor: visiting the same clips and their effect lists, doing nothing with them.
void BM_BareLoop(benchmark::State &state)
{
    const Fixture &f = fixture();
    for (auto _ : state) {
        std::uintptr_t touched = 0;
        for (int t = 0; t < f.timeline.trackCount(); ++t) {
            const Timeline::ITrack &track = f.timeline.track(t);
            for (std::size_t c = 0; c < track.clipCount(); ++c) {
                const Timeline::IClip &clip = track.clip(c);
                touched
                    += reinterpret_cast<std::uintptr_t>(clip.file().get()) + clip.effects().size();
            }
        }
        for (std::size_t i = 0; i < f.timeline.transitionCount(); ++i)
            touched += reinterpret_cast<std::uintptr_t>(&f.timeline.transition(i));
        benchmark::DoNotOptimize(touched);
    }
}

// What one writes first: a visitor per figure, each walking the timeline, files by path and
// effects by a name string built for every effect.
class NaiveVisitor {
public:
    virtual ~NaiveVisitor() = default;
    virtual void visit(const Timeline::IClip &) { }
    virtual void visit(const Transition::Object &) { }

    void walk(const Timeline::ITimeline &timeline)
    {
        for (int t = 0; t < timeline.trackCount(); ++t) {
            for (std::size_t c = 0; c < timeline.track(t).clipCount(); ++c)
                visit(timeline.track(t).clip(c));
        }
        for (std::size_t i = 0; i < timeline.transitionCount(); ++i)
            visit(timeline.transition(i));
    }
};

struct NaiveClips : NaiveVisitor {
    void visit(const Timeline::IClip &) override { ++count; }
    std::uint64_t count = 0;
};

struct NaiveTransitions : NaiveVisitor {
    void visit(const Transition::Object &) override { ++count; }
    std::uint64_t count = 0;
};

struct NaiveFiles : NaiveVisitor {
    void visit(const Timeline::IClip &clip) override
    {
        if (!clip.file())
            return;
        if (clip.type() == Timeline::ClipType::Video)
            (clip.isImageClip() ? photos : videos).insert(clip.file()->path);
        else if (clip.type() == Timeline::ClipType::Audio)
            audios.insert(clip.file()->path);
    }
    std::set<QString> videos, photos, audios;
};

struct NaiveEffects : NaiveVisitor {
    NaiveEffects(const QSet<QString> &luts, const QHash<QString, bool> &presets)
        : luts(luts)
        , presets(presets)
    {
    }
    void visit(const Timeline::IClip &clip) override
    {
        for (const auto &effect : clip.effects()) {
            std::string name;
            switch (effect->id()) {
            case Effect::Id::BackgroundRemove: {
                const int mode = static_cast<const Effect::BackgroundRemove &>(*effect).qualityMode;
                name = std::string(Effect::idText(effect->id()))
                    + (mode == 128       ? "_quick"
                           : mode == 256 ? "_precise"
                                         : "");
                break;
            }
            case Effect::Id::Lut:
                name = effect->name().toStdString()
                    + (luts.contains(effect->uniqueId()) ? "_loaded" : "");
                break;
            case Effect::Id::ManualEnhance: {
                const auto it = presets.find(effect->uniqueId());
                name = effect->name().toStdString()
                    + (it == presets.end() ? ""
                           : *it           ? "_saved"
                                           : "_preset");
                break;
            }
            default:
                name = std::string(Effect::idText(effect->id()));
            }
            ++counts[name];
        }
    }
    const QSet<QString> &luts;
    const QHash<QString, bool> &presets;
    std::map<std::string, std::uint64_t> counts;
};

void BM_FourNaiveVisitors(benchmark::State &state)
{
    const Fixture &f = fixture();
    for (auto _ : state) {
        NaiveClips clips;
        NaiveTransitions transitions;
        NaiveFiles files;
        NaiveEffects effects(f.loadedLuts, f.colorPresets);
        for (NaiveVisitor *visitor :
             std::initializer_list<NaiveVisitor *> { &clips, &transitions, &files, &effects })
            visitor->walk(f.timeline);
        benchmark::DoNotOptimize(clips.count + transitions.count + files.videos.size()
                                 + effects.counts.size());
    }
}

BENCHMARK(BM_ExportCensus)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CensusOneWalk)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FourNaiveVisitors)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's median (or its only run) and prints the census beside the others.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            std::string name = run.run_name.function_name;
            if (!run.run_name.args.empty())
                name += "/" + run.run_name.args;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median")
                continue;
            if (run.run_type == Run::RT_Aggregate || !medians.count(name))
                medians[name] = run.GetAdjustedRealTime();
        }
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const double census = medians["BM_CensusOneWalk/1"];
        if (census <= 0)
            return;
        std::printf("\ncensus one walk, effects named: %.2f ms\n", census);
        if (const double bare = medians["BM_BareLoop"])
            std::printf("census / bare loop:           %.2f\n", census / bare);
        if (const double naive = medians["BM_FourNaiveVisitors"])
            std::printf("four naive visitors / census: %.2f\n", naive / census);
        if (const double exportCensus = medians["BM_ExportCensus"]) {
            std::printf("\nexport census one walk: %.2f ms\n", exportCensus);
            if (const double bare = medians["BM_BareLoop"])
                std::printf("export census / bare loop:    %.2f\n", exportCensus / bare);
            if (const double counted = medians["BM_CensusOneWalk/0"]) {
                std::printf("project census (effects counted): %.2f ms\n", counted);
                std::printf("export census / project census:   %.2f\n", exportCensus / counted);
            }
        }
    }

private:
    std::map<std::string, double> medians;
};

} // namespace

int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    fixture(); // built once, outside every measurement
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
