#pragma once

// The timeline's picture and sound as streams of frames, each pulled from one filter graph (see
// filtergraph.h) whose sources read the files. Internal to the engine's library.

#include "exportengine/filtergraph.h"
#include "exportengine/libav.h"
#include "exportengine/sources.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace Export::Detail {

struct VideoSpec {
    int width;
    int height;
    AVRational rate;
    AVPixelFormat format;
};

struct AudioSpec {
    int rate;
    AVChannelLayout layout;
};

// A graph's text and the sources it is fed from.
class GraphOutput;
struct FedGraph {
    QString text;
    std::vector<FedSource> fed;
    GraphOutput *under = nullptr; // the graph the stage source takes its frames from
};
FedGraph fedVideoGraph(const RenderPlan &plan, const VideoFormat &format);
FedGraph fedAudioGraph(const RenderPlan &plan, const AudioFormat &format);
// The picture in two stages (see videoStages): the first track, and the layers over `track`.
FedGraph trackGraph(const RenderPlan &plan, const VideoFormat &format);
FedGraph layersGraph(const RenderPlan &plan, const VideoFormat &format, GraphOutput *track);

// A graph made from its text, its output "out" led through `tail` (filters after it, may be
// empty) to a sink. One thread uses it at a time.
class GraphOutput {
public:
    GraphOutput(const QString &description, AVMediaType type, const QString &tail, int threads);
    // A graph whose files are read through the sources `fed` lists (see FedSource), each opened
    // shortly before the output reaches it.
    GraphOutput(const FedGraph &graph, AVMediaType type, const QString &tail, int threads);
    GraphOutput(const QString &description,
                std::vector<FedSource> fed,
                AVMediaType type,
                const QString &tail,
                int threads,
                GraphOutput *under = nullptr);
    ~GraphOutput();
    GraphOutput(const GraphOutput &) = delete;
    GraphOutput &operator=(const GraphOutput &) = delete;

    // Sound comes out in frames of this many samples (the last may be shorter).
    void setFrameSize(int samples);
    // The next frame; null once the graph has ended.
    FramePtr next();
    const AVFilterContext *sink() const { return m_sink; }

private:
    GraphPtr m_graph;
    AVFilterContext *m_sink = nullptr;
    std::unique_ptr<FedSources>
        m_sources; // before the graph goes: its threads hold the graph's buffers
};

// Every file a plan reads, opened once before the graph is (with `probe`): a file gone or damaged
// since it was added is told in the user's words, not the filter library's. A single picture
// skips the probe, which would cost as much as the picture.
void checkSources(const RenderPlan &plan, const QString &outputPath, bool probe = true);

// The picture, `frames` of it, made on a thread of its own a few frames ahead of the encoder: the
// graph and the encoder overlap instead of taking turns on one core. A graph that ends early
// holds its last picture.
class VideoAhead {
public:
    VideoAhead(const RenderPlan &plan, const VideoSpec &spec, std::int64_t frames);
    VideoAhead(const RenderPlan &plan, const VideoSpec &spec, std::int64_t frames, bool staged);
    ~VideoAhead();

    // Frame `index` (asked for in order), its pts the index; throws what the thread met.
    FramePtr next();

private:
    void produce();

    // Enough to keep the encoder fed through a slow frame; each is a whole picture.
    static constexpr std::size_t depth = 4;
    // The first track's graph, when layers lie over it: it runs on a thread of its own feeding
    // the graph of the layers, so the two share the work of a frame.
    std::unique_ptr<GraphOutput> m_track;
    GraphOutput m_graph;
    std::int64_t m_frames;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<FramePtr> m_queue;
    std::exception_ptr m_error;
    bool m_stop = false;
    std::thread m_thread; // last: starts when the rest is ready
};

// The sound, mixed, in frames of the encoder's size and sample format, pts in samples.
class AudioMix {
public:
    AudioMix(const RenderPlan &plan,
             const AudioSpec &spec,
             std::int64_t samples,
             AVSampleFormat format,
             int frameSize);

    // Null when all is out.
    FramePtr next();

private:
    GraphOutput m_graph;
    std::int64_t m_total;
    std::int64_t m_out = 0;
};

} // namespace Export::Detail
