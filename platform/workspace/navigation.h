#pragma once

// The pages of the editor's side panel and the settings screens that replace it. The numbers
// are what the workspace reports, so they are fixed.
namespace Navigation {

enum class Page : int {
    Imports = 0,
    Effects = 1,
    Transitions = 2,
    Titles = 3,
    Stickers = 4,
    Audios = 5,
    EffectsStore = 6,
    Tools = 7,
    ClipSettings = 8,
    ClipAdjustments = 9,
    VoiceOver = 10,
    OverlaySettings = 11,
    OrbExtensions = 12,
    // The settings of several transitions at once, and of the one selected.
    TransitionsSettings = 13,
    TransitionSettings = 14,
    MotionTrackingSettings = 15,
};

} // namespace Navigation
