#include "Statistics/timelinepicker.h"

#include "mediamodel/mediafile.h"
#include "project/project.h"
#include "resource/resourcecontroller.h"
#include "resource/samplecatalogue.h"
#include "timeline/timeline.h"
#include "timeline/videoeffects.h"

#include <algorithm>
#include <iterator>

namespace Statistics {

ITimelinePicker::~ITimelinePicker() = default;
void ITimelinePicker::pick(const Transition::Object &) { }
void ITimelinePicker::pick(const Timeline::IClip &) { }

void walkTimeline(const Timeline::ITimeline &timeline, const Pickers &pickers)
{
    // Clips live wherever they were allocated; asking for the two cache lines of the one a few
    // steps ahead lets its memory arrive while the pickers work on this one. The two lines hold
    // what a census reads of a clip (see Timeline::Clip).
    constexpr std::size_t ahead = 12;
    std::vector<ITimelinePicker *> everyClip;
    std::vector<ITimelinePicker *> someClips; // offered only clips with traits they look for
    Timeline::ClipTraits looked = 0;
    std::vector<ITimelinePicker *> forTransitions;
    for (const auto &picker : pickers) {
        if (picker && picker->wantsClips()) {
            (picker->clipsLike() ? someClips : everyClip).push_back(picker.get());
            looked |= picker->clipsLike();
        }
        if (picker && picker->wantsTransitions())
            forTransitions.push_back(picker.get());
    }
    for (int t = 0, tracks = timeline.trackCount(); t < tracks; ++t) {
        const Timeline::ITrack &track = timeline.track(t);
        for (std::size_t c = 0, clips = track.clipCount(); c < clips; ++c) {
            if (c + ahead < clips) {
                const auto *next = reinterpret_cast<const char *>(&track.clip(c + ahead));
                __builtin_prefetch(next);
                __builtin_prefetch(next + 64);
            }
            const Timeline::IClip &clip = track.clip(c);
            for (ITimelinePicker *picker : everyClip) {
                if (picker->wantsClips())
                    picker->pick(clip);
            }
            // One call for the clip's traits; most clips have none of those looked for.
            if (looked == 0)
                continue;
            const Timeline::ClipTraits traits = clip.traits();
            if (!(traits & looked))
                continue;
            for (ITimelinePicker *picker : someClips) {
                if ((traits & picker->clipsLike()) && picker->wantsClips())
                    picker->pick(clip);
            }
        }
    }
    // Transitions are visited after every clip, so the clips they link have left the cache: the
    // transition a few steps ahead is fetched, and its clips once it has arrived.
    for (std::size_t i = 0, n = timeline.transitionCount(); i < n; ++i) {
        if (i + 2 * ahead < n)
            __builtin_prefetch(&timeline.transition(i + 2 * ahead));
        if (i + ahead < n) {
            const Transition::Object &next = timeline.transition(i + ahead);
            __builtin_prefetch(next.leftClip());
            __builtin_prefetch(next.rightClip());
        }
        const Transition::Object &transition = timeline.transition(i);
        for (ITimelinePicker *picker : forTransitions)
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

EffectsPicker::EffectsPicker(QSet<QString> loadedLuts,
                             QHash<QString, bool> colorPresets,
                             Detail detail)
    : ITimelinePicker(Clips, Timeline::Trait::HasEffects)
    , m_loadedLuts(std::move(loadedLuts))
    , m_colorPresets(std::move(colorPresets))
    , m_detail(detail)
{
}

void EffectsPicker::pick(const Timeline::IClip &clip)
{
    const Timeline::EffectList &effects = clip.effects();
    m_total += effects.size();
    // The kind travels with the handle, so most effects are counted without touching them.
    for (const Effect::Handle &effect : effects) {
        const auto kind = static_cast<std::size_t>(effect.id());
        if (kind >= m_uses.size())
            continue;
        ++m_uses[kind];
        if (m_detail == KindsOnly)
            continue;
        switch (effect.id()) {
        case Effect::Id::BackgroundRemove:
        case Effect::Id::Lut:
        case Effect::Id::ManualEnhance:
            pickNamed(effect.id(), *effect);
            break;
        default:
            ++m_byId[kind];
            break;
        }
    }
}

void EffectsPicker::pickNamed(Effect::Id kind, const Effect::Object &effect)
{
    if (kind == Effect::Id::BackgroundRemove) {
        const int mode = static_cast<const Effect::BackgroundRemove &>(effect).qualityMode;
        if (mode == Effect::BackgroundRemove::Quick)
            ++m_backgroundQuick;
        else if (mode == Effect::BackgroundRemove::Precise)
            ++m_backgroundPrecise;
        else
            ++m_byId[static_cast<std::size_t>(kind)];
        return;
    }
    // The name as stored, by reference: only a name not seen yet is copied.
    const QString &ownName = kind == Effect::Id::Lut
        ? static_cast<const Effect::Lut &>(effect).ownName()
        : static_cast<const Effect::ManualEnhance &>(effect).ownName();
    std::vector<NamedUse> &uses = m_named[effect.uniqueId()];
    const auto use = std::find_if(uses.begin(), uses.end(), [&](const NamedUse &u) {
        return u.kind == kind && u.name == ownName;
    });
    if (use != uses.end())
        ++use->count;
    else
        uses.push_back({ kind, ownName, 1 });
}

std::map<std::string, std::uint64_t> EffectsPicker::counts() const
{
    std::map<std::string, std::uint64_t> counts;
    if (m_detail == KindsOnly)
        return counts;
    for (int i = 0; i < Effect::idCount; ++i) {
        if (m_byId[i])
            counts[std::string(Effect::idText(static_cast<Effect::Id>(i)))] += m_byId[i];
    }
    const std::string background(Effect::idText(Effect::Id::BackgroundRemove));
    if (m_backgroundQuick)
        counts[background + "_quick"] += m_backgroundQuick;
    if (m_backgroundPrecise)
        counts[background + "_precise"] += m_backgroundPrecise;
    for (auto it = m_named.cbegin(); it != m_named.cend(); ++it) {
        const QString &id = it.key();
        for (const NamedUse &use : it.value()) {
            const char *suffix = "";
            if (use.kind == Effect::Id::Lut) {
                suffix = m_loadedLuts.contains(id) ? "_loaded" : "";
            } else {
                const auto preset = m_colorPresets.constFind(id);
                suffix = preset == m_colorPresets.constEnd() ? "" : *preset ? "_saved" : "_preset";
            }
            // A table or preset without a name of its own is reported by its kind.
            const std::string name
                = use.name.isEmpty() ? std::string(Effect::idText(use.kind)) : utf8(use.name);
            counts[name + suffix] += use.count;
        }
    }
    return counts;
}

void AnimationPicker::pick(const Timeline::IClip &clip)
{
    if (clip.isAnimated()) {
        m_found = true;
        stopClips();
    }
}

FastTrackFilesPicker::FastTrackFilesPicker(const Resource::Controller *resources)
    : ITimelinePicker(Clips, Timeline::Trait::FromResource)
    , m_resources(resources)
{
}

void FastTrackFilesPicker::pick(const Timeline::IClip &clip)
{
    if (!m_resources || clip.kind() != Timeline::ClipKind::Clip || !clip.hasResource()
        || !clip.file())
        return;
    if (m_resources->hasRedirectFrom(clip.resourceId()))
        m_paths.insert(clip.file()->path);
}

void IntrosCountPicker::pick(const Timeline::IClip &clip)
{
    m_count += clip.kind() == Timeline::ClipKind::Intro;
}

void OverlayStickersPicker::pick(const Timeline::IClip &clip)
{
    if (clip.kind() == Timeline::ClipKind::Clip && clip.hasContent()
        && clip.contentId() == QLatin1String(Timeline::specialEffectsContentId))
        ++m_count;
}

void PipTransitionCountPicker::pick(const Transition::Object &transition)
{
    const Timeline::IClip *clip
        = transition.leftClip() ? transition.leftClip() : transition.rightClip();
    m_count += clip && clip->type() == Timeline::TrackType::Overlay;
}

void SpeedCompensationPicker::pick(const Timeline::IClip &clip)
{
    if (clip.isSpeedCompensated()) {
        m_found = true;
        stopClips();
    }
}

void StabilizePicker::pick(const Timeline::IClip &clip)
{
    if (clip.isStabilized()) {
        m_found = true;
        stopClips();
    }
}

void TitlesCountPicker::pick(const Timeline::IClip &clip)
{
    if (clip.kind() != Timeline::ClipKind::Title)
        return;
    const auto &title = clip.titleItem();
    if (title && title->subtype >= Timeline::TitleItem::Title
        && title->subtype <= Timeline::TitleItem::Subtitle)
        ++m_counts[static_cast<std::size_t>(title->subtype - Timeline::TitleItem::Title)];
}

void TransitionsWithSoundCountPicker::pick(const Transition::Object &transition)
{
    m_count += transition.hasAudioResources();
}

void SpeedPicker::pick(const Timeline::IClip &clip)
{
    const double speed = clip.speed();
    if (m_mode == SpeedUp ? speed > 1.0 : speed < 1.0) {
        m_found = true;
        stopClips();
    }
}

SamplesPicker::SamplesPicker(const Resource::SampleCatalogue &catalogue)
    : ITimelinePicker(Clips, Timeline::Trait::HasFile)
    , m_catalogue(catalogue)
{
}

void SamplesPicker::pick(const Timeline::IClip &clip)
{
    const Media::File *file = clip.file().get();
    if (!file || !m_seen.insert(file))
        return;
    const Resource::Sample *sample = m_catalogue.lookUp(file->path);
    if (!sample)
        return;
    static constexpr List lists[] = { Videos, Backgrounds, Sounds, Music, SpecialFx };
    const auto kind = static_cast<std::size_t>(sample->kind);
    if (kind < std::size(lists))
        m_names[lists[kind]].insert(sample->name);
}

OrbItemsPicker::OrbItemsPicker(const StoreItemRegistry &registry)
    : ITimelinePicker(Both, Timeline::Trait::FromResource)
    , m_registry(registry)
{
}

void OrbItemsPicker::note(const QString &resourceId)
{
    const EditorCollection::Item *item = m_registry.find(resourceId);
    if (!item || !m_seen.insert(item))
        return;
    const auto kind = static_cast<std::size_t>(item->kind);
    if (kind < m_names.size())
        m_names[kind].insert(item->name);
    if (!item->contentDescription.isEmpty())
        m_descriptions.insert(item->contentDescription);
}

void OrbItemsPicker::pick(const Timeline::IClip &clip)
{
    if (clip.hasResource() && !m_registry.empty())
        note(clip.resourceId());
}

void OrbItemsPicker::pick(const Transition::Object &transition)
{
    if (m_registry.empty())
        return;
    for (const Transition::Resource &resource : transition.resources())
        note(resource.resourceId);
}

void StoreItemRegistry::insert(const EditorCollection::Item &item)
{
    EditorCollection::Item &entry = m_items[item.key];
    entry = item;
    m_index.insert(item.key, &entry);
}

void StoreItemRegistry::erase(const QString &key)
{
    m_index.remove(key);
    m_items.erase(key);
}

const EditorCollection::Item *StoreItemRegistry::find(const QString &key) const
{
    if (key.isEmpty())
        return nullptr;
    return m_index.value(key, nullptr);
}

void appendTimelineParams(Params &params, const Project::Object *project)
{
    if (!project)
        return;
    const Timeline::ITimeline &timeline = project->timeline();
    const auto clips = std::make_shared<ClipCountPicker>();
    const auto transitions = std::make_shared<TransitionCountPicker>();
    // The block counts effects, it does not name them.
    const auto effects = std::make_shared<EffectsPicker>(project->effectLibrary().loadedLuts,
                                                         project->effectLibrary().colorPresets,
                                                         EffectsPicker::KindsOnly);
    walkTimeline(timeline, { clips, transitions, effects });

    params["TIMELINE_DURATION_S"] = seconds(timeline.duration());
    params["TIMELINE_CLIPS_COUNT"] = decimal(clips->count());
    params["TIMELINE_TRANSITIONS_COUNT"] = decimal(transitions->count());
    params["TIMELINE_EFFECTS_COUNT"] = decimal(effects->total());
    params["TIMELINE_VIDEO_TRACKS_COUNT"]
        = decimal(timeline.trackCount(Timeline::TrackType::Video));
    params["TIMELINE_AUDIO_TRACKS_COUNT"]
        = decimal(timeline.trackCount(Timeline::TrackType::Audio));
    params["TIMELINE_TITLES_TRACKS_COUNT"]
        = decimal(timeline.trackCount(Timeline::TrackType::Title));
    params["TIMELINE_ALL_TRACKS_COUNT"] = decimal(timeline.trackCount());
    params["USER_COLLECTION_ITEMS_COUNT"]
        = decimal(static_cast<std::uint64_t>(project->userFiles().count()));
}

} // namespace Statistics
