#pragma once

#include "exportengine_export.h"

#include "export/exportstate.h"

#include <QImage>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

namespace Timeline {
class ITimeline;
}

// The editor's export engine: renders a timeline to a video file with the decoder library's
// filters and encoders, on a thread of its own. The state changes (started, finished, cancelled,
// failed) reach every Export::ExportStateWatcher on the thread that owns the engine, which must
// run an event loop; so does the progress. The file appears at its path only when complete:
// until then the engine writes a temporary file beside it, and a cancelled or failed export
// removes that and leaves whatever stood at the path.
namespace Export {

struct ExportProgress {
    double fraction = 0; // 0 to 1, over every pass
    double speed = 0; // seconds of video made per second of work
    double secondsLeft = -1; // -1 until it can be told
};

class EXPORTENGINE_EXPORT Engine {
public:
    Engine();
    // Cancels an export under way and waits for its thread; the watchers hear of the cancel.
    ~Engine();
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    // Reads the timeline now (it may change as soon as this returns) and starts rendering
    // `range` of it with `preset` to `outputPath`. The watchers hear "started" before this
    // returns. Returns false, doing nothing, while an export is under way.
    bool start(const Timeline::ITimeline &timeline,
               const ExportPreset &preset,
               const ExportRange &range,
               const QString &outputPath);
    // Stops at the next frame; the watchers then hear "cancelled". Safe from any thread.
    void cancel();
    bool isRunning() const;

    // What the last start left out because the engine cannot draw it, each named once (the
    // log has one warning naming them all).
    QStringList leftOut() const;
    // Called on the owner's thread a few times a second while an export runs, and once more at
    // its end.
    void setProgressHandler(std::function<void(const ExportProgress &)> handler);

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

// The encoder the engine would use for a preset's codec name ("h264", "vp9", "aac"...), empty
// when this build has none.
EXPORTENGINE_EXPORT QString encoderFor(const QString &codec);

// The sizes the output may reach, from the preset's bit rates or, for a quality mode, from the
// range of bits per pixel such encodings take.
EXPORTENGINE_EXPORT void
estimateSize(const ExportPreset &preset, MTime duration, std::int64_t *min, std::int64_t *max);

// The one picture the export shows at `at` (on a grid of 30 frames a second), made `size` large
// by the export's own graph: each file read from the key frame before its piece. The player and
// the thumbnails use it too. Throws std::runtime_error in words for the user: a time past the
// end, a file missing or damaged.
EXPORTENGINE_EXPORT QImage pictureAt(const Timeline::ITimeline &timeline, MTime at, QSize size);

} // namespace Export
