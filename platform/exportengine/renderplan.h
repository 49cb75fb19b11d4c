#pragma once

#include "exportengine_export.h"

#include "export/exportstate.h"
#include "util/mtime.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

namespace Timeline {
class ITimeline;
}

// What an export renders, read from the timeline in one pass on the main thread: plain values
// the engine's thread can use while the user goes on editing. Building it needs no decoder, so
// the tests check the timeline's reading without rendering a frame.
namespace Export {

// A stretch of one source file on the output's time line.
struct EXPORTENGINE_EXPORT RenderPiece {
    QString path;
    bool stillImage = false;
    MTime at; // where it starts in the output (0 is the range's start)
    MTime length; // how long it lasts in the output
    // How far into the clip the piece starts: more than zero when the range cuts the clip, so
    // the clip's fades keep their place.
    MTime skip;
    MTime clipLength; // the whole clip on the timeline
    MTime sourceIn; // where the clip starts in its file
    double speed = 1.0;
    bool pitchKept = false;
    int opacity = 100; // percent
    int volume = 100; // percent
    MTime fadeIn;
    MTime fadeOut;

    // The span of the file the piece plays, in seconds.
    double sourceStart() const;
    double sourceEnd() const;
};

struct RenderPlan {
    MTime duration;
    // The picture: one track, pieces in time order, never overlapping; what lies between is
    // black.
    std::vector<RenderPiece> video;
    // The sound: one list per track, each in time order; the picture track's clips come first
    // with their own sound. Tracks are mixed; what lies between pieces is silence.
    std::vector<std::vector<RenderPiece>> audio;
    // What the engine cannot draw and leaves out, by name, each once ("title", "transition
    // Dissolve", "effect ChromaKey", "overlay track 2").
    QStringList leftOut;
};

// The plan for exporting `range` of `timeline`. A partial range is cut to the timeline's end.
EXPORTENGINE_EXPORT RenderPlan planRender(const Timeline::ITimeline &timeline,
                                          const ExportRange &range);

// The first frame of `at` on a grid of `rate` frames per second (rounded up, so two pieces that
// meet share their boundary).
EXPORTENGINE_EXPORT std::int64_t frameAt(MTime at, boost::rational<std::int64_t> rate);
// The same on a grid of samples.
EXPORTENGINE_EXPORT std::int64_t sampleAt(MTime at, int sampleRate);

// The filter chain that turns a piece's decoded frames into the output's: trim to the piece's
// span of the file, speed, the clip's fades and opacity, the frame rate, scaled into the frame
// size with black bars. A still image enters as one frame per output frame.
EXPORTENGINE_EXPORT QString videoFilters(const RenderPiece &piece,
                                         QSize frameSize,
                                         boost::rational<std::int64_t> frameRate,
                                         const QString &pixelFormat);
// The same for sound: trim, speed (tempo with the pitch kept, or played faster and higher),
// fades and volume, resampled to the output's rate and layout as planar floats.
EXPORTENGINE_EXPORT QString audioFilters(const RenderPiece &piece,
                                         int sampleRate,
                                         const QString &channelLayout);

} // namespace Export
