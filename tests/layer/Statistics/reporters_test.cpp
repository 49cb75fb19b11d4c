#include "Messages/collection.h"
#include "Statistics/aistatistics.h"
#include "Statistics/bladestatistics.h"
#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/collectionstatistics.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/istatistics.h"
#include "Statistics/playerstatistics.h"
#include "Statistics/speechtotextstatistics.h"
#include "Statistics/transitionstatistics.h"
#include "Statistics/workspacestatistics.h"

#include "trackedevents.h"

#include "collection/item.h"
#include "resource/resourcecontroller.h"
#include "util/settingspaths.h"

#include <QDir>

#include <clocale>
#include <string>

namespace {

using namespace StatisticsTest;
using namespace Statistics;
using EditorCollection::AvailabilityFilter;
using EditorCollection::ImportReason;

IStatistics &reporters()
{
    return *statistics();
}

Export::ExportState stateOf(const char *presetId, std::int64_t sizeMin, std::int64_t sizeMax)
{
    Export::ExportState state;
    Export::ExportPreset &p = state.preset;
    p.id = QString::fromLatin1(presetId);
    p.currentTag = "format_online_youtube";
    p.outputFormat = "mp4";
    p.videoCodec = "h264";
    p.audioCodec = "aac";
    p.frameSize = QSize(1920, 1080);
    p.frameRate = { 30000, 1001 };
    p.bitrateMode = Export::BitrateMode::Vbr;
    p.videoBitRate = 8'000'999;
    p.vbrQuality = 23;
    p.speed = Export::EncodingSpeed::Slow;
    p.sampleRate = 48000;
    p.channelLayout = 3; // front left and right
    p.quality = Export::Quality::High;
    state.estimatedSizeMin = sizeMin;
    state.estimatedSizeMax = sizeMax;
    state.elapsed = MTime::fromMSec(61999);
    state.actualSize = 1572864;
    return state;
}

Export::ExportState audioOnly()
{
    Export::ExportState state = stateOf("mp3", 0, 0);
    state.preset.videoCodec.clear();
    state.preset.currentTag.clear();
    state.preset.outputFormat = "mp3";
    state.preset.audioCodec = "mp3";
    return state;
}

const Params presetBlock {
    { "PRESET_ID", "vbr" },          { "CURRENT_TAG", "format_online_youtube" },
    { "OUTPUT_FORMAT", "mp4" },      { "OUTPUT_VIDEO_CODEC", "h264" },
    { "OUTPUT_AUDIO_CODEC", "aac" }, { "WIDTH_HEIGHT", "1920x1080" },
    { "FRAME_RATE", "29.97" },       { "BITRATE_MODE", "VBR" },
    { "VBR_QUALITY", "23" },         { "ENCODING_SPEED", "slow" },
    { "AUDIO_SAMPLERATE", "48000" }, { "AUDIO_CHANNELS", "stereo" }
};

Params with(Params base, const Params &more)
{
    for (const auto &[k, v] : more)
        base[k] = v;
    return base;
}

Params without(Params base, std::initializer_list<const char *> keys)
{
    for (const char *k : keys)
        base.erase(k);
    return base;
}

// A music item of the collection whose file weighs 4096 bytes.
const EditorCollection::ItemPtr &song()
{
    static const EditorCollection::ItemPtr item = [] {
        EditorCollection::Payload payload;
        payload.import = std::make_shared<Import::Object>();
        auto created = EditorCollection::ItemFactory::createItem("song-1", payload);
        created->setRemoteSize(4096);
        return created;
    }();
    return item;
}

// A title clip of that subtype, kept for the test program's life.
const Timeline::Clip &titleClip(int subtype)
{
    static std::vector<std::unique_ptr<Timeline::Clip>> clips;
    auto clip = std::make_unique<Timeline::Clip>(Timeline::ClipKind::Title);
    clip->setTitleItem(Timeline::TitleItem { subtype, "t", {} });
    clips.push_back(std::move(clip));
    return *clips.back();
}

const EventCase reporterCases[] = {
    { "export_started_with_equal_estimates_and_vbr",
      [] { Export::notifyStarted(stateOf("vbr", 1572864, 1572864)); },
      { { "EXPORT_STARTED",
          with(
              presetBlock,
              { { "ESTIMATED_SIZE", "2" }, { "QUALITY", "high" }, { "SHARING", "YOUTUBE" } }) } } },
    { "export_started_with_a_range_and_cbr",
      [] {
          Export::ExportState state = stateOf("vbr", 1 << 20, 10 << 20);
          state.preset.bitrateMode = Export::BitrateMode::None;
          state.preset.twoPass = false;
          state.preset.tune = static_cast<Export::EncodingTune>(8);
          state.preset.quality = static_cast<Export::Quality>(4);
          Export::notifyStarted(state);
      },
      { { "EXPORT_STARTED",
          with(without(presetBlock, { "VBR_QUALITY" }),
               { { "BITRATE_MODE", "" },
                 { "BITRATE", "8000" },
                 { "TWO_PASS_ENCODING", "false" },
                 { "ENCODING_TUNE", "UNKNOWN" },
                 { "ESTIMATED_SIZE_MIN", "1" },
                 { "ESTIMATED_SIZE_MAX", "10" },
                 { "QUALITY", "" },
                 { "SHARING", "YOUTUBE" } }) } } },
    { "export_failed_audio_only_has_no_video_keys",
      [] {
          Export::notifyFailed(audioOnly(), { "disk full", "ENOSPC" });
      },
      { { "EXPORT_FAILED",
          { { "PRESET_ID", "mp3" },
            { "CURRENT_TAG", "" },
            { "OUTPUT_FORMAT", "mp3" },
            { "OUTPUT_VIDEO_CODEC", "" },
            { "OUTPUT_AUDIO_CODEC", "mp3" },
            { "AUDIO_SAMPLERATE", "48000" },
            { "AUDIO_CHANNELS", "stereo" },
            { "REASON", "disk full" },
            { "ERROR_INFO", "ENOSPC" },
            { "SHARING", "UNKNOWN" } } } } },
    { "export_cancelled_is_a_finish_aborted",
      [] { Export::notifyCancelled(stateOf("vbr", 0, 0)); },
      { { "EXPORT_FINISHED",
          { { "ABORTED", "true" },
            { "EXPORT_TIME", "61" },
            { "ACTUAL_SIZE", "2" },
            { "CURRENT_TAG", "format_online_youtube" },
            { "SHARING", "YOUTUBE" } } } } },
    { "export_dialogs_keep_the_blank_of_the_advanced_keys",
      [] {
          auto &e = *reporters().exportStatistics();
          e.codecSettingsApplied(true, false, true);
          e.exportAdvancedApplied(false, true, false);
          e.exportSettingsAlertShown(QSize(720, 480), { 24000, 1001 });
      },
      { { "CODEC_SETTINGS_APPLIED",
          { { "TWO_PASS_ENCODING_CHANGED", "true" },
            { "ENCODING_SPEED_CHANGED", "false" },
            { "ENCODING_TUNE_CHANGED", "true" } } },
        { "EXPORT_ADVANCED_APPLIED",
          { { "VIDEO_CODEC_CHANGED ", "false" },
            { "RESOLUTION_CHANGED ", "true" },
            { "VIDEO_BITRATE_CHANGED ", "false" } } },
        { "EXPORT_SETTINGS_ALERT_SHOW",
          { { "RESOLUTION", "720x480" }, { "FRAME_RATE", "23.98" } } } } },
    { "player_switches",
      [] {
          reporters().playerStatistics()->fullscreenChanged(true);
          reporters().playerStatistics()->highQualityChanged(false);
      },
      { { "FULLSCREEN_ON", {} }, { "HIGHQUALITY_PREVIEW_OFF", {} } } },
    { "speech_to_text_cancelled_without_error_and_failed_with_an_unknown_one",
      [] {
          ISpeechToTextStatistics::ResultInfo info;
          info.result = 5;
          info.processingTime = MTime::fromMSec(2500);
          info.subtitlesCount = 3;
          info.sourceClipsCount = 2;
          info.sourceClipsLength = MTime::fromMSec(90999);
          info.language = "de";
          info.lines = 2;
          info.modelVersion = "v2";
          reporters().speechToTextStatistics()->started();
          reporters().speechToTextStatistics()->finished(info);
          info.result = 3;
          info.error = 7;
          reporters().speechToTextStatistics()->finished(info);
      },
      { { "STT_GEN_STARTED", {} },
        { "STT_GEN_RESULT",
          { { "RESULT", "CANCELLED" },
            { "PROCESSING_TIME", "2" },
            { "OUTPUT_SUBTITLES_COUNT", "3" },
            { "SOURCE_CLIPS_COUNT", "2" },
            { "SOURCE_CLIPS_LENGHT_SEC", "90" },
            { "SETTINGS_LANGUAGE", "de" },
            { "SETTINGS_LINES", "2" },
            { "MODEL_VERSION", "v2" } } },
        { "STT_GEN_RESULT",
          { { "RESULT", "Invalid" },
            { "ERROR_MESSAGE", "Invalid" },
            { "PROCESSING_TIME", "2" },
            { "OUTPUT_SUBTITLES_COUNT", "3" },
            { "SOURCE_CLIPS_COUNT", "2" },
            { "SOURCE_CLIPS_LENGHT_SEC", "90" },
            { "SETTINGS_LANGUAGE", "de" },
            { "SETTINGS_LINES", "2" },
            { "MODEL_VERSION", "v2" } } } } },
    { "ai_model_download",
      [] {
          auto &ai = *reporters().aiStatistics();
          ai.aiApplyingException("denoise", "out of memory");
          ai.aiModelDownloadErrorShown("denoise");
          ai.aiModelDownloadFinished("denoise", AiModelDownloadReason::Retry, true,
                                     MTime::fromMSec(1999));
      },
      { { "AI_APPLYING_EXCEPTION", { { "TAG", "denoise" }, { "MESSAGE", "out of memory" } } },
        { "AI_ALERT_SHOW", { { "TAG", "denoise" } } },
        { "AI_DOWNLOAD_FINISHED",
          { { "TAG", "denoise" },
            { "REASON", "retry" },
            { "SUCCESS", "true" },
            { "TIME_SEC", "1" } } } } },
    { "blade_reports_through_interactions",
      [] {
          auto &blade = *reporters().bladeStatistics();
          blade.bladeApplied(static_cast<BladeMode>(2));
          blade.cursorSelected(static_cast<CursorSelectedMethod>(3));
          blade.bladeAlertClosedDontShow();
      },
      { { "BLADE_APPLIED", {} },
        { "CURSOR_CLICKED", { { "METHOD", "UNKNOWN" } } },
        { "BLADE_ALERT_DONT_SHOW", {} } } },
    { "workspace_back_buttons_and_capture",
      [] {
          auto &w = *reporters().workspaceStatistics();
          w.backButtonClicked(Navigation::Page::Imports, Navigation::Page::EffectsStore);
          w.backButtonClickedOverlayEditor(Navigation::Page::Titles,
                                           static_cast<Overlay::PresetType>(9));
          w.audioCaptureClicked(Capture::Mode::Voice);
          w.speechToTextShowedOnAudioToolsSelection();
      },
      { { "BACK_BUTTON_CLICKED",
          { { "TARGET_SCREEN", "PAGE_IMPORTS" }, { "PREVIOUS_SCREEN", "PAGE_EFFECTS_STORE" } } },
        { "BACK_BUTTON_CLICKED",
          { { "TARGET_SCREEN", "PAGE_TITLES" }, { "PREVIOUS_SCREEN", "UNKNOWN" } } },
        { "AUDIO_RECORD_STARTED", { { "VOICE_OVER_MODE", "false" } } },
        { "SPEECH_TO_TEXT_CLICKED", { { "METHOD", "AUDIO_TAB" } } } } },
    { "wizards_leave_out_an_empty_name_and_a_duration_without_a_clock",
      [] {
          auto &t = *reporters().transitionStatistics();
          t.wizardApplied(WizardType::Transition, {}, MTime::fromMSec(1500), false);
          t.wizardApplied(WizardType::PanZoom, "Zoom", MTime::fromMSec(-1), true);
          t.wizardApplied(static_cast<WizardType>(3), "x", MTime(), true);
      },
      { { "TRANSITION_WIZARD_APPLIED", { { "DURATION", "00:01.500" }, { "METHOD", "selected" } } },
        { "PANZOOM_WIZARD_APPLIED", { { "TRANSITION_NAME", "Zoom" }, { "METHOD", "all" } } } } },
    { "clip_properties",
      [] {
          auto &c = *reporters().clipPropertiesStatistics();
          c.speedChangeRebound(20, 35);
          c.fadeUsed(FadeType::FadeOut, 5);
          c.adjustmentsDisabled("Crop", 2);
          c.clipBlendingModeChanged(static_cast<BlendingMode>(14),
                                    { &titleClip(3), &titleClip(3), &titleClip(1) });
      },
      { { "SPEED_CHANGE_REBOUND", { { "SPEED_TARGET", "20" }, { "SPEED_ACTUAL", "35" } } },
        { "FADEOUT_CHANGED", { { "CLIP_SELECTION_COUNT", "5" } } },
        { "APPLIED_EFFECT_DISABLE", { { "EFFECT_NAME", "Crop" }, { "CLIPS_IN_SELECTION", "2" } } },
        { "CLIP_BLENDING_MODE_CHANGED",
          { { "MODE", "UNKNOWN" }, { "MEDIA_TYPE", "STICKER,TITLE" } } } } },
    { "collection_item_previewed_favoured_deleted_and_renamed",
      [] {
          auto &c = *reporters().collectionStatistics();
          c.itemPreviewed(song().get(), ItemPreviewMethod::Hover, MTime::fromMSec(250));
          c.itemFavoriteAdded(song().get());
          c.itemDeleted(nullptr);
          c.itemRenameClicked("My song");
      },
      { { "ITEM_PREVIEWED",
          { { "PREVIEW_LOADING_TIME_MS", "250" },
            { "ITEM_UNIQUE_ID", "song-1" },
            { "METHOD", "HOVER" } } },
        { "FAVORITE_ITEM_ADDED", {} },
        { "ITEM_DELETED", {} },
        { "ITEM_RENAME_CLICKED", { { "METHOD", "My song" } } } } },
    { "collection_installs_carry_a_time_on_success_and_an_error_otherwise",
      [] {
          auto &c = *reporters().collectionStatistics();
          c.itemInstallFinished(song().get(), ItemInstallResult::Ok, ImportReason::Click,
                                MTime::fromMSec(-5));
          c.itemInstallFinished(song().get(), ItemInstallResult::InstallCancelled,
                                ImportReason::Batch, MTime::fromMSec(9));
          c.itemInstallFinished(song().get(), ItemInstallResult::Unknown,
                                static_cast<ImportReason>(9), {});
      },
      { { "ITEM_INSTALL_RESULT",
          { { "RESULT", "SUCCESS" },
            { "SIZE", "4096" },
            { "ITEM_UNIQUE_ID", "song-1" },
            { "REASON", "CLICK" },
            { "DOWNLOAD_TIME", "-5" } } },
        { "ITEM_INSTALL_RESULT",
          { { "RESULT", "CANCEL" },
            { "SIZE", "4096" },
            { "ITEM_UNIQUE_ID", "song-1" },
            { "REASON", "BATCH" },
            { "ERROR", "INSTALL_CANCELLED" } } },
        { "ITEM_INSTALL_RESULT",
          { { "RESULT", "FAIL" },
            { "SIZE", "4096" },
            { "ITEM_UNIQUE_ID", "song-1" },
            { "REASON", "" },
            { "ERROR", "UNKNOWN" } } } } },
    { "collection_panel_buttons_categories_and_load",
      [] {
          auto &c = *reporters().collectionStatistics();
          c.serviceButtonClicked("GET_MORE", "Shader effects", false);
          c.serviceButtonClicked("GET_MORE", "Title", true);
          c.categoryChanged("Calm", "PanAndZoom");
          c.categoryDownloadClicked("Calm", "Music");
          c.loadFinished(MTime::fromMSec(1500), 12);
      },
      { { "GET_MORE_CLICKED", { { "COLLECTION", "SHADER_EFFECTS" } } },
        { "GET_MORE_CLICKED", { { "METOD", "TITLES_PAGE" } } },
        { "COLLECTION_CATEGORY_CHANGED",
          { { "COLLECTION", "PAN_AND_ZOOM" }, { "CATEGORY", "Calm" } } },
        { "CATEGORY_DOWNLOAD_CLICKED", { { "COLLECTION", "MUSIC" }, { "CATEGORY", "Calm" } } },
        { "COLLECTION_LOAD_FINISHED",
          { { "TOTAL_TIME", "1500" },
            { "ITEMS_LOADED", "12" },
            { "IS_FIRST_START", "true" } } } } },
    { "collection_searches_from_the_third_character_and_filters",
      [] {
          auto &c = *reporters().collectionStatistics();
          c.searched("Music", "ab");
          c.searched("Music", QString::fromUtf8("\xc3\xa9\xf0\x9f\x8e\xb5"));
          c.searched("Music", "abc");
          c.filteredByUser(AvailabilityFilter::Paid, "Sounds", "Calm", true);
          c.filteredByUser(AvailabilityFilter::All, "Sounds", {}, false);
      },
      { { "COLLECTION_SEARCH", { { "COLLECTION", "MUSIC" }, { "SEARCH_BAR", "abc" } } },
        { "COLLECTION_FILTERED",
          { { "COLLECTION", "SOUNDS" },
            { "CATEGORY", "Calm" },
            { "SEARCH_APPLIED", "TRUE" },
            { "FILTER_NAME", "PAID" } } },
        { "COLLECTION_FILTERED",
          { { "COLLECTION", "SOUNDS" },
            { "CATEGORY", "" },
            { "SEARCH_APPLIED", "FALSE" },
            { "FILTER_NAME", "ALL" } } } } },
    { "trending_list_failure_is_failed_not_fail",
      [] {
          reporters().collectionStatistics()->trendingListRequested(Downloader::Failed, 7);
          reporters().collectionStatistics()->trendingListRequested(Downloader::Success, 0);
      },
      { { "TRENDING_CONTENT_LIST_REQUESTED", { { "RESULT", "FAILED" }, { "ITEMS_COUNT", "7" } } },
        { "TRENDING_CONTENT_LIST_REQUESTED",
          { { "RESULT", "SUCCESS" }, { "ITEMS_COUNT", "0" } } } } },
};

INSTANTIATE_TEST_SUITE_P(Reporters,
                         StatisticsEvents,
                         ::testing::ValuesIn(reporterCases),
                         TestSupport::tableRowName);

// The export click's census on real timelines.
class ExportCensus : public TrackedEvents {
protected:
    Params clicked(const Timeline::ITimeline *timeline, Export::ExportRange range, bool magnet)
    {
        reporters().exportStatistics()->exportClicked(timeline, range, magnet);
        const auto *event = sink->last("EXPORT_CLICKED");
        return event ? event->params : Params {};
    }

