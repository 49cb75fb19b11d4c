#include "exportengine/tracks.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
}

#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

#include <algorithm>
#include <set>

namespace Export::Detail {

GraphOutput::GraphOutput(const QString &description,
                         AVMediaType type,
                         const QString &tail,
                         int threads)
    : GraphOutput(description, {}, type, tail, threads)
{
}

FedGraph fedVideoGraph(const RenderPlan &plan, const VideoFormat &format)
{
    FedGraph g;
    g.text = videoGraph(plan, format, &g.fed);
    return g;
}

FedGraph trackGraph(const RenderPlan &plan, const VideoFormat &format)
{
    FedGraph g;
    std::vector<FedSource> unused;
    g.text = videoStages(plan, format, &g.fed, &unused).track;
    return g;
}

FedGraph layersGraph(const RenderPlan &plan, const VideoFormat &format, GraphOutput *track)
{
    FedGraph g;
    std::vector<FedSource> unused;
    g.text = videoStages(plan, format, &unused, &g.fed).layers;
    g.under = track;
    return g;
}

FedGraph fedAudioGraph(const RenderPlan &plan, const AudioFormat &format)
{
    FedGraph g;
    g.text = audioGraph(plan, format, &g.fed);
    return g;
}

GraphOutput::GraphOutput(const FedGraph &graph, AVMediaType type, const QString &tail, int threads)
    : GraphOutput(graph.text, graph.fed, type, tail, threads, graph.under)
{
}

GraphOutput::GraphOutput(const QString &description,
                         std::vector<FedSource> fed,
                         AVMediaType type,
                         const QString &tail,
                         int threads,
                         GraphOutput *under)
{
    m_graph.reset(avfilter_graph_alloc());
    if (!m_graph)
        throw std::bad_alloc();
    m_graph->nb_threads = threads;
    const bool video = type == AVMEDIA_TYPE_VIDEO;
    check(avfilter_graph_create_filter(&m_sink,
                                       avfilter_get_by_name(video ? "buffersink" : "abuffersink"),
                                       "sink", nullptr, nullptr, m_graph.get()),
          "creating the filter sink");
    const QString text = tail.isEmpty()
        ? description
        : description + QStringLiteral(";[out]") + tail + QStringLiteral("[end]");
    AVFilterInOut *inputs = avfilter_inout_alloc();
    if (!inputs)
        throw std::bad_alloc();
    inputs->name = av_strdup(tail.isEmpty() ? "out" : "end");
    inputs->filter_ctx = m_sink;
    AVFilterInOut *outputs = nullptr;
    int r = avfilter_graph_parse_ptr(m_graph.get(), text.toUtf8().constData(), &inputs, &outputs,
                                     nullptr);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (r >= 0 && (!fed.empty() || under))
        m_sources = std::make_unique<FedSources>(std::move(fed), m_graph.get(), under);
    if (r >= 0)
        r = avfilter_graph_config(m_graph.get(), nullptr);
    if (r < 0) {
        LOG(WARNING) << "The filter graph that failed: " << text.toStdString();
        internalFailure(video ? QStringLiteral("the picture's filters")
                              : QStringLiteral("the sound's filters"),
                        r);
    }
}

GraphOutput::~GraphOutput()
{
    m_sources.reset();
}

void GraphOutput::setFrameSize(int samples)
{
    av_buffersink_set_frame_size(m_sink, static_cast<unsigned>(samples));
}

FramePtr GraphOutput::next()
{
    FramePtr frame = newFrame();
    for (;;) {
        const int r = av_buffersink_get_frame(m_sink, frame.get());
        if (r == AVERROR_EOF)
            return nullptr;
        if (r == AVERROR(EAGAIN) && m_sources && m_sources->feed())
            continue;
        if (r < 0)
            internalFailure(QStringLiteral("reading the filters"), r);
        break;
    }
    if (m_sources && frame->pts != AV_NOPTS_VALUE)
        m_sources->reached(static_cast<double>(frame->pts)
                           * av_q2d(av_buffersink_get_time_base(m_sink)));
    return frame;
}

void checkSources(const RenderPlan &plan, const QString &outputPath, bool probe)
{
    const QString target = QFileInfo(outputPath).canonicalFilePath();
    std::set<QString> seen;
    auto check = [&](const RenderPiece &p) {
        if (p.path.isEmpty() || !seen.insert(p.path).second)
            return;
        // Renaming the video over a file it is made from would lose the file.
        if (!target.isEmpty() && QFileInfo(p.path).canonicalFilePath() == target)
            throw Failure(tr("Output is a source"),
                          tr("%1 is used by the project. Choose another file name.").arg(p.path));
        const QFileInfo info(p.path);
        if (!info.exists())
            throw Failure(tr("Source file missing"),
                          tr("%1 is missing: it was moved or deleted after it was added. Put it "
                             "back or remove its clips.")
                              .arg(p.path));
        if (!probe)
            return;
        AVFormatContext *raw = nullptr;
        int r = info.isFile()
            ? avformat_open_input(&raw, QFile::encodeName(p.path).constData(), nullptr, nullptr)
            : AVERROR_INVALIDDATA;
        // The header alone: the graph's sources read the streams themselves, and decoding a
        // few frames of every file here would cost time and memory for nothing.
        InputPtr input(raw);
        if (r < 0)
            throw Failure(tr("Source file damaged"),
                          tr("%1 cannot be read (%2). Replace it or remove its clips.")
                              .arg(p.path, avText(r)));
    };
    std::for_each(plan.video.begin(), plan.video.end(), check);
    for (const RenderLayer &layer : plan.layers)
        std::for_each(layer.pieces.begin(), layer.pieces.end(), check);
    for (const auto &track : plan.audio)
        std::for_each(track.begin(), track.end(), check);
}

namespace {

VideoFormat videoFormat(const VideoSpec &spec)
{
    return { QSize(spec.width, spec.height),
             boost::rational<std::int64_t>(spec.rate.num, spec.rate.den) };
}

} // namespace

namespace {

bool hasLayers(const RenderPlan &plan)
{
    return std::any_of(plan.layers.begin(), plan.layers.end(),
                       [](const RenderLayer &l) { return !l.pieces.empty(); });
}

} // namespace

VideoAhead::VideoAhead(const RenderPlan &plan, const VideoSpec &spec, std::int64_t frames)
    : VideoAhead(plan, spec, frames, hasLayers(plan))
{
}

VideoAhead::VideoAhead(const RenderPlan &plan,
                       const VideoSpec &spec,
                       std::int64_t frames,
                       bool staged)
    : m_track(staged ? std::make_unique<GraphOutput>(trackGraph(plan, videoFormat(spec)),
                                                     AVMEDIA_TYPE_VIDEO,
                                                     QString(),
                                                     0)
                     : nullptr)
    , m_graph(staged ? layersGraph(plan, videoFormat(spec), m_track.get())
                     : fedVideoGraph(plan, videoFormat(spec)),
              AVMEDIA_TYPE_VIDEO,
              QStringLiteral("format=%1").arg(QLatin1String(av_get_pix_fmt_name(spec.format))),
              0)
    , m_frames(frames)
    , m_thread([this] { produce(); })
{
}

VideoAhead::~VideoAhead()
{
    {
        std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

FramePtr VideoAhead::next()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return !m_queue.empty() || m_error; });
    if (m_queue.empty())
        std::rethrow_exception(m_error);
    FramePtr frame = std::move(m_queue.front());
    m_queue.pop_front();
    m_changed.notify_all();
    return frame;
}

