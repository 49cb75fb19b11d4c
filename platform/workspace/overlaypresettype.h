#pragma once

// Which overlay editor is open: the one for the selected title, shape, sticker or subtitle.
namespace Overlay {

enum class PresetType : int {
    InvalidClipSelection = 0,
    Title = 1,
    Shape = 2,
    Sticker = 3,
    SttSubtitle = 4,
};

} // namespace Overlay
