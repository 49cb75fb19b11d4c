#pragma once

#include "applogicexport.h"

#include <chrono>
#include <memory>

// Voice-over recording: picks the input, counts down over the player, records while the
// playback runs and saves the take where the editor says. The editor reaches it through
// Capture::audioCapture(), which it registers for its lifetime. The application makes one; main
// thread.
namespace Playback {
class Player;
}

namespace Capture {

class APPLOGIC_EXPORT Controller {
public:
    struct Options {
        // One step of the countdown; only a test would shorten it.
        std::chrono::milliseconds countdownStep { 1000 };
        // The editor's playback: the countdown is drawn over it, it is stopped before a take and
        // started by the voice-over mode, and its chronometer times the take. Not owned; null:
        // the takes keep their own time.
        Playback::Player *playback = nullptr;
    };

    Controller();
    explicit Controller(const Options &options);
    // A take still running is stopped and kept on disk, where the next run offers to recover it.
    ~Controller();
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

private:
    class AudioCaptureImpl;
    const std::unique_ptr<AudioCaptureImpl> d;
};

} // namespace Capture
