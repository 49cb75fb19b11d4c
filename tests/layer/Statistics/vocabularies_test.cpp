#include "Statistics/aistatistics.h"
#include "Statistics/bladestatistics.h"
#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/collectionstatistics.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/speechtotextstatistics.h"
#include "Statistics/transitionstatistics.h"
#include "Statistics/vocabularies.h"
#include "Statistics/workspacestatistics.h"

#include "tablerow.h"
#include "timeline/videoeffects.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Statistics;

// One vocabulary: the words of the values 0, 1, 2... in order, and what any other value gives.
// A null word: no event is sent for that value.
struct Vocabulary : TestSupport::TableRow {
    const char *(*word)(int);
    std::vector<const char *> words;
    const char *fallback;
};

template<class Enum, const char *(*Lookup)(Enum)> const char *of(int value)
{
    return Lookup(static_cast<Enum>(value));
}

class Vocabularies : public ::testing::TestWithParam<Vocabulary> { };

TEST_P(Vocabularies, give_each_value_its_word_and_any_other_the_fallback)
{
    const Vocabulary &v = GetParam();
    const int count = static_cast<int>(v.words.size());
    for (int value = 0; value < count; ++value)
        EXPECT_STREQ(v.word(value), v.words[value]) << "value " << value;
    for (int value : { -1, count, count + 1000 })
        EXPECT_STREQ(v.word(value), v.fallback) << "value " << value;
}

using Zoom = Stabilization::FileStabilizeRequest::Zoom;

