#include "Statistics/exportstatistics.h"

#include "Statistics/motiontrackingstatistics.h"

#include "appsettings/applicationsettingsmanager.h"
#include "media/codecconfig.h"
#include "resource/resourcecontroller.h"
#include "resource/samplecatalogue.h"
#include "timeline/timeline.h"
#include "util/format.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace Statistics {

namespace {

const char *const qualityTexts[] = { "draft", "good", "high", "custom" };
const char *const bitrateModeTexts[] = { "", "CBR_AUTO", "CBR", "VBR" };
const char *const speedTexts[] = { "ultrafast", "superfast", "veryfast", "faster",  "fast",
                                   "medium",    "slow",      "slower",   "veryslow" };
const char *const tuneTexts[]
    = { "film", "animation", "grain", "stillimage", "psnr", "ssim", "fastdecode", "zerolatency" };

// Bytes to mebibytes, to the nearest whole one (the fast-track reports round the same way).
std::string roundedMb(std::int64_t bytes)
{
    return decimal(static_cast<std::int64_t>(
        std::lround(static_cast<double>(bytes) * (1.0 / 1024) * (1.0 / 1024))));
}

std::string frameRateText(const boost::rational<std::int64_t> &rate)
{
    // The formatter takes the rates media files have; presets keep theirs in 64 bits. Rates
    // that do not fit are no frame rate at all.
    const auto num = rate.numerator();
    const auto den = rate.denominator();
    if (num < 0 || num > std::numeric_limits<int>::max() || den > std::numeric_limits<int>::max())
        return utf8(Format::videoFrameRate(boost::rational<int>(0, 1)));
    return utf8(
        Format::videoFrameRate(boost::rational<int>(static_cast<int>(num), static_cast<int>(den))));
}

std::string joined(const std::set<QString> &names)
{
    std::string text;
    for (const QString &name : names) {
        if (!text.empty())
            text += ',';
        text += utf8(name);
    }
    return text;
}

void putNames(Params &params, const char *key, const std::set<QString> &names)
{
    if (!names.empty())
        params[key] = joined(names);
}

bool fastTrackEnabled(const Vantel::App::IApplicationSettingsManager *settings)
{
    return settings && settings->boolValue(Vantel::App::SettingKeys::fastTrackEnabled);
}

// One key per store kind, in the order the census lists them.
constexpr std::pair<EditorCollection::ItemKind, const char *> orbLists[] = {
    { EditorCollection::ItemKind::Title, "ORB_TITLES_NAMES" },
    { EditorCollection::ItemKind::Callout, "ORB_CALLOUTS_NAMES" },
    { EditorCollection::ItemKind::Sticker, "ORB_STICKERS_NAMES" },
    { EditorCollection::ItemKind::Intro, "ORB_INTROS_NAMES" },
    { EditorCollection::ItemKind::Background, "ORB_BACKGROUNDS_NAMES" },
    { EditorCollection::ItemKind::Video, "ORB_VIDEOS_NAMES" },
    { EditorCollection::ItemKind::Music, "ORB_MUSIC_NAMES" },
    { EditorCollection::ItemKind::Sound, "ORB_SOUNDS_NAMES" },
    { EditorCollection::ItemKind::Frame, "ORB_FRAMES_NAMES" },
    { EditorCollection::ItemKind::Transition, "ORB_TRANSITIONS_NAMES" },
    { EditorCollection::ItemKind::Effect, "ORB_EFFECTS_NAMES" },
    { EditorCollection::ItemKind::OverlayEffect, "ORB_OVERLAY_EFFECTS_NAMES" },
    { EditorCollection::ItemKind::Lut, "ORB_LUTS_NAMES" },
    { EditorCollection::ItemKind::SpecialFx, "ORB_SPECIAL_FX_NAMES" },
};

constexpr std::pair<SamplesPicker::List, const char *> sampleLists[] = {
    { SamplesPicker::Videos, "SAMPLE_VIDEO_NAMES" },
    { SamplesPicker::Backgrounds, "SAMPLE_BACKGROUND_NAMES" },
    { SamplesPicker::Sounds, "SAMPLE_SOUNDS_NAMES" },
    { SamplesPicker::Music, "SAMPLE_MUSIC_NAMES" },
    { SamplesPicker::SpecialFx, "STOCK_SPECIAL_FX_NAMES" },
};

// Items the census may name: store content, not what ships with the editor.
bool excludedByFilter(const EditorCollection::Item &item)
{
    return item.builtIn || item.key.isEmpty() || item.name.isEmpty();
}

bool isStoreImport(const EditorCollection::Item &item)
{
    return item.importObject && item.importObject->mimeType == Import::Object::MIME;
}

} // namespace

