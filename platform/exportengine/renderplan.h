#pragma once

#include "exportengine_export.h"

#include "export/exportstate.h"
#include "timeline/clip.h"
#include "util/mtime.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace Timeline {
class ITimeline;
}

// What an export renders, read from the timeline in one pass on the main thread: plain values
// the engine's thread can use while the user goes on editing. Building it needs no decoder, so
// the tests check the timeline's reading without rendering a frame.
namespace Export {

// How a piece changes into the next one of its track. Transitions lie centred on the cut: the
// left clip plays on for half the transition past its end, the right one starts half of it
// early, each from its file's material beyond its in or out point (its first or last picture
// held where the file has none).
struct RenderJoin {
    QString picture; // the xfade name ("fade", "wipeleft"...)
    MTime length; // the whole overlap, centred on the cut
};

// A stretch of one source file (or a title) on the output's time line.
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
    Timeline::BlendingMode blending = Timeline::BlendingMode::SourceOver;
    // Copies of the switched-on effects the engine draws, in the clip's order.
    std::vector<std::shared_ptr<const Effect::Object>> effects;
    // Pan and zoom over the clip: from the first to the last key frame, zooming in (or out).
    bool panZoom = false;
    bool zoomOut = false;
    MTime panZoomFrom;
    MTime panZoomTo;
    bool stabilized = false;
    // The change into this piece from the one before it on its track; none for a cut.
    std::optional<RenderJoin> join;
    // A transition at an open end of the track: a fade from or to black of this length.
    MTime openIn;
    MTime openOut;
    // The title drawn for a title clip (no file).
    std::optional<Timeline::TitleItem> title;

    // Extra output time before `at` and after `at + length` the piece shows under a transition.
    MTime lead;
    MTime tail;

    // The span of the file the piece plays, in seconds.
    double sourceStart() const;
    double sourceEnd() const;
};

// A track's pieces in time order; they overlap only where a transition joins them.
using RenderTrack = std::vector<RenderPiece>;

// A layer over the picture: an overlay (or further video) track, or a title track.
struct RenderLayer {
    enum Kind { Pictures, Titles } kind = Pictures;
    RenderTrack pieces;
};

struct RenderPlan {
    MTime duration;
    // The picture: the first video track, black between its pieces, then every other picture
    // and title track over it, in track order.
    RenderTrack video;
    std::vector<RenderLayer> layers;
    // The sound: one list per track, each in time order; the picture track's clips come first
    // with their own sound. Tracks are mixed; what lies between pieces is silence.
    std::vector<RenderTrack> audio;
    // What the engine cannot draw and leaves out, by name, each once ("effect BackgroundRemove",
    // "transition ShaderISF (shown as a dissolve)").
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

} // namespace Export