const Vocabulary vocabularies[] = {
    { "tutorial",
      of<Tutorial, tutorialName>,
      { "EDITOR_STARTED", "EFFECTS", "TRANSITIONS", "TITLES", "CALLOUTS", "STICKERS", "PAGE_LUTS",
        "PAGE_SAMPLE_PROJECT", "PAGE_MASK_MOTION_TRACKING", "STICKER_DROP", "TITLE_DROP",
        "DENOISER", "BACKGROUND_REMOVER", "BLADE_TOOL", "SPECIAL_FX", "SPEECH_TO_TEXT",
        "MULTI_TRACK", "SHADER_ISF_FX" },
      "UNKNOWN" },
    { "tutorial_page",
      of<TutorialPage, tutorialPageName>,
      { "TIMELINE", "EXPORT", "TOOLS", "EDIT_PANEL", "ADD_FILES", "SPEECH_TO_TEXT_ONBOARDING" },
      "UNKNOWN" },
    { "tutorial_close_trigger",
      of<TutorialCloseTrigger, tutorialCloseTriggerName>,
      { "finish_button", "skip_all_button", "skip_all_esc", "app_closed", "playback_started",
        "skipped", "try" },
      "UNKNOWN" },
    { "stabilization_zoom",
      of<Zoom, stabilizationZoomName>,
      { "Disabled", "Static", "Adaptive" },
      "" },
    { "equalizer_preset",
      equalizerPresetName,
      { "Custom",       "Flat",      "VoiceEnhance", "MusicEnhance",  "Loudness",
        "HumReduction", "BassBoost", "BassReduce",   "TrebleBoost",   "TrebleReduce",
        "Acoustic",     "Classical", "Dance",        "Deep",          "Electronic",
        "Hip-hop",      "Jazz",      "Latin",        "Lounge",        "Piano",
        "Pop",          "RNB",       "Rock",         "SmallSpeakers", "Saved" },
      "UNKNOWN" },
    { "mask_shape", maskShapeName, { "rectangle", "circle" }, "" },
    { "mask_edge_mode", maskEdgeModeName, { "fade", "blur" }, "" },
    { "sharing_service",
      of<SharingService, sharingName>,
      { "YOUTUBE", "VIMEO", "GOOGLE_DRIVE", "TIKTOK" },
      "UNKNOWN" },
    { "wizard_sort_order",
      of<FilmMakerImportPageDone::SortOrder, sortOrderName>,
      { "NONE", "NAME", "DATE", "SHUFFLE" },
      "" },
    { "wizard_background",
      of<FilmMakerFinished::Background, backgroundName>,
      { "CROP", "FILL_BLACK_BARS", "NONE" },
      "UNKNOWN" },
    { "wizard_result_event",
      of<FilmMakerFinished::Action, wizardResultEvent>,
      { nullptr, nullptr, "WU_ADVANCED_EDIT", "WU_EXPORT_VIDEO", "WU_SHARE_VIDEO" },
      nullptr },
    { "wizard_theme_status_event",
      of<FilmMakerThemeStatusChanged::Status, themeStatusEvent>,
      { "WU_THEME_CLICKED", "WU_THEME_DOWNLOAD", "WU_THEME_DOWNLOAD_STOPPED",
        "WU_THEME_DOWNLOAD_FAILED" },
      nullptr },
    { "wizard_file_event",
      of<FileAddedInFilmMakerNotification::Way, filmMakerFileEvent>,
      { "WU_FILES_DRAG_AND_DROP_ADDED_CLICKED", "WU_MUSIC_DRAG_AND_DROP_ADDED_CLICKED",
        "WU_MUSIC_WINDOW_CLICKED", "WU_SAMPLE_MUSIC_ADDED" },
      nullptr },
    { "player_event",
      of<PlayerEventNotification::Kind, playerEvent>,
      { "FRAME_NAVIGATION_USED", "FRAME_NAVIGATION_USED", "CLIP_NAVIGATION_USED",
        "CLIP_NAVIGATION_USED" },
      nullptr },
    { "player_direction",
      of<PlayerEventNotification::Kind, playerDirection>,
      { "PREVIOUS", "NEXT", "PREVIOUS", "NEXT" },
      "" },
    { "adding_method",
      of<AddingMethod, addingMethodText>,
      { "drag_and_drop_collection",
        "drag_and_drop_timeline",
        "drag_and_drop_timeline_collection",
        "drag_and_drop_collection_to_timeline",
        "drag_and_drop_explorer",
        "context_menu",
        "player_drag_and_drop",
        "intro_clip_drag_and_drop",
        "import_button",
        "collection_button",
        "collection_context_menu",
        "plus_btn_files",
        "plus_btn_music",
        "main_menu",
        "main_import_button",
        "timeline_import_button",
        "import_folders",
        "audio_rec",
        "external",
        "collection_item_double_click",
        "collection_item_click",
        "current_position_collection",
        "in_beginning_collection",
        "in_ending_collection",
        "after_current_clip_collection",
        "transition_settings",
        "generated",
        "undo",
        "redo" },
      "unknown" },
    { "h265_notice_action",
      of<UnsupportedCodecInfoDialogAction, unsupportedCodecInfoDialogActionText>,
      { "SKIPPED", "CLOSED" },
      "INVALID_ACTION" },
    { "export_quality",
      of<Export::Quality, exportQualityText>,
      { "draft", "good", "high", "custom" },
      "" },
    { "bitrate_mode",
      of<Export::BitrateMode, bitrateModeText>,
      { "", "CBR_AUTO", "CBR", "VBR" },
      "" },
    { "encoding_speed",
      of<Export::EncodingSpeed, encodingSpeedText>,
      { "ultrafast", "superfast", "veryfast", "faster", "fast", "medium", "slow", "slower",
        "veryslow" },
      "UNKNOWN" },
    { "encoding_tune",
      of<Export::EncodingTune, encodingTuneText>,
      { "film", "animation", "grain", "stillimage", "psnr", "ssim", "fastdecode", "zerolatency" },
      "UNKNOWN" },
    { "speech_to_text_result",
      speechToTextResultText,
      { "Invalid", "ERROR", "SUCCESS", "Invalid", "Invalid", "CANCELLED" },
      "Invalid" },
    { "speech_to_text_error",
      speechToTextErrorText,
      { "NO_ERROR", "CORRUPT_FILE", "NO_SPEECH_RECOGNIZED", "MODEL_INIT_ERROR" },
      "Invalid" },
    { "ai_download_reason",
      of<AiModelDownloadReason, aiModelDownloadReasonText>,
      { "first", "retry", "update" },
      "unknown" },
    { "blade_alert_closed",
      of<BladeAlertClosedMethod, bladeAlertClosedMethodText>,
      { "ENABLE", "CLOSE" },
      "" },
    { "blade_mode", of<BladeMode, bladeModeText>, { "NORMAL", "WIDE" }, "" },
    { "blade_selected",
      of<BladeSelectedMethod, bladeSelectedMethodText>,
      { "HOTKEY", "EDIT_PANEL" },
      "UNKNOWN" },
    { "cursor_selected",
      of<CursorSelectedMethod, cursorSelectedMethodText>,
      { "HOTKEY_A", "HOTKEY_ESC", "EDIT_PANEL" },
      "UNKNOWN" },
    { "screen_of_page",
      of<Navigation::Page, pageScreenText>,
      { "PAGE_IMPORTS", "PAGE_EFFECTS", "PAGE_TRANSITIONS", "PAGE_TITLES", "PAGE_STICKERS",
        "PAGE_AUDIOS", "PAGE_EFFECTS_STORE", "PAGE_TOOLS", "CLIP_SETTINGS", "CLIP_ADJUSTMENTS",
        "PAGE_VOICE_OVER", "OVERLAY_SETTINGS", "PAGE_ORB_EXTENSIONS", "TRANSITIONS_SETTINGS",
        "TRANSITION_SETTINGS", "MOTION_TRACKING_SETTINGS" },
      "UNKNOWN" },
    { "screen_of_overlay_editor",
      of<Overlay::PresetType, overlayEditorScreenText>,
      { "INVALID_CLIP_SELECTION", "TITLE_SETTINGS", "SHAPE_SETTINGS", "STICKER_SETTINGS",
        "STT_SUBTITLE_SETTINGS" },
      "UNKNOWN" },
    { "wizard_event",
      of<WizardType, wizardEvent>,
      { "TRANSITION_WIZARD_APPLIED", "CLIP_DURATION_WIZARD_APPLIED", "PANZOOM_WIZARD_APPLIED" },
      nullptr },
    { "blending_mode",
      of<BlendingMode, blendingModeText>,
      { "OVERLAY", "LIGHTEN", "COLOR", "COLOR_DODGE", "LINEAR_DODGE", "SOURCE_OVER", "SCREEN",
        "DIFFERENCE", "MULTIPLY", "DARKEN", "COLOR_BURN", "HARD_LIGHT", "SOFT_LIGHT", "EXCLUSION" },
      "UNKNOWN" },
    { "availability_filter",
      of<EditorCollection::AvailabilityFilter, availabilityFilterText>,
      { "ALL", "FREE", "PAID" },
      "" },
    { "import_reason",
      of<EditorCollection::ImportReason, importReasonText>,
      { "SILENT", "CLICK", "DRAG", "BATCH" },
      "" },
    { "item_preview_method",
      of<ItemPreviewMethod, itemPreviewMethodText>,
      { "CLICK", "HOVER" },
      "" },
    { "item_install_result",
      of<ItemInstallResult, itemInstallResultText>,
      { "FAIL", "SUCCESS", "CANCEL", "CANCEL" },
      "FAIL" },
    { "item_install_error",
      of<ItemInstallResult, itemInstallErrorText>,
      { "UNKNOWN", "OK", "DOWNLOAD_CANCELLED", "INSTALL_CANCELLED", "CONNECTION_ERROR",
        "CANT_CREATE_FILE", "CANT_MOVE_FILE", "MISMATCHED_RESOURCE_SIZE", "CORRUPTED_FILE",
        "NOT_ENOUGH_SPACE", "USED_BY_ANOTHER_PROCESS" },
      "UNKNOWN" },
    { "trending_download_result",
      of<Downloader::ResultCode, downloadResultText>,
      { "SUCCESS", "CANCEL", "FAILED" },
      "" },
};

