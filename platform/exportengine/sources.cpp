#include "exportengine/sources.h"

#include "exportengine/tracks.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/cpu.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include "util/mtime.h"

#include <QFile>

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace Export::Detail {

namespace {

// How early a source starts decoding before the output needs it: time enough to open a file,
// seek and decode from a key frame a few seconds back.
constexpr double leadSeconds = 1.5;
// How long after its last use a source may still be asked for (a graph holding a picture).
constexpr double graceSeconds = 1.0;

struct SwsFree {
    void operator()(SwsContext *c) const { sws_freeContext(c); }
};
struct SwrFree {
    void operator()(SwrContext *c) const { swr_free(&c); }
};
struct PoolFree {
    // The buffers still out keep the pool until they come back.
    void operator()(AVBufferPool *p) const { av_buffer_pool_uninit(&p); }
};

QString damaged(const QString &path, const QString &why)
{
    return tr("%1 cannot be read (%2). Replace it or remove its clips.").arg(path, why);
}

InputPtr openInput(const QString &path)
{
    AVFormatContext *raw = nullptr;
    const int r = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (r < 0)
        throw Failure(tr("Source file damaged"), damaged(path, avText(r)));
    return InputPtr(raw);
}

} // namespace

class Source {
public:
    Source(FedSource use, AVFilterContext *buffer)
        : m_use(std::move(use))
        , m_buffer(buffer)
    {
    }

    // The frames of another graph's output.
    Source(AVFilterContext *buffer, GraphOutput *under)
        : m_use { QLatin1String(stageSource), {}, false, false, 0, HUGE_VAL, 0, HUGE_VAL, {}, false }
        , m_buffer(buffer)
        , m_under(under)
    {
        const AVFilterContext *sink = under->sink();
        AVBufferSrcParameters *params = av_buffersrc_parameters_alloc();
        if (!params)
            throw std::bad_alloc();
        m_pixels = static_cast<AVPixelFormat>(av_buffersink_get_format(sink));
        m_width = av_buffersink_get_w(sink);
        m_height = av_buffersink_get_h(sink);
        params->format = m_pixels;
        params->width = m_width;
        params->height = m_height;
        params->time_base = av_buffersink_get_time_base(sink);
        params->sample_aspect_ratio = av_buffersink_get_sample_aspect_ratio(sink);
        params->frame_rate = av_buffersink_get_frame_rate(sink);
        const int r = av_buffersrc_parameters_set(m_buffer, params);
        av_free(params);
        check(r, "describing a stage");
    }

    ~Source()
    {
        stop();
        av_channel_layout_uninit(&m_layout);
    }

    const FedSource &use() const { return m_use; }
    bool started() const { return m_thread.joinable() || m_closed; }
    bool closed() const { return m_closed; }
    unsigned waiting() const
    {
        return m_closed ? 0 : av_buffersrc_get_nb_failed_requests(m_buffer);
    }

    // Reads the header and tells the buffer the format; keeps the file open when it is wanted
    // at once.
    void declare(bool keepOpen)
    {
        InputPtr input = openInput(m_use.path);
        const AVMediaType type = m_use.audio ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO;
        m_stream = av_find_best_stream(input.get(), type, -1, -1, nullptr, 0);
        AVCodecParameters *par = m_stream >= 0 ? input->streams[m_stream]->codecpar : nullptr;
        const bool known = par
            && (m_use.audio ? par->sample_rate > 0 && par->ch_layout.nb_channels > 0
                            : par->width > 0 && par->height > 0);
        if (!known) {
            // Some containers (single pictures, raw streams) say nothing until a frame is read.
            const int r = avformat_find_stream_info(input.get(), nullptr);
            if (r < 0)
                throw Failure(tr("Source file damaged"), damaged(m_use.path, avText(r)));
            m_stream = av_find_best_stream(input.get(), type, -1, -1, nullptr, 0);
            par = m_stream >= 0 ? input->streams[m_stream]->codecpar : nullptr;
        }
        if (!par)
            throw Failure(
                tr("Source file damaged"),
                damaged(m_use.path, m_use.audio ? tr("it has no sound") : tr("it has no picture")));
        const AVStream *stream = input->streams[m_stream];
        m_timeBase = stream->time_base;
        AVBufferSrcParameters *params = av_buffersrc_parameters_alloc();
        if (!params)
            throw std::bad_alloc();
        params->time_base = m_timeBase;
        if (m_use.audio) {
            m_samples = static_cast<AVSampleFormat>(par->format);
            if (m_samples == AV_SAMPLE_FMT_NONE)
                m_samples = decoderSampleFormat(par);
            m_rate = par->sample_rate;
            if (par->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
                av_channel_layout_default(&m_layout, par->ch_layout.nb_channels);
            else
                av_channel_layout_copy(&m_layout, &par->ch_layout);
            params->format = m_samples;
            params->sample_rate = m_rate;
            av_channel_layout_copy(&params->ch_layout, &m_layout);
        } else {
            // The header rarely names the decoder's pixel format; the usual one is assumed and a
            // file that decodes to another is converted as it is read.
            m_pixels
                = par->format >= 0 ? static_cast<AVPixelFormat>(par->format) : AV_PIX_FMT_YUV420P;
            m_width = par->width;
            m_height = par->height;
            if (!m_use.fit.isEmpty()) {
                // As the graph's scale fits it (shape kept, rounded to even sides), so that
                // filter passes the picture on untouched.
                const int w = m_use.fit.width();
                const int h = m_use.fit.height();
                const int fitW = std::min<int>(w, av_rescale(h, m_width, m_height)) / 2 * 2;
                const int fitH = std::min<int>(h, av_rescale(w, m_height, m_width)) / 2 * 2;
                if (fitW > 0 && fitH > 0) {
                    m_width = fitW;
                    m_height = fitH;
                    m_pixels = m_use.alpha ? AV_PIX_FMT_YUVA420P : AV_PIX_FMT_YUV420P;
                }
            }
            params->format = m_pixels;
            params->width = m_width;
            params->height = m_height;
            params->sample_aspect_ratio = stream->sample_aspect_ratio.num > 0
                ? stream->sample_aspect_ratio
                : par->sample_aspect_ratio;
            if (params->sample_aspect_ratio.num <= 0)
                params->sample_aspect_ratio = { 1, 1 };
        }
        int r = av_buffersrc_parameters_set(m_buffer, params);
        av_channel_layout_uninit(&params->ch_layout);
        av_free(params);
        // This library's sound buffer keeps a count of channels apart from the layout, which
        // the parameters leave as the placeholder set it.
        if (r >= 0 && m_use.audio)
            r = av_opt_set_int(m_buffer->priv, "channels", m_layout.nb_channels, 0);
        check(r, "describing a source");
        if (keepOpen)
            m_input = std::move(input);
    }

    void start()
    {
        if (!started())
            m_thread = std::thread([this] { run(); });
    }

    // Into the buffer: the next frame, waiting for the decoder, or the end.
    void feed()
    {
        start();
        FramePtr frame;
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait(lock, [&] { return !m_queue.empty() || m_ended; });
            if (!m_queue.empty()) {
                frame = std::move(m_queue.front());
                m_queue.pop_front();
                m_changed.notify_all();
            } else if (m_error) {
                std::rethrow_exception(m_error);
            }
        }
        if (frame) {
            const int r = av_buffersrc_add_frame_flags(m_buffer, frame.get(), 0);
            if (r < 0 && r != AVERROR_EOF)
                internalFailure(QStringLiteral("feeding the filters"), r);
            return;
        }
        close();
    }

    // The decoder stopped and its memory given back; the graph, should it ask again, hears the
    // end.
    void close()
    {
        stop();
        if (!m_closed && av_buffersrc_add_frame(m_buffer, nullptr) < 0)
            LOG(WARNING) << "The filters would not take the end of " << m_use.path.toStdString();
        m_closed = true;
    }

private:
    void stop()
    {
        {
            std::lock_guard lock(m_mutex);
            m_stop = true;
            m_queue.clear();
        }
        m_changed.notify_all();
        if (m_thread.joinable())
            m_thread.join();
    }

    static AVSampleFormat decoderSampleFormat(const AVCodecParameters *par)
    {
        const AVCodec *codec = avcodec_find_decoder(par->codec_id);
        CodecPtr ctx(codec ? avcodec_alloc_context3(codec) : nullptr);
        if (ctx && avcodec_parameters_to_context(ctx.get(), par) >= 0
            && avcodec_open2(ctx.get(), codec, nullptr) >= 0
            && ctx->sample_fmt != AV_SAMPLE_FMT_NONE)
            return ctx->sample_fmt;
        return AV_SAMPLE_FMT_FLTP;
    }

    bool stopped()
    {
        std::lock_guard lock(m_mutex);
        return m_stop;
    }

    void run()
    {
        try {
            decode();
        } catch (...) {
            std::lock_guard lock(m_mutex);
            m_error = std::current_exception();
        }
        // Given back now, not with the graph: a long timeline has passed many pieces by its end.
        m_pool.reset();
        m_sws.reset();
        m_swr.reset();
        std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }

    QString at(std::int64_t pts) const
    {
        return MTime::fromSec(pts == AV_NOPTS_VALUE ? 0 : pts * av_q2d(m_timeBase)).toClockString();
    }

    void decode()
    {
        if (m_under) {
            while (FramePtr frame = m_under->next())
                if (!deliver(std::move(frame)))
                    return;
            return;
        }
        InputPtr input = std::move(m_input);
        if (!input)
            input = openInput(m_use.path);
        if (m_stream < 0 || m_stream >= static_cast<int>(input->nb_streams))
            throw Failure(tr("Source file damaged"), damaged(m_use.path, tr("it changed")));
        for (unsigned i = 0; i < input->nb_streams; ++i)
            if (static_cast<int>(i) != m_stream)
                input->streams[i]->discard = AVDISCARD_ALL;
        const AVStream *stream = input->streams[m_stream];
        const AVCodec *codec = avcodec_find_decoder(stream->codecpar->codec_id);
        if (!codec)
            throw Failure(tr("Source file damaged"),
                          damaged(m_use.path,
                                  tr("this editor has no decoder for its %1")
                                      .arg(QString::fromLatin1(
                                          avcodec_get_name(stream->codecpar->codec_id)))));
        CodecPtr decoder(avcodec_alloc_context3(codec));
        if (!decoder)
            throw std::bad_alloc();
        check(avcodec_parameters_to_context(decoder.get(), stream->codecpar),
              "setting up a decoder");
        decoder->pkt_timebase = stream->time_base;
        decoder->thread_count = m_use.audio ? 1 : 0;
        int r = avcodec_open2(decoder.get(), codec, nullptr);
        if (r < 0)
            throw Failure(tr("Source file damaged"), damaged(m_use.path, avText(r)));
        // What lies before the first second used is decoded only as far as later frames need
        // it: frames nothing refers to are skipped there, as the trim after the source would
        // drop them.
        std::int64_t skipBefore = AV_NOPTS_VALUE;
        if (m_use.seek > 0) {
            std::int64_t ts = std::llround(m_use.seek * AV_TIME_BASE);
            if (input->start_time != AV_NOPTS_VALUE)
                ts += input->start_time;
            if ((r = av_seek_frame(input.get(), -1, ts, AVSEEK_FLAG_BACKWARD)) < 0)
                LOG(WARNING) << "Cannot seek in " << m_use.path.toStdString() << " ("
                             << avText(r).toStdString() << "); reading from its start";
            skipBefore
                = av_rescale_q(std::llround(m_use.seek * AV_TIME_BASE), AV_TIME_BASE_Q, m_timeBase)
                - 1;
        }
        const double endPts = std::isfinite(m_use.end) ? m_use.end / av_q2d(m_timeBase) : HUGE_VAL;
        PacketPtr packet(av_packet_alloc());
        FramePtr frame = newFrame();
        bool more = true;
        int errors = 0;
        std::int64_t delivered = 0;
        std::int64_t lastPts = AV_NOPTS_VALUE;
        auto drain = [&] {
            for (;;) {
                r = avcodec_receive_frame(decoder.get(), frame.get());
                if (r == AVERROR(EAGAIN) || r == AVERROR_EOF)
                    return;
                if (r < 0) {
                    ++errors;
                    return;
                }
                frame->pts = frame->best_effort_timestamp;
                lastPts = frame->pts;
                const bool past = frame->pts != AV_NOPTS_VALUE && frame->pts > endPts;
                if (!deliver(std::move(frame)))
                    more = false;
                frame = newFrame();
                ++delivered;
                if (past || (m_use.still && delivered > 0))
                    more = false;
                if (!more)
                    return;
            }
        };
        while (more) {
            r = av_read_frame(input.get(), packet.get());
            if (r == AVERROR_EOF)
                break;
            if (r < 0)
                throw Failure(tr("Source file damaged"),
                              tr("%1 is damaged at %2 (%3). Replace it or remove its clips.")
                                  .arg(m_use.path, at(lastPts), avText(r)));
            if (packet->stream_index != m_stream) {
                av_packet_unref(packet.get());
                continue;
            }
            decoder->skip_frame = skipBefore != AV_NOPTS_VALUE && packet->pts != AV_NOPTS_VALUE
                    && packet->pts < skipBefore
                ? AVDISCARD_NONREF
                : AVDISCARD_DEFAULT;
            r = avcodec_send_packet(decoder.get(), packet.get());
            av_packet_unref(packet.get());
            if (r < 0 && r != AVERROR(EAGAIN))
                ++errors;
            drain();
        }
        if (more) {
            decoder->skip_frame = AVDISCARD_DEFAULT;
            avcodec_send_packet(decoder.get(), nullptr);
            drain();
        }
        if (stopped())
            return;
        if (delivered == 0)
            throw Failure(tr("Source file damaged"),
                          tr("%1 is damaged: none of its %2 can be decoded. Replace it or remove "
                             "its clips.")
                              .arg(m_use.path, m_use.audio ? tr("sound") : tr("pictures")));
        // A file cut short (a download that stopped) still has the header of the whole.
        const double stated = stream->duration != AV_NOPTS_VALUE
            ? (stream->duration + (stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0))
                * av_q2d(m_timeBase)
            : HUGE_VAL;
        const double reachedSec = lastPts == AV_NOPTS_VALUE ? 0 : lastPts * av_q2d(m_timeBase);
        // Headers round their lengths, and some overstate them a little: only a clear shortfall
        // where the piece needs the file counts.
        if (!m_use.still && more && std::isfinite(stated)
            && reachedSec + std::max(2.0, 0.05 * stated) < std::min(stated, m_use.end))
            throw Failure(
                tr("Source file damaged"),
                tr("%1 ends at %2, before the %3 its header gives: it is damaged or "
                   "incomplete. Replace it or remove its clips.")
                    .arg(m_use.path, at(lastPts), MTime::fromSec(stated).toClockString()));
        if (errors > 0)
            LOG(WARNING) << m_use.path.toStdString() << ": " << errors
                         << " damaged packets were skipped";
    }

    // The frame as the buffer was told frames come; false once the graph wants no more.
    bool deliver(FramePtr frame)
    {
        frame = conformed(std::move(frame));
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_queue.size() < depth() || m_stop; });
        if (m_stop)
            return false;
        m_queue.push_back(std::move(frame));
        m_changed.notify_all();
        return true;
    }

    std::size_t depth() const { return m_use.audio ? 16 : 3; }

    FramePtr conformed(FramePtr in)
    {
        if (m_use.audio) {
            if (in->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC
                && in->ch_layout.nb_channels == m_layout.nb_channels)
                av_channel_layout_copy(&in->ch_layout, &m_layout);
            if (in->format == m_samples && in->sample_rate == m_rate
                && av_channel_layout_compare(&in->ch_layout, &m_layout) == 0)
                return in;
            if (!m_swr)
                m_swr.reset(swr_alloc());
            FramePtr out = newFrame();
            out->format = m_samples;
            out->sample_rate = m_rate;
            av_channel_layout_copy(&out->ch_layout, &m_layout);
            check(av_frame_copy_props(out.get(), in.get()), "converting the sound");
            check(swr_convert_frame(m_swr.get(), out.get(), in.get()), "converting the sound");
            return out;
        }
        if (in->format == m_pixels && in->width == m_width && in->height == m_height)
            return in;
        FramePtr out = newFrame();
        out->format = m_pixels;
        out->width = m_width;
        out->height = m_height;
        // Every picture of a piece comes at one size: their memory is taken from a pool
        // instead of being asked of the system (and zeroed by it) a frame at a time.
        const int align = static_cast<int>(av_cpu_max_align());
        if (!m_pool) {
            const int size = av_image_get_buffer_size(m_pixels, m_width, m_height, align);
            check(size, "converting the picture");
            m_pool.reset(av_buffer_pool_init(static_cast<std::size_t>(size), nullptr));
            if (!m_pool)
                throw std::bad_alloc();
        }
        out->buf[0] = av_buffer_pool_get(m_pool.get());
        if (!out->buf[0])
            throw std::bad_alloc();
        check(av_image_fill_arrays(out->data, out->linesize, out->buf[0]->data, m_pixels, m_width,
                                   m_height, align),
              "converting the picture");
        check(av_frame_copy_props(out.get(), in.get()), "converting the picture");
        m_sws.reset(sws_getCachedContext(m_sws.release(), in->width, in->height,
                                         static_cast<AVPixelFormat>(in->format), m_width, m_height,
                                         m_pixels, SWS_BICUBIC, nullptr, nullptr, nullptr));
        if (!m_sws)
            internalFailure(QStringLiteral("converting the picture"), AVERROR(EINVAL));
        sws_scale(m_sws.get(), in->data, in->linesize, 0, in->height, out->data, out->linesize);
        return out;
    }

    const FedSource m_use;
    AVFilterContext *const m_buffer;
    GraphOutput *const m_under = nullptr;
    int m_stream = -1;
    AVRational m_timeBase { 1, 1 };
    AVPixelFormat m_pixels = AV_PIX_FMT_NONE;
    int m_width = 0;
    int m_height = 0;
    AVSampleFormat m_samples = AV_SAMPLE_FMT_NONE;
    int m_rate = 0;
    AVChannelLayout m_layout {};
    bool m_closed = false; // the graph's side only

    // The decoder's thread only.
    InputPtr m_input;
    std::unique_ptr<SwsContext, SwsFree> m_sws;
    std::unique_ptr<SwrContext, SwrFree> m_swr;
    std::unique_ptr<AVBufferPool, PoolFree> m_pool;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<FramePtr> m_queue;
    bool m_stop = false;
    bool m_ended = false;
    std::exception_ptr m_error;
    std::thread m_thread;
};

