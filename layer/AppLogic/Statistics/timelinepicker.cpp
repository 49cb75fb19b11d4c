#include "Statistics/timelinepicker.h"

#include "media/mediafile.h"
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
    // Clips live wherever they were allocated; asking for the first two cache lines of the one
    // a few steps ahead lets its memory arrive while the pickers work on this one. Two lines
    // hold what a census reads of most clips (see Timeline::Clip).
    constexpr std::size_t ahead = 6;
    std::vector<ITimelinePicker *> forClips;
    std::vector<ITimelinePicker *> forTransitions;
    for (const auto &picker : pickers) {
        if (picker && picker->wantsClips())
            forClips.push_back(picker.get());
        if (picker && picker->wantsTransitions())
            forTransitions.push_back(picker.get());
    }
    for (int t = 0, tracks = timeline.trackCount(); t < tracks; ++t) {
        const Timeline::ITrack &track = timeline.track(t);
        for (std::size_t c = 0, clips = track.clipCount(); c < clips; ++c) {
            if (c + ahead < clips) {
                // Addresses as integers: a prefetch never faults, and the second line may lie
                // past a small clip object, where pointer arithmetic may not go.
                const auto next = reinterpret_cast<std::uintptr_t>(&track.clip(c + ahead));
                __builtin_prefetch(reinterpret_cast<const void *>(next));
                __builtin_prefetch(reinterpret_cast<const void *>(next + 64));
            }
            const Timeline::IClip &clip = track.clip(c);
            for (ITimelinePicker *picker : forClips) {
                if (picker->wantsClips())
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

EffectsPicker::EffectsPicker(QSet<QString> loadedLuts, QHash<QString, bool> colorPresets)
    : m_loadedLuts(std::move(loadedLuts))
    , m_colorPresets(std::move(colorPresets))
{
}

void EffectsPicker::pick(const Timeline::IClip &clip)
{
    const Timeline::EffectList &effects = clip.effects();
    m_total += effects.size();
    // The kind travels with the handle, so most effects are counted without touching them.
    for (const Effect::Handle &effect : effects) {
        const int kind = static_cast<int>(effect.id());
        if (kind >= 0 && kind < Effect::idCount)
            ++m_uses[static_cast<std::size_t>(kind)];
        switch (effect.id()) {
        case Effect::Id::BackgroundRemove:
        case Effect::Id::Lut:
        case Effect::Id::ManualEnhance:
            m_lookInto.push_back(effect.get());
            break;
        default: {
            const int index = static_cast<int>(effect.id());
            if (index >= 0 && index < Effect::idCount)
                ++m_byId[index];
            break;
        }
        }
    }
}

namespace {

// The shared text block behind a string, for fetching it ahead; the string is not changed.
const void *textBlock(const QString &text)
{
    return const_cast<QString &>(text).data_ptr();
}

} // namespace

std::map<std::string, std::uint64_t> EffectsPicker::counts() const
{
    std::array<std::uint64_t, Effect::idCount> byId = m_byId;
    std::uint64_t backgroundQuick = 0;
    std::uint64_t backgroundPrecise = 0;
    // Tables and colour presets by identifier, then by kind and name: one string hash per
    // effect; where each came from is looked up once per identifier.
    struct NamedUse {
        Effect::Id kind;
        QString name;
        std::uint64_t count;
    };
    QHash<QString, std::vector<NamedUse>> named;

    // Objects are fetched 16 effects ahead and their strings 8 ahead, so the misses of many
    // effects overlap instead of queueing one after another.
    constexpr std::size_t objectsAhead = 16;
    constexpr std::size_t textsAhead = 8;
    const std::size_t n = m_lookInto.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (i + objectsAhead < n)
            __builtin_prefetch(m_lookInto[i + objectsAhead]);
        if (i + textsAhead < n) {
            const Effect::Object *ahead = m_lookInto[i + textsAhead];
            __builtin_prefetch(textBlock(ahead->uniqueId()));
            if (const auto *lut = Effect::as<Effect::Lut>(*ahead))
                __builtin_prefetch(textBlock(lut->ownName()));
            else if (const auto *colour = Effect::as<Effect::ManualEnhance>(*ahead))
                __builtin_prefetch(textBlock(colour->ownName()));
        }

        const Effect::Object &effect = *m_lookInto[i];
        if (const auto *background = Effect::as<Effect::BackgroundRemove>(effect)) {
            if (background->qualityMode == Effect::BackgroundRemove::Quick)
                ++backgroundQuick;
            else if (background->qualityMode == Effect::BackgroundRemove::Precise)
                ++backgroundPrecise;
            else
                ++byId[static_cast<int>(Effect::Id::BackgroundRemove)];
            continue;
        }
        // The name as stored, by reference: a copy would write to every name's shared block.
        const auto *lut = Effect::as<Effect::Lut>(effect);
        const QString &ownName
            = lut ? lut->ownName() : static_cast<const Effect::ManualEnhance &>(effect).ownName();
        std::vector<NamedUse> &uses = named[effect.uniqueId()];
        const auto use = std::find_if(uses.begin(), uses.end(), [&](const NamedUse &u) {
            return u.kind == effect.id() && u.name == ownName;
        });
        if (use != uses.end())
            ++use->count;
        else
            uses.push_back({ effect.id(), ownName, 1 });
    }

    std::map<std::string, std::uint64_t> counts;
    for (int i = 0; i < Effect::idCount; ++i) {
        if (byId[i])
            counts[std::string(Effect::idText(static_cast<Effect::Id>(i)))] += byId[i];
    }
    const std::string background(Effect::idText(Effect::Id::BackgroundRemove));
    if (backgroundQuick)
        counts[background + "_quick"] += backgroundQuick;
    if (backgroundPrecise)
        counts[background + "_precise"] += backgroundPrecise;
    for (auto it = named.cbegin(); it != named.cend(); ++it) {
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

FastTrackFilesPicker::FastTrackFilesPicker(const Resource::Controller &resources)
    : m_resources(resources)
{
}

void FastTrackFilesPicker::pick(const Timeline::IClip &clip)
{
    if (clip.kind() != Timeline::ClipKind::Clip || !clip.hasResource() || !clip.file())
        return;
    if (m_resources.hasRedirectFrom(clip.resourceId()))
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
    : m_catalogue(catalogue)
{
}

void SamplesPicker::pick(const Timeline::IClip &clip)
{
    const Media::File *file = clip.file().get();
    if (!file || !m_seen.insert(file))
        return;
    const Resource::Sample *sample
        = m_catalogue.find(Resource::SampleCatalogue::cleanPath(file->path));
    if (!sample)
        return;
    static constexpr List lists[] = { Videos, Backgrounds, Sounds, Music, SpecialFx };
    const auto kind = static_cast<std::size_t>(sample->kind);
    if (kind < std::size(lists))
        m_names[lists[kind]].insert(sample->name);
}

OrbItemsPicker::OrbItemsPicker(const StoreItemRegistry &registry)
    : m_registry(registry)
{
}

void OrbItemsPicker::note(const QString &resourceId)
{
    if (resourceId.isEmpty())
        return;
    const auto it = m_registry.find(resourceId);
    if (it == m_registry.end())
        return;
    const EditorCollection::Item &item = it->second;
    const auto kind = static_cast<std::size_t>(item.kind);
    if (kind < m_names.size())
        m_names[kind].insert(item.name);
    if (!item.contentDescription.isEmpty())
        m_descriptions.insert(item.contentDescription);
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

void appendTimelineParams(Params &params, const Project::Object *project)
{
    if (!project)
        return;
    const Timeline::ITimeline &timeline = project->timeline();
    const auto clips = std::make_shared<ClipCountPicker>();
    const auto transitions = std::make_shared<TransitionCountPicker>();
    const auto effects = std::make_shared<EffectsPicker>(project->effectLibrary().loadedLuts,
                                                         project->effectLibrary().colorPresets);
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