void VideoAhead::produce()
{
    try {
        FramePtr last;
        for (std::int64_t i = 0; i < m_frames; ++i) {
            FramePtr frame = m_graph.next();
            if (frame)
                last = cloneFrame(frame.get());
            else if (last)
                frame = cloneFrame(last.get());
            else
                internalFailure(QStringLiteral("the picture's filters"), AVERROR_EOF);
            frame->pts = i;
            frame->pict_type = AV_PICTURE_TYPE_NONE;
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return m_queue.size() < depth || m_stop; });
            if (m_stop)
                return;
            m_queue.push_back(std::move(frame));
            m_changed.notify_all();
        }
    } catch (...) {
        std::lock_guard lock(m_mutex);
        m_error = std::current_exception();
        m_changed.notify_all();
    }
}

AudioMix::AudioMix(const RenderPlan &plan,
                   const AudioSpec &spec,
                   std::int64_t samples,
                   AVSampleFormat format,
                   int frameSize)
    : m_graph(
        fedAudioGraph(plan, { spec.rate, layoutName(spec.layout), spec.layout.nb_channels }),
        AVMEDIA_TYPE_AUDIO,
        QStringLiteral("aformat=sample_fmts=%1").arg(QLatin1String(av_get_sample_fmt_name(format))),
        1)
    , m_total(samples)
{
    m_graph.setFrameSize(frameSize);
}

FramePtr AudioMix::next()
{
    if (m_out >= m_total)
        return nullptr;
    FramePtr frame = m_graph.next();
    if (!frame)
        return nullptr;
    if (m_out + frame->nb_samples > m_total)
        frame->nb_samples = static_cast<int>(m_total - m_out);
    frame->pts = m_out;
    m_out += frame->nb_samples;
    return frame;
}

} // namespace Export::Detail