const char *exportQualityText(Export::Quality quality)
{
    return wordOf(qualityTexts, static_cast<long long>(quality), "");
}

const char *bitrateModeText(Export::BitrateMode mode)
{
    return wordOf(bitrateModeTexts, static_cast<long long>(mode), "");
}

const char *encodingSpeedText(Export::EncodingSpeed speed)
{
    return wordOf(speedTexts, static_cast<long long>(speed));
}

const char *encodingTuneText(Export::EncodingTune tune)
{
    return wordOf(tuneTexts, static_cast<long long>(tune));
}

const char *sharingText(const QString &tag)
{
    static const std::unordered_map<std::string, const char *> services = {
        { "format_online_googledrive", "GOOGLE_DRIVE" },
        { "format_online_youtube", "YOUTUBE" },
        { "format_online_tiktok", "TIKTOK" },
        { "format_online_vimeo", "VIMEO" },
    };
    const auto it = services.find(utf8(tag));
    return it == services.end() ? unknownWord : it->second;
}

void addExportPresetInfo(const Export::ExportState &state, Params &params)
{
    const Export::ExportPreset &preset = state.preset;
    params["PRESET_ID"] = utf8(preset.id);
    params["CURRENT_TAG"] = utf8(preset.currentTag);
    params["OUTPUT_FORMAT"] = utf8(preset.outputFormat);
    params["OUTPUT_VIDEO_CODEC"] = utf8(preset.videoCodec);
    params["OUTPUT_AUDIO_CODEC"] = utf8(preset.audioCodec);
    if (preset.hasVideo()) {
        params["WIDTH_HEIGHT"] = utf8(Format::videoResolution(preset.frameSize));
        params["FRAME_RATE"] = frameRateText(preset.frameRate);
        params["BITRATE_MODE"] = bitrateModeText(preset.bitrateMode);
        if (preset.bitrateMode == Export::BitrateMode::Vbr)
            params["VBR_QUALITY"] = decimal(preset.vbrQuality);
        else
            params["BITRATE"] = decimal(preset.videoBitRate / 1000);
        if (preset.twoPass)
            params["TWO_PASS_ENCODING"] = flag(*preset.twoPass);
        if (preset.speed)
            params["ENCODING_SPEED"] = encodingSpeedText(*preset.speed);
        if (preset.tune)
            params["ENCODING_TUNE"] = encodingTuneText(*preset.tune);
    }
    if (preset.hasAudio()) {
        params["AUDIO_SAMPLERATE"] = decimal(preset.sampleRate);
        const auto *layout = Media::CodecConfig::LayoutRecord::Find(preset.channelLayout);
        params["AUDIO_CHANNELS"] = layout ? utf8(layout->name) : std::string();
    }
}

IExportStatistics::~IExportStatistics() = default;

ExportStatistics::ExportStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker,
    MotionTrackingStatistics *motionTracking,
    const Environment &environment,
    bool watchExports)
    : m_tracker(std::move(tracker))
    , m_motionTracking(motionTracking)
    , m_environment(environment)
    , m_watchExports(watchExports)
{
    subscribeAllTypes();
}

ExportStatistics::~ExportStatistics()
{
    unsubscribeAllTypes();
}

void ExportStatistics::send(const char *event, Params params) const
{
    m_tracker->sendEvent(event, std::move(params));
}

