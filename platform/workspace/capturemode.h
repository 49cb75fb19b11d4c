#pragma once

// How a recording is made: a plain recording into the collection, or a voice-over recorded while
// the timeline plays.
namespace Capture {

enum class Mode : int { Record = 0, VoiceOver = 1 };

} // namespace Capture