    static void registerItem(const char *key,
                             const char *name,
                             EditorCollection::ItemKind kind,
                             int importKind = Import::Object::Media,
                             bool builtIn = false)
    {
        auto import = std::make_shared<Import::Object>();
        import->mimeType = Import::Object::MIME;
        import->kind = importKind;
        EditorCollection::Item item { QString::fromLatin1(key),
                                      QString::fromLatin1(name),
                                      kind,
                                      QStringLiteral("by %1").arg(QLatin1String(name)),
                                      builtIn,
                                      import };
        PubSub::publish(EditorCollection::RegisterItemNotification(item));
    }

    Timeline::Clip &place(int track,
                          Timeline::ClipKind kind,
                          std::int64_t atMs,
                          std::shared_ptr<Media::File> file = {})
    {
        auto clip = std::make_unique<Timeline::Clip>(kind, std::move(file));
        clip->setPosition(MTime::fromMSec(atMs));
        clip->setDuration(MTime::fromMSec(1000));
        return timeline.placeClip(track, std::move(clip));
    }

    Timeline::Model timeline;
};

TEST_F(ExportCensus, counts_every_picker_in_one_walk)
{
    const QString samples = QDir(Settings::bundledResourcesPath()).filePath("samples");
    timeline.addTrack(Timeline::TrackType::Video);
    timeline.addTrack(Timeline::TrackType::Overlay);
    timeline.addTrack(Timeline::TrackType::Title);
    timeline.addTrack(Timeline::TrackType::Audio);
    // Video: a sample (by an unclean path), a store clip played from a fast-track copy, a gap,
    // a special effect, an intro and a photo.
    auto beach = videoFile("");
    beach->path = samples + "/../samples/beach walk.mp4";
    Timeline::Clip &sample = place(0, Timeline::ClipKind::Clip, 0, beach);
    sample.setSpeed(2.0, true);
    sample.addEffect(Effect::Crop());
    Timeline::Clip &store = place(0, Timeline::ClipKind::Clip, 1000, videoFile("/x/store.mp4"));
    store.setResourceId("orb-1");
    store.setStabilized(true);
    resources.addRedirect("orb-1", "/ft/1");
    Timeline::Clip &fx = place(0, Timeline::ClipKind::Clip, 3000);
    fx.setContentId(QString::fromLatin1(Timeline::specialEffectsContentId));
    fx.setSpeed(0.5);
    place(0, Timeline::ClipKind::Intro, 4000);
    place(0, Timeline::ClipKind::Clip, 5000, photoFile("/x/still.jpg"));
    // Overlay: a moving picture with a transition to the next.
    Timeline::Clip &moving = place(1, Timeline::ClipKind::Clip, 0, photoFile("/x/logo.png"));
    moving.setAnimation({ "pan", {} });
    moving.addEffect(Effect::Crop());
    const Timeline::Clip &next = place(1, Timeline::ClipKind::Clip, 1000, photoFile("/x/logo.png"));
    timeline.addTransition(std::make_unique<Transition::Object>(Transition::Id::Wipe), moving.id(),
                           next.id());
    // Titles of every subtype, one the census does not count.
    const int subtypes[] = { 1, 2, 2, 3, 4, 0 };
    for (int i = 0; i < 6; ++i)
        place(2, Timeline::ClipKind::Title, i * 1000)
            .setTitleItem(Timeline::TitleItem { subtypes[i], {}, {} });
    // Sound with a transition that plays a store sound.
    const Timeline::Clip &chime
        = place(3, Timeline::ClipKind::Audio, 0, soundFile(qPrintable(samples + "/chime.mp3")));
    auto sound = std::make_unique<Transition::Object>(Transition::Id::Fade);
    sound->addResource({ Transition::ResourceType::Audio, nullptr, "orb-2" });
    timeline.addTransition(std::move(sound), chime.id(), 0);

    registerItem("orb-1", "Skater", EditorCollection::ItemKind::Video);
    registerItem("orb-2", "Whoosh", EditorCollection::ItemKind::Sound);
    registerItem("orb-2", "Swoosh", EditorCollection::ItemKind::Sound); // replaces
    registerItem("orb-3", "Unused", EditorCollection::ItemKind::Sound);
    registerItem("orb-4", "Pack", EditorCollection::ItemKind::Video, Import::Object::Pack);
    PubSub::publish(EditorCollection::UnregisterItemNotification(
        { "orb-3", {}, {}, {}, false, [] {
             auto import = std::make_shared<Import::Object>();
             import->mimeType = Import::Object::MIME;
             return import;
         }() }));

    // The range reaches past the project's end (6 s): the part that exists is told.
    EXPECT_EQ(clicked(&timeline,
                      Export::ExportRange::partial(MTime::fromMSec(500), MTime::fromMSec(13000)),
                      true),
              (Params { { "VIDEOFILES_COUNT", "2" },
                        { "IMAGEFILES_COUNT", "1" },
                        { "AUDIOFILES_COUNT", "1" },
                        { "PROJECT_DURATION", "6" },
                        { "IS_PARTIAL_EXPORT", "true" },
                        { "EXPORT_PART_DURATION", "5.5" },
                        { "TRANSITIONS_COUNT", "2" },
                        { "TRANSITIONS_WITH_SOUND_COUNT", "1" },
                        { "PIP_TRANSITION_COUNT", "1" },
                        { "SUBTITLES_COUNT", "1" },
                        { "TITLES_COUNT", "1" },
                        { "CALLOUTS_COUNT", "2" },
                        { "STICKERS_COUNT", "1" },
                        { "INTRO_COUNT", "1" },
                        { "SPECIAL_FX_COUNT", "1" },
                        { "ANIMATION_ADDED", "true" },
                        { "STABILIZE", "true" },
                        { "SPEED", "true" },
                        { "SLOW_MOTION", "true" },
                        { "SPEED_TONE", "true" },
                        { "VIDEO_TRACK_COUNT", "1" },
                        { "AUDIO_TRACK_COUNT", "1" },
                        { "TITLE_TRACK_COUNT", "1" },
                        { "TIMELINE_GAPS", "true" },
                        { "EFFECT_Crop", "2" },
                        { "SAMPLE_VIDEO_NAMES", "Beach walk" },
                        { "SAMPLE_SOUNDS_NAMES", "Chime" },
                        { "ORB_VIDEOS_NAMES", "Skater" },
                        { "ORB_SOUNDS_NAMES", "Swoosh" },
                        { "ORB_CONTENT_DESCRIPTION", "by Skater,by Swoosh" },
                        { "FTHD_PROCESSED_FILES_COUNT", "1" },
                        { "FTHD_ENABLED", "false" },
                        { "TIMELINE_MAGNET_ENABLED", "true" } }));
}

// The collector reads one number format, whatever the user's locale.
TEST_F(ExportCensus, the_part_is_told_with_a_decimal_point_in_any_locale)
{
    const std::string before = std::setlocale(LC_NUMERIC, nullptr);
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8"))
        GTEST_SKIP() << "no de_DE.UTF-8 locale here";
    timeline.addTrack(Timeline::TrackType::Video);
    place(0, Timeline::ClipKind::Clip, 0, videoFile("/x/own.mp4"));
    const Params params
        = clicked(&timeline, Export::ExportRange::partial(MTime(), MTime::fromMSec(500)), false);
    std::setlocale(LC_NUMERIC, before.c_str());
    EXPECT_EQ(params.at("EXPORT_PART_DURATION"), "0.5");
}

TEST_F(ExportCensus, a_project_without_sample_or_store_content_names_nothing)
{
    timeline.addTrack(Timeline::TrackType::Video);
    place(0, Timeline::ClipKind::Clip, 0, videoFile("/x/own.mp4")).setResourceId("gone");
    registerItem("builtin", "Shipped", EditorCollection::ItemKind::Video, Import::Object::Media,
                 true);
    const Params full = clicked(&timeline, {}, false);
    EXPECT_EQ(full.at("IS_PARTIAL_EXPORT"), "false");
    EXPECT_EQ(full.at("TIMELINE_GAPS"), "false");
    for (const auto &[key, value] : full) {
        EXPECT_EQ(key.find("_NAMES"), std::string::npos) << key;
        EXPECT_NE(key, "ORB_CONTENT_DESCRIPTION");
        EXPECT_NE(key, "EXPORT_PART_DURATION");
    }
    // Without a timeline only what does not need one is sent.
    EXPECT_EQ(clicked(nullptr, {}, false),
              (Params { { "IS_PARTIAL_EXPORT", "false" },
                        { "FTHD_ENABLED", "false" },
                        { "TIMELINE_MAGNET_ENABLED", "false" } }));
}

} // namespace