Params ExportStatistics::census(const Timeline::ITimeline *timeline,
                                const Export::ExportRange &range,
                                bool magnetEnabled)
{
    Params params;
    const bool partial = range.kind() == Export::ExportRange::Partial;
    std::lock_guard lock(m_registryMutex);

    const auto animation = std::make_shared<AnimationPicker>();
    const auto fastTrack = std::make_shared<FastTrackFilesPicker>(m_environment.resources);
    const auto intros = std::make_shared<IntrosCountPicker>();
    const auto specialFx = std::make_shared<OverlayStickersPicker>();
    const auto pip = std::make_shared<PipTransitionCountPicker>();
    const auto speedTone = std::make_shared<SpeedCompensationPicker>();
    const auto stabilize = std::make_shared<StabilizePicker>();
    const auto titles = std::make_shared<TitlesCountPicker>();
    const auto withSound = std::make_shared<TransitionsWithSoundCountPicker>();
    const auto speedUp = std::make_shared<SpeedPicker>(SpeedPicker::SpeedUp);
    const auto slowMotion = std::make_shared<SpeedPicker>(SpeedPicker::SlowMotion);
    const auto samples = std::make_shared<SamplesPicker>(Resource::SampleCatalogue::bundled());
    const auto orb = std::make_shared<OrbItemsPicker>(m_registry);
    const auto files = std::make_shared<FileCountPicker>();
    const auto clips = std::make_shared<ClipCountPicker>();
    const auto transitions = std::make_shared<TransitionCountPicker>();
    // The census counts effects by kind; which table or preset each came from does not matter.
    const auto effects = std::make_shared<EffectsPicker>(QSet<QString>(), QHash<QString, bool>(),
                                                         EffectsPicker::KindsOnly);
    const std::shared_ptr<ITimelinePicker> tracking
        = m_motionTracking ? m_motionTracking->timelinePicker() : nullptr;
    m_pickers = { animation, fastTrack, intros,    specialFx,   pip,        speedTone,
                  stabilize, titles,    withSound, speedUp,     slowMotion, samples,
                  orb,       files,     clips,     transitions, effects };
    if (tracking)
        m_pickers.push_back(tracking);

    if (timeline) {
        walkTimeline(*timeline, m_pickers);

        params["VIDEOFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->videoCount()));
        params["IMAGEFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->photoCount()));
        params["AUDIOFILES_COUNT"] = decimal(static_cast<std::uint64_t>(files->audioCount()));
        params["PROJECT_DURATION"] = seconds(timeline->duration());
    }
    params["IS_PARTIAL_EXPORT"] = flag(partial);
    if (partial) {
        // What is exported of a range reaching past the end is the part that exists, as the
        // export engine cuts it.
        MTime length = range.length();
        if (timeline) {
            const MTime end = timeline->duration();
            const MTime from = std::min(range.from(), end);
            length = std::clamp(range.to(), from, end) - from;
        }
        // A point whatever the user's locale: the collector reads numbers one way.
        params["EXPORT_PART_DURATION"] = QString::number(length.toSecF(), 'f', 1).toStdString();
    }
    if (timeline) {
        params["TRANSITIONS_COUNT"] = decimal(transitions->count());
        params["TRANSITIONS_WITH_SOUND_COUNT"] = decimal(withSound->count());
        params["PIP_TRANSITION_COUNT"] = decimal(pip->count());
        params["SUBTITLES_COUNT"] = decimal(titles->subtitles());
        params["TITLES_COUNT"] = decimal(titles->titles());
        params["CALLOUTS_COUNT"] = decimal(titles->callouts());
        params["STICKERS_COUNT"] = decimal(titles->stickers());
        params["INTRO_COUNT"] = decimal(intros->count());
        params["SPECIAL_FX_COUNT"] = decimal(specialFx->count());
        params["ANIMATION_ADDED"] = flag(animation->found());
        params["STABILIZE"] = flag(stabilize->found());
        params["SPEED"] = flag(speedUp->found());
        params["SLOW_MOTION"] = flag(slowMotion->found());
        params["SPEED_TONE"] = flag(speedTone->found());
        params["VIDEO_TRACK_COUNT"] = decimal(timeline->trackCount(Timeline::TrackType::Video));
        params["AUDIO_TRACK_COUNT"] = decimal(timeline->trackCount(Timeline::TrackType::Audio));
        params["TITLE_TRACK_COUNT"] = decimal(timeline->trackCount(Timeline::TrackType::Title));
        // The timeline answers whether it has gaps; the census sends the negation of "free of
        // gaps", which is the same answer.
        params["TIMELINE_GAPS"] = flag(timeline->hasGaps());
        const auto &uses = effects->usesByKind();
        for (int kind = 0; kind < Effect::idCount; ++kind) {
            if (uses[static_cast<std::size_t>(kind)])
                params["EFFECT_" + std::string(Effect::idText(static_cast<Effect::Id>(kind)))]
                    = decimal(uses[static_cast<std::size_t>(kind)]);
        }
        if (tracking)
            m_motionTracking->appendParams(*tracking, params);
        for (const auto &[list, key] : sampleLists)
            putNames(params, key, samples->names(list));
        for (const auto &[kind, key] : orbLists)
            putNames(params, key, orb->names(kind));
        putNames(params, "ORB_CONTENT_DESCRIPTION", orb->descriptions());
        params["FTHD_PROCESSED_FILES_COUNT"]
            = decimal(static_cast<std::uint64_t>(fastTrack->count()));
    }
    params["FTHD_ENABLED"] = flag(fastTrackEnabled(m_environment.settings));
    params["TIMELINE_MAGNET_ENABLED"] = flag(magnetEnabled);
    m_pickers.clear();
    return params;
}

void ExportStatistics::exportClicked(const Timeline::ITimeline *timeline,
                                     const Export::ExportRange &range,
                                     bool magnetEnabled)
{
    send("EXPORT_CLICKED", census(timeline, range, magnetEnabled));
}

void ExportStatistics::exportStarted(const Export::ExportState &state)
{
    if (!m_watchExports)
        return;
    Params params;
    addExportPresetInfo(state, params);
    if (state.estimatedSizeMin != state.estimatedSizeMax) {
        params["ESTIMATED_SIZE_MIN"] = roundedMb(state.estimatedSizeMin);
        params["ESTIMATED_SIZE_MAX"] = roundedMb(state.estimatedSizeMax);
    } else {
        params["ESTIMATED_SIZE"] = roundedMb(state.estimatedSizeMin);
    }
    params["QUALITY"] = exportQualityText(state.preset.quality);
    params["CURRENT_TAG"] = utf8(state.preset.currentTag);
    params["SHARING"] = sharingText(state.preset.currentTag);
    send("EXPORT_STARTED", std::move(params));
}

void ExportStatistics::exportFinished(const Export::ExportState &state)
{
    handleExportFinished(state, false);
}

void ExportStatistics::exportCancelled(const Export::ExportState &state)
{
    handleExportFinished(state, true);
}

void ExportStatistics::handleExportFinished(const Export::ExportState &state, bool aborted)
{
    if (!m_watchExports)
        return;
    send("EXPORT_FINISHED",
         { { "ABORTED", flag(aborted) },
           { "EXPORT_TIME", seconds(state.elapsed) },
           { "ACTUAL_SIZE", roundedMb(state.actualSize) },
           { "CURRENT_TAG", utf8(state.preset.currentTag) },
           { "SHARING", sharingText(state.preset.currentTag) } });
}

void ExportStatistics::exportFailed(const Export::ExportState &state,
                                    const Export::ExportErrorDesc &error)
{
    if (!m_watchExports)
        return;
    Params params;
    addExportPresetInfo(state, params);
    params["REASON"] = utf8(error.reason);
    params["ERROR_INFO"] = utf8(error.info);
    params["CURRENT_TAG"] = utf8(state.preset.currentTag);
    params["SHARING"] = sharingText(state.preset.currentTag);
    send("EXPORT_FAILED", std::move(params));
}

void ExportStatistics::codecSettingsApplied(bool twoPassChanged,
                                            bool speedChanged,
                                            bool tuneChanged)
{
    send("CODEC_SETTINGS_APPLIED",
         { { "TWO_PASS_ENCODING_CHANGED", flag(twoPassChanged) },
           { "ENCODING_SPEED_CHANGED", flag(speedChanged) },
           { "ENCODING_TUNE_CHANGED", flag(tuneChanged) } });
}

void ExportStatistics::exportAdvancedApplied(bool videoCodecChanged,
                                             bool resolutionChanged,
                                             bool bitrateChanged)
{
    // The trailing blank of each key is part of the key.
    send("EXPORT_ADVANCED_APPLIED",
         { { "VIDEO_CODEC_CHANGED ", flag(videoCodecChanged) },
           { "RESOLUTION_CHANGED ", flag(resolutionChanged) },
           { "VIDEO_BITRATE_CHANGED ", flag(bitrateChanged) } });
}

void ExportStatistics::exportSettingsAlertShown(const QSize &resolution,
                                                const boost::rational<std::int64_t> &frameRate)
{
    send("EXPORT_SETTINGS_ALERT_SHOW",
         { { "RESOLUTION", utf8(Format::videoResolution(resolution)) },
           { "FRAME_RATE", frameRateText(frameRate) } });
}

void ExportStatistics::notify(const EditorCollection::RegisterItemNotification &n)
{
    const EditorCollection::Item &item = n.item;
    const bool excluded = excludedByFilter(item);
    if (!isStoreImport(item) || item.importObject->kind == Import::Object::Pack || excluded)
        return;
    std::lock_guard lock(m_registryMutex);
    m_registry.insert(item);
}

void ExportStatistics::notify(const EditorCollection::UnregisterItemNotification &n)
{
    if (!isStoreImport(n.item))
        return;
    std::lock_guard lock(m_registryMutex);
    m_registry.erase(n.item.key);
}

} // namespace Statistics
