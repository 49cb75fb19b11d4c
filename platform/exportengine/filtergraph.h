#pragma once

#include "exportengine_export.h"

#include "exportengine/renderplan.h"

#include <QSize>
#include <QString>

#include <boost/rational.hpp>

#include <limits>
#include <vector>

// The timeline as filter graphs of the decoder library, in its text form: the same text the
// `ffmpeg -filter_complex` option takes, so the export can be put beside the tool running the very
// same graph. Each source file is read by a `movie` (or `amovie`) source inside the graph, which
// seeks to the key frame before the piece and decodes forward. Pure functions of the plan.
namespace Export {

struct VideoFormat {
    QSize size; // even width and height
    boost::rational<std::int64_t> rate;
};

struct AudioFormat {
    int sampleRate = 48000;
    QString layout = QStringLiteral("stereo"); // the library's name of the channel layout
    int channels = 2;
};

// The picture: the main track over black, every further picture track composited over it with
// its clips' opacity and blending, the titles drawn on top; one output, labelled "out", with the
// plan's duration in frames of `format`, as yuv420p.
EXPORTENGINE_EXPORT QString videoGraph(const RenderPlan &plan, const VideoFormat &format);
// The sound: every track's pieces with silence between, crossfaded under transitions, mixed
// without a change of level; one output, labelled "out", of exactly the plan's duration, as
// planar floats.
EXPORTENGINE_EXPORT QString audioGraph(const RenderPlan &plan, const AudioFormat &format);

// A file the graph reads through a buffer source its caller feeds, instead of a movie source of
// its own: the caller opens each file only shortly before its piece and closes it after.
struct FedSource {
    QString name; // the source is the graph's filter "buffer@NAME" (or "abuffer@NAME")
    QString path;
    bool audio = false;
    bool still = false; // one picture
    double seek = 0; // from the key frame before this second of the file
    double end = std::numeric_limits<double>::infinity(); // nothing past this second is used
    double from = 0; // the output's second at which the graph first needs it
    double until = 0; // and the last
    // Pictures the graph only fits into this size (keeping their shape, even sides) may come
    // at that size already, scaled on the decoder's thread; empty: as the file has them.
    QSize fit;
    bool alpha = false; // and, so fitted, with a see-through channel
};

// The same graphs with every file read through a fed source, each listed in `fed`.
EXPORTENGINE_EXPORT QString videoGraph(const RenderPlan &plan,
                                       const VideoFormat &format,
                                       std::vector<FedSource> *fed);
EXPORTENGINE_EXPORT QString audioGraph(const RenderPlan &plan,
                                       const AudioFormat &format,
                                       std::vector<FedSource> *fed);

// The picture as two graphs, to run on two threads one after the other: the first track alone,
// output "out"; and the layers and titles over it, whose buffer source "buffer@" + stageSource
// takes the first graph's frames (yuv420p at the format's size and rate), output "out".
struct VideoStages {
    QString track;
    QString layers;
};
inline constexpr const char *stageSource = "track";
EXPORTENGINE_EXPORT VideoStages videoStages(const RenderPlan &plan,
                                            const VideoFormat &format,
                                            std::vector<FedSource> *trackFed,
                                            std::vector<FedSource> *layersFed);

// `value` as one option value inside a graph's text: escaped for the option parser and then for
// the graph parser, so any file name or title text stays one value.
EXPORTENGINE_EXPORT QString graphValue(const QString &value);

} // namespace Export