FedSources::FedSources(std::vector<FedSource> uses, AVFilterGraph *graph, GraphOutput *under)
{
    if (under) {
        const QByteArray name = QByteArray("buffer@") + stageSource;
        AVFilterContext *buffer = avfilter_graph_get_filter(graph, name.constData());
        if (!buffer)
            internalFailure(QStringLiteral("finding the stage source"), AVERROR_BUG);
        m_sources.push_back(std::make_unique<Source>(buffer, under));
        m_sources.back()->start();
    }
    for (FedSource &use : uses) {
        const QByteArray name
            = (use.audio ? QStringLiteral("abuffer@") : QStringLiteral("buffer@")).toLatin1()
            + use.name.toLatin1();
        AVFilterContext *buffer = avfilter_graph_get_filter(graph, name.constData());
        if (!buffer)
            internalFailure(QStringLiteral("finding the source ") + QString::fromLatin1(name),
                            AVERROR_BUG);
        auto source = std::make_unique<Source>(std::move(use), buffer);
        const bool now = source->use().from <= leadSeconds;
        source->declare(now);
        if (now)
            source->start();
        m_sources.push_back(std::move(source));
    }
}

FedSources::~FedSources() = default;

bool FedSources::feed()
{
    Source *most = nullptr;
    for (const auto &s : m_sources)
        if (s->waiting() > 0 && (!most || s->waiting() > most->waiting()))
            most = s.get();
    if (!most)
        return false;
    most->feed();
    return true;
}

void FedSources::reached(double seconds)
{
    for (const auto &s : m_sources) {
        if (s->closed())
            continue;
        if (s->use().until + graceSeconds < seconds)
            s->close();
        else if (s->use().from <= seconds + leadSeconds)
            s->start();
    }
}

} // namespace Export::Detail
