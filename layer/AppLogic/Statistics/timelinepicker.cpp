#include "Statistics/timelinepicker.h"

#include "media/mediafile.h"
#include "project/project.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"

namespace Statistics {

ITimelinePicker::~ITimelinePicker() = default;
void ITimelinePicker::pick(const Transition::Object &) {}
void ITimelinePicker::pick(const Timeline::IClip &) {}

void walkTimeline(const Timeline::ITimeline &timeline, const Pickers &pickers)
{
    for (int t = 0, tracks = timeline.trackCount(); t < tracks; ++t) {
        const Timeline::ITrack &track = timeline.track(t);
        for (std::size_t c = 0, clips = track.clipCount(); c < clips; ++c) {
            const Timeline::IClip &clip = track.clip(c);
            for (const auto &picker : pickers)
                picker->pick(clip);
        }
    }
    for (std::size_t i = 0, n = timeline.transitionCount(); i < n; ++i) {
        const Transition::Object &transition = timeline.transition(i);
        for (const auto &picker : pickers)
            picker->pick(transition);
    }
}

void ClipCountPicker::pick(const Timeline::IClip &)
{
    ++m_count;
}

void TransitionCountPicker::pick(const Transition::Object &)
{
    ++m_count;
}

void FileCountPicker::pick(const Timeline::IClip &clip)
{
    const Media::File *file = clip.file().get();
    if (!file)
        return;
    switch (clip.type()) {
    case Timeline::ClipType::Video:
        (clip.isImageClip() ? m_photo : m_video).insert(file);
        break;
    case Timeline::ClipType::Audio:
        m_audio.insert(file);
        break;
    default:
        break;
    }
}

EffectsPicker::EffectsPicker(QSet<QString> loadedLuts, QHash<QString, bool> colorPresets)
    : m_loadedLuts(std::move(loadedLuts))
    , m_colorPresets(std::move(colorPresets))
{}

void EffectsPicker::pick(const Timeline::IClip &clip)
{
    for (const auto &effect : clip.effects()) {
        ++m_total;
        switch (effect->id()) {
        case Effect::Id::BackgroundRemove: {
            const int mode = static_cast<const Effect::BackgroundRemove &>(*effect).qualityMode;
            if (mode == Effect::BackgroundRemove::Quick)
                ++m_backgroundQuick;
            else if (mode == Effect::BackgroundRemove::Precise)
                ++m_backgroundPrecise;
            else
                ++m_byId[static_cast<int>(Effect::Id::BackgroundRemove)];
            break;
        }
        case Effect::Id::Lut: {
            const int suffix = m_loadedLuts.contains(effect->uniqueId()) ? Loaded : NoSuffix;
            ++m_named[qMakePair(effect->name(), suffix)];
            break;
        }
        case Effect::Id::ManualEnhance: {
            const auto preset = m_colorPresets.constFind(effect->uniqueId());
            const int suffix = preset == m_colorPresets.constEnd() ? NoSuffix : *preset ? Saved : Preset;
            ++m_named[qMakePair(effect->name(), suffix)];
            break;
        }
        default: {
            const int index = static_cast<int>(effect->id());
            if (index >= 0 && index < Effect::idCount)
                ++m_byId[index];
            break;
        }
        }
    }
}

std::map<std::string, std::uint64_t> EffectsPicker::counts() const
{
    std::map<std::string, std::uint64_t> counts;
    for (int i = 0; i < Effect::idCount; ++i) {
        if (m_byId[i])
            counts[std::string(Effect::idText(static_cast<Effect::Id>(i)))] += m_byId[i];
    }
    const std::string background(Effect::idText(Effect::Id::BackgroundRemove));
    if (m_backgroundQuick)
        counts[background + "_quick"] += m_backgroundQuick;
    if (m_backgroundPrecise)
        counts[background + "_precise"] += m_backgroundPrecise;
    static const char *const suffixes[] = {"", "_loaded", "_saved", "_preset"};
    for (auto it = m_named.cbegin(); it != m_named.cend(); ++it)
        counts[utf8(it.key().first) + suffixes[it.key().second]] += it.value();
    return counts;
}

void appendTimelineParams(Params &params, const Project::Object *project)
{
    if (!project)
        return;
    const Timeline::ITimeline &timeline = project->timeline();
    const auto clips = std::make_shared<ClipCountPicker>();
    const auto transitions = std::make_shared<TransitionCountPicker>();
    const auto effects = std::make_shared<EffectsPicker>(project->effectLibrary().loadedLuts,
                                                         project->effectLibrary().colorPresets);
    walkTimeline(timeline, {clips, transitions, effects});

    params["TIMELINE_DURATION_S"] = seconds(timeline.duration());
    params["TIMELINE_CLIPS_COUNT"] = decimal(clips->count());
    params["TIMELINE_TRANSITIONS_COUNT"] = decimal(transitions->count());
    params["TIMELINE_EFFECTS_COUNT"] = decimal(effects->total());
    params["TIMELINE_VIDEO_TRACKS_COUNT"] = decimal(timeline.trackCount(Timeline::TrackType::Video));
    params["TIMELINE_AUDIO_TRACKS_COUNT"] = decimal(timeline.trackCount(Timeline::TrackType::Audio));
    params["TIMELINE_TITLES_TRACKS_COUNT"] = decimal(timeline.trackCount(Timeline::TrackType::Title));
    params["TIMELINE_ALL_TRACKS_COUNT"] = decimal(timeline.trackCount());
    params["USER_COLLECTION_ITEMS_COUNT"] = decimal(static_cast<std::uint64_t>(project->userFiles().count()));
}

} // namespace Statistics
