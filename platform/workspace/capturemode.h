#pragma once

// What a recording runs along with: nothing (0), or the timeline's playback (1), which starts
// when the countdown ends and the take begins once it plays. The capture controller is started
// with it and the workspace statistics report it.
namespace Capture {

enum class Mode : int { Voice = 0, WithPlayback = 1 };

} // namespace Capture