INSTANTIATE_TEST_SUITE_P(Statistics,
                         Vocabularies,
                         ::testing::ValuesIn(vocabularies),
                         TestSupport::tableRowName);

using Tool = Effect::ManualEnhance::Tool;

struct ToolsCase : TestSupport::TableRow {
    std::vector<std::pair<Tool, double>> changes;
    const char *used;
};

class ToolsUsed : public ::testing::TestWithParam<ToolsCase> { };

TEST_P(ToolsUsed, lists_only_changed_tools_in_table_order)
{
    Effect::ManualEnhance colour;
    for (const auto &[tool, value] : GetParam().changes)
        colour.setValue(tool, value);
    EXPECT_EQ(toolsUsed(colour), GetParam().used);
}

INSTANTIATE_TEST_SUITE_P(
    Statistics,
    ToolsUsed,
    ::testing::Values(
        ToolsCase { "none", {}, "" },
        ToolsCase { "changed_back", { { Tool::Hue, 5 }, { Tool::Hue, 0 } }, "" },
        ToolsCase { "out_of_order",
                    { { Tool::Tint, 1 }, { Tool::Brightness, -1 }, { Tool::Gamma, 1.2 } },
                    "Brightness,Gamma,Tint" },
        ToolsCase { "gamma_at_one_is_untouched",
                    { { Tool::Gamma, 1.0 }, { Tool::Shadows, 0.5 } },
                    "Shadows" },
        ToolsCase { "gamma_at_zero_is_changed", { { Tool::Gamma, 0.0 } }, "Gamma" },
        ToolsCase {
            "all",
            { { Tool::Brightness, 1 },
              { Tool::Contrast, 1 },
              { Tool::Saturation, 1 },
              { Tool::Highlights, 1 },
              { Tool::Gamma, 2 },
              { Tool::Shadows, 1 },
              { Tool::Hue, 1 },
              { Tool::Temperature, 1 },
              { Tool::Tint, 1 } },
            "Brightness,Contrast,Saturation,Highlights,Gamma,Shadows,Hue,Temperature,Tint" }),
    TestSupport::tableRowName);

} // namespace
