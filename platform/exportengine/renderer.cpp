#include "exportengine/renderer.h"

#include "exportengine/exportengine.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <glog/logging.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Export::Detail {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ExportEngine", text);
}

QString avText(int error)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return QString::fromUtf8(text);
}

struct FrameFree {
    void operator()(AVFrame *f) const { av_frame_free(&f); }
};
struct PacketFree {
    void operator()(AVPacket *p) const { av_packet_free(&p); }
};
struct CodecFree {
    void operator()(AVCodecContext *c) const
    {
        // The second pass's statistics are the caller's to free, not the library's.
        if (c)
            av_freep(&c->stats_in);
        avcodec_free_context(&c);
    }
};
struct InputClose {
    void operator()(AVFormatContext *f) const { avformat_close_input(&f); }
};
struct GraphFree {
    void operator()(AVFilterGraph *g) const { avfilter_graph_free(&g); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameFree>;
using PacketPtr = std::unique_ptr<AVPacket, PacketFree>;
using CodecPtr = std::unique_ptr<AVCodecContext, CodecFree>;
using InputPtr = std::unique_ptr<AVFormatContext, InputClose>;
using GraphPtr = std::unique_ptr<AVFilterGraph, GraphFree>;

FramePtr newFrame()
{
    FramePtr f(av_frame_alloc());
    if (!f)
        throw std::bad_alloc();
    return f;
}

FramePtr cloneFrame(const AVFrame *f)
{
    FramePtr c(av_frame_clone(f));
    if (!c)
        throw std::bad_alloc();
    return c;
}

// A failure of the library on our own work (not the user's files or disk): the detail is for the
// log and a bug report.
[[noreturn]] void internalFailure(const QString &what, int error)
{
    throw Failure(tr("Encoding failed"), QStringLiteral("%1: %2").arg(what, avText(error)));
}

void check(int error, const char *what)
{
    if (error < 0)
        internalFailure(QString::fromLatin1(what), error);
}

QString layoutName(const AVChannelLayout &layout)
{
    char text[128] = {};
    av_channel_layout_describe(&layout, text, sizeof text);
    return QString::fromLatin1(text);
}

// --- sources ----------------------------------------------------------------------------------

// One stream of one source file, decoded frame by frame.
class Source {
public:
    Source(const QString &path, AVMediaType type)
        : m_path(path)
    {
        QFileInfo info(path);
        if (!info.exists())
            throw Failure(tr("Source file missing"),
                          tr("%1 is missing: it was moved or deleted after it was added. Put it "
                             "back or remove its clips.")
                              .arg(path));
        if (!info.isFile())
            throw Failure(tr("Source file damaged"), tr("%1 is not a media file.").arg(path));
        AVFormatContext *raw = nullptr;
        int r = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr);
        if (r < 0)
            damaged(r);
        m_input.reset(raw);
        if ((r = avformat_find_stream_info(raw, nullptr)) < 0)
            damaged(r);
        const AVCodec *decoder = nullptr;
        m_stream = av_find_best_stream(raw, type, -1, -1, &decoder, 0);
        if (m_stream < 0)
            return; // the file has no such stream: silence or black, as for a gap
        const AVStream *stream = raw->streams[m_stream];
        m_timeBase = stream->time_base;
        m_decoder.reset(avcodec_alloc_context3(decoder));
        if (!m_decoder)
            throw std::bad_alloc();
        if ((r = avcodec_parameters_to_context(m_decoder.get(), stream->codecpar)) < 0)
            damaged(r);
        m_decoder->thread_count = 0;
        m_decoder->pkt_timebase = m_timeBase;
        if ((r = avcodec_open2(m_decoder.get(), decoder, nullptr)) < 0)
            damaged(r);
        m_packet.reset(av_packet_alloc());
    }

    bool present() const { return m_decoder != nullptr; }
    AVRational timeBase() const { return m_timeBase; }

    // To the last key frame at or before `seconds`; the filters cut what comes before.
    void seek(double seconds)
    {
        if (seconds <= 0)
            return;
        const auto ts = static_cast<std::int64_t>(seconds / av_q2d(m_timeBase));
        if (av_seek_frame(m_input.get(), m_stream, ts, AVSEEK_FLAG_BACKWARD) >= 0)
            avcodec_flush_buffers(m_decoder.get());
    }

    // The next frame, its time in best_effort_timestamp; null at the end of the stream.
    FramePtr decode()
    {
        FramePtr frame = newFrame();
        for (;;) {
            int r = avcodec_receive_frame(m_decoder.get(), frame.get());
            if (r >= 0) {
                frame->pts = frame->best_effort_timestamp;
                return frame;
            }
            if (r == AVERROR_EOF)
                return nullptr;
            if (r != AVERROR(EAGAIN))
                corrupt(r);
            if (m_flushed)
                return nullptr;
            r = av_read_frame(m_input.get(), m_packet.get());
            if (r == AVERROR_EOF) {
                m_flushed = true;
                avcodec_send_packet(m_decoder.get(), nullptr);
                continue;
            }
            if (r < 0)
                damaged(r);
            if (m_packet->stream_index == m_stream) {
                r = avcodec_send_packet(m_decoder.get(), m_packet.get());
                if (r < 0 && r != AVERROR(EAGAIN))
                    corrupt(r);
            }
            av_packet_unref(m_packet.get());
        }
    }

private:
    [[noreturn]] void damaged(int error) const
    {
        throw Failure(tr("Source file damaged"),
                      tr("%1 cannot be read (%2). Replace it or remove its clips.")
                          .arg(m_path, avText(error)));
    }
    // A few bad packets are common in files that otherwise play; many mean a broken file.
    void corrupt(int error)
    {
        if (++m_errors > 50)
            damaged(error);
    }

    QString m_path;
    InputPtr m_input;
    CodecPtr m_decoder;
    PacketPtr m_packet;
    AVRational m_timeBase { 1, 1 };
    int m_stream = -1;
    int m_errors = 0;
    bool m_flushed = false;
};

// A filter chain from one buffer source to one sink, set up from the first frame it is given.
class Chain {
public:
    Chain(QString description, AVMediaType type, AVRational timeBase)
        : m_description(std::move(description))
        , m_type(type)
        , m_timeBase(timeBase)
    {
    }

    // Null at the end: flushes the chain.
    void push(AVFrame *frame)
    {
        if (!m_graph) {
            if (!frame)
                return;
            build(*frame);
        }
        const int r = av_buffersrc_add_frame_flags(m_source, frame, AV_BUFFERSRC_FLAG_KEEP_REF);
        if (r < 0 && r != AVERROR_EOF)
            internalFailure(QStringLiteral("feeding %1").arg(m_description), r);
    }

    // The next frame out, or null when the chain needs more input or has ended.
    FramePtr pull()
    {
        if (!m_graph)
            return nullptr;
        FramePtr frame = newFrame();
        const int r = av_buffersink_get_frame(m_sink, frame.get());
        if (r == AVERROR(EAGAIN) || r == AVERROR_EOF)
            return nullptr;
        check(r, "reading the filters");
        return frame;
    }

private:
    void build(const AVFrame &first)
    {
        m_graph.reset(avfilter_graph_alloc());
        if (!m_graph)
            throw std::bad_alloc();
        QString args;
        if (m_type == AVMEDIA_TYPE_VIDEO) {
            const AVRational sar = first.sample_aspect_ratio.num > 0 ? first.sample_aspect_ratio
                                                                     : AVRational { 1, 1 };
            args = QStringLiteral("video_size=%1x%2:pix_fmt=%3:time_base=%4/%5:pixel_aspect=%6/%7")
                       .arg(first.width)
                       .arg(first.height)
                       .arg(first.format)
                       .arg(m_timeBase.num)
                       .arg(m_timeBase.den)
                       .arg(sar.num)
                       .arg(sar.den);
        } else {
            AVChannelLayout layout {};
            if (first.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC)
                av_channel_layout_default(&layout, first.ch_layout.nb_channels);
            else
                av_channel_layout_copy(&layout, &first.ch_layout);
            args = QStringLiteral("time_base=%1/%2:sample_rate=%3:sample_fmt=%4:channel_layout=%5")
                       .arg(m_timeBase.num)
                       .arg(m_timeBase.den)
                       .arg(first.sample_rate)
                       .arg(QString::fromLatin1(
                           av_get_sample_fmt_name(static_cast<AVSampleFormat>(first.format))))
                       .arg(layoutName(layout));
            av_channel_layout_uninit(&layout);
        }
        const bool video = m_type == AVMEDIA_TYPE_VIDEO;
        check(avfilter_graph_create_filter(&m_source,
                                           avfilter_get_by_name(video ? "buffer" : "abuffer"), "in",
                                           args.toUtf8().constData(), nullptr, m_graph.get()),
              "creating the filter source");
        check(avfilter_graph_create_filter(
                  &m_sink, avfilter_get_by_name(video ? "buffersink" : "abuffersink"), "out",
                  nullptr, nullptr, m_graph.get()),
              "creating the filter sink");
        AVFilterInOut *outputs = avfilter_inout_alloc();
        AVFilterInOut *inputs = avfilter_inout_alloc();
        outputs->name = av_strdup("in");
        outputs->filter_ctx = m_source;
        inputs->name = av_strdup("out");
        inputs->filter_ctx = m_sink;
        int r = avfilter_graph_parse_ptr(m_graph.get(), m_description.toUtf8().constData(), &inputs,
                                         &outputs, nullptr);
        avfilter_inout_free(&inputs);
        avfilter_inout_free(&outputs);
        if (r >= 0)
            r = avfilter_graph_config(m_graph.get(), nullptr);
        if (r < 0)
            internalFailure(QStringLiteral("filters \"%1\"").arg(m_description), r);
    }

    QString m_description;
    AVMediaType m_type;
    AVRational m_timeBase;
    GraphPtr m_graph;
    AVFilterContext *m_source = nullptr;
    AVFilterContext *m_sink = nullptr;
};

// --- the picture -------------------------------------------------------------------------------

struct VideoSpec {
    int width;
    int height;
    AVRational rate;
    AVPixelFormat format;
};

// One piece's frames at the output's size and rate, from its first frame on.
class VideoPiece {
public:
    VideoPiece(const RenderPiece &piece, const VideoSpec &spec)
        : m_piece(piece)
        , m_spec(spec)
        , m_source(piece.path, AVMEDIA_TYPE_VIDEO)
        , m_chain(videoFilters(piece,
                               QSize(spec.width, spec.height),
                               boost::rational<std::int64_t>(spec.rate.num, spec.rate.den),
                               QString::fromLatin1(av_get_pix_fmt_name(spec.format))),
                  AVMEDIA_TYPE_VIDEO,
                  piece.stillImage ? av_inv_q(spec.rate) : m_source.timeBase())
    {
        if (!m_source.present())
            return;
        if (!piece.stillImage) {
            m_source.seek(piece.sourceStart());
            return;
        }
        m_still = m_source.decode();
        // A picture that does not change is scaled once and shown as often as needed.
        m_fixed = piece.fadeIn <= MTime() && piece.fadeOut <= MTime() && piece.opacity >= 100;
        m_stillFrame = std::llround(piece.skip.toSecF() * av_q2d(spec.rate));
    }

    // Null when the piece has nothing more to show.
    FramePtr next()
    {
        if (!m_source.present())
            return nullptr;
        if (m_piece.stillImage)
            return nextStill();
        for (;;) {
            if (FramePtr out = m_chain.pull())
                return out;
            if (m_ended)
                return nullptr;
            FramePtr in = m_source.decode();
            // Past the piece's end (with a second for frames out of order), nothing more is
            // needed from the file.
            if (in && in->pts != AV_NOPTS_VALUE
                && in->pts * av_q2d(m_source.timeBase()) > m_piece.sourceEnd() + 1.0)
                in.reset();
            m_chain.push(in.get());
            m_ended = !in;
        }
    }

private:
    FramePtr nextStill()
    {
        if (!m_still)
            return nullptr;
        if (m_fixed && m_scaled)
            return cloneFrame(m_scaled.get());
        FramePtr in = cloneFrame(m_still.get());
        in->pts = m_stillFrame++;
        m_chain.push(in.get());
        FramePtr out = m_chain.pull();
        if (m_fixed && out)
            m_scaled = cloneFrame(out.get());
        return out;
    }

    RenderPiece m_piece;
    VideoSpec m_spec;
    Source m_source;
    Chain m_chain;
    bool m_ended = false;
    FramePtr m_still;
    FramePtr m_scaled;
    bool m_fixed = false;
    std::int64_t m_stillFrame = 0;
};

// The picture track, frame by frame: each piece's frames where it lies, black between. A piece
// that ends early holds its last frame, one that runs long is cut, so the output has exactly the
// timeline's length.
class VideoTrack {
public:
    VideoTrack(const std::vector<RenderPiece> &pieces, const VideoSpec &spec)
        : m_pieces(pieces)
        , m_spec(spec)
    {
        const boost::rational<std::int64_t> rate(spec.rate.num, spec.rate.den);
        for (const RenderPiece &p : m_pieces)
            m_bounds.push_back({ frameAt(p.at, rate), frameAt(p.at + p.length, rate) });
        m_black = newFrame();
        m_black->format = spec.format;
        m_black->width = spec.width;
        m_black->height = spec.height;
        check(av_frame_get_buffer(m_black.get(), 0), "making a black frame");
        const AVPixFmtDescriptor *desc = av_pix_fmt_desc_get(spec.format);
        for (int plane = 0; plane < 4 && m_black->data[plane]; ++plane) {
            const bool chroma = plane == 1 || plane == 2;
            const int rows
                = chroma ? AV_CEIL_RSHIFT(spec.height, desc->log2_chroma_h) : spec.height;
            std::memset(m_black->data[plane], chroma ? 128 : 16,
                        static_cast<std::size_t>(m_black->linesize[plane]) * rows);
        }
    }

    FramePtr frame(std::int64_t index)
    {
        while (m_current < m_pieces.size() && index >= m_bounds[m_current].second) {
            m_reader.reset();
            m_last.reset();
            ++m_current;
        }
        FramePtr out;
        if (m_current < m_pieces.size() && index >= m_bounds[m_current].first) {
            if (!m_reader)
                m_reader = std::make_unique<VideoPiece>(m_pieces[m_current], m_spec);
            out = m_reader->next();
            if (out)
                m_last = cloneFrame(out.get());
            else if (m_last)
                out = cloneFrame(m_last.get());
        }
        if (!out)
            out = cloneFrame(m_black.get());
        out->pts = index;
        out->pict_type = AV_PICTURE_TYPE_NONE;
        return out;
    }

private:
    std::vector<RenderPiece> m_pieces;
    std::vector<std::pair<std::int64_t, std::int64_t>> m_bounds;
    VideoSpec m_spec;
    std::size_t m_current = 0;
    std::unique_ptr<VideoPiece> m_reader;
    FramePtr m_last;
    FramePtr m_black;
};

// --- the sound ---------------------------------------------------------------------------------

struct AudioSpec {
    int rate;
    AVChannelLayout layout;
};

// One piece's sound as planar floats at the output's rate and layout.
class AudioPiece {
public:
    AudioPiece(const RenderPiece &piece, const AudioSpec &spec)
        : m_piece(piece)
        , m_source(piece.path, AVMEDIA_TYPE_AUDIO)
        , m_chain(audioFilters(piece, spec.rate, layoutName(spec.layout)),
                  AVMEDIA_TYPE_AUDIO,
                  m_source.timeBase())
    {
        if (m_source.present())
            m_source.seek(piece.sourceStart());
    }

    // Copies up to `count` samples into `planes` from `offset`; fewer at the piece's end.
    int read(AVFrame &into, int offset, int count)
    {
        int done = 0;
        while (done < count) {
            if (!m_frame || m_used >= m_frame->nb_samples) {
                m_frame = nextFrame();
                m_used = 0;
                if (!m_frame)
                    break;
            }
            const int n = std::min(count - done, m_frame->nb_samples - m_used);
            for (int c = 0; c < into.ch_layout.nb_channels; ++c)
                std::memcpy(reinterpret_cast<float *>(into.extended_data[c]) + offset + done,
                            reinterpret_cast<const float *>(m_frame->extended_data[c]) + m_used,
                            sizeof(float) * static_cast<std::size_t>(n));
            m_used += n;
            done += n;
        }
        return done;
    }

private:
    FramePtr nextFrame()
    {
        if (!m_source.present())
            return nullptr;
        for (;;) {
            if (FramePtr out = m_chain.pull())
                return out;
            if (m_ended)
                return nullptr;
            FramePtr in = m_source.decode();
            if (in && in->pts != AV_NOPTS_VALUE
                && in->pts * av_q2d(m_source.timeBase()) > m_piece.sourceEnd() + 1.0)
                in.reset();
            m_chain.push(in.get());
            m_ended = !in;
        }
    }

    RenderPiece m_piece;
    Source m_source;
    Chain m_chain;
    bool m_ended = false;
    FramePtr m_frame;
    int m_used = 0;
};

// One sound track, sample by sample: each piece where it lies, silence between and after.
class AudioTrack {
public:
    AudioTrack(const std::vector<RenderPiece> &pieces, const AudioSpec &spec)
        : m_pieces(pieces)
        , m_spec(spec)
    {
        for (const RenderPiece &p : m_pieces)
            m_bounds.push_back({ sampleAt(p.at, spec.rate), sampleAt(p.at + p.length, spec.rate) });
    }

    // Fills the frame's samples, continuing where the last call stopped.
    void fill(AVFrame &frame)
    {
        int offset = 0;
        while (offset < frame.nb_samples) {
            while (m_current < m_pieces.size() && m_position >= m_bounds[m_current].second) {
                m_reader.reset();
                ++m_current;
            }
            int n = frame.nb_samples - offset;
            int got = 0;
            if (m_current < m_pieces.size() && m_position >= m_bounds[m_current].first) {
                n = static_cast<int>(
                    std::min<std::int64_t>(n, m_bounds[m_current].second - m_position));
                if (!m_reader)
                    m_reader = std::make_unique<AudioPiece>(m_pieces[m_current], m_spec);
                got = m_reader->read(frame, offset, n);
            } else if (m_current < m_pieces.size()) {
                n = static_cast<int>(
                    std::min<std::int64_t>(n, m_bounds[m_current].first - m_position));
            }
            for (int c = 0; c < frame.ch_layout.nb_channels; ++c)
                std::fill_n(reinterpret_cast<float *>(frame.extended_data[c]) + offset + got,
                            n - got, 0.0f);
            offset += n;
            m_position += n;
        }
    }

private:
    std::vector<RenderPiece> m_pieces;
    std::vector<std::pair<std::int64_t, std::int64_t>> m_bounds;
    AudioSpec m_spec;
    std::size_t m_current = 0;
    std::int64_t m_position = 0;
    std::unique_ptr<AudioPiece> m_reader;
};

// The tracks mixed (amix, no level change: a clip's volume is the user's) and cut into frames
// of the encoder's size and format.
class AudioMix {
public:
    AudioMix(const std::vector<std::vector<RenderPiece>> &tracks,
             const AudioSpec &spec,
             std::int64_t samples,
             AVSampleFormat format,
             int frameSize)
        : m_spec(spec)
        , m_total(samples)
    {
        for (const auto &t : tracks)
            m_tracks.push_back(std::make_unique<AudioTrack>(t, spec));
        if (m_tracks.empty()) // silence all along
            m_tracks.push_back(std::make_unique<AudioTrack>(std::vector<RenderPiece> {}, spec));
        m_graph.reset(avfilter_graph_alloc());
        if (!m_graph)
            throw std::bad_alloc();
        m_graph->nb_threads = 1;
        const QString args = QStringLiteral("time_base=1/%1:sample_rate=%1:sample_fmt=fltp:"
                                            "channel_layout=%2")
                                 .arg(spec.rate)
                                 .arg(layoutName(spec.layout));
        for (std::size_t i = 0; i < m_tracks.size(); ++i) {
            AVFilterContext *src = nullptr;
            check(avfilter_graph_create_filter(
                      &src, avfilter_get_by_name("abuffer"),
                      QByteArray("in" + QByteArray::number(int(i))).constData(),
                      args.toUtf8().constData(), nullptr, m_graph.get()),
                  "creating a mix input");
            m_sources.push_back(src);
        }
        AVFilterContext *mix = nullptr;
        const QByteArray mixArgs = "inputs=" + QByteArray::number(int(m_tracks.size()))
            + ":normalize=0:duration=longest";
        check(avfilter_graph_create_filter(&mix, avfilter_get_by_name("amix"), "mix",
                                           mixArgs.constData(), nullptr, m_graph.get()),
              "creating the mix");
        AVFilterContext *fmt = nullptr;
        const QByteArray fmtArgs
            = QStringLiteral("sample_fmts=%1:sample_rates=%2:channel_layouts=%3")
                  .arg(QString::fromLatin1(av_get_sample_fmt_name(format)))
                  .arg(spec.rate)
                  .arg(layoutName(spec.layout))
                  .toUtf8();
        check(avfilter_graph_create_filter(&fmt, avfilter_get_by_name("aformat"), "format",
                                           fmtArgs.constData(), nullptr, m_graph.get()),
              "creating the sample format");
        check(avfilter_graph_create_filter(&m_sink, avfilter_get_by_name("abuffersink"), "out",
                                           nullptr, nullptr, m_graph.get()),
              "creating the mix sink");
        for (std::size_t i = 0; i < m_sources.size(); ++i)
            check(avfilter_link(m_sources[i], 0, mix, static_cast<unsigned>(i)), "linking the mix");
        check(avfilter_link(mix, 0, fmt, 0), "linking the mix");
        check(avfilter_link(fmt, 0, m_sink, 0), "linking the mix");
        check(avfilter_graph_config(m_graph.get(), nullptr), "setting up the mix");
        av_buffersink_set_frame_size(m_sink, static_cast<unsigned>(frameSize));
    }

    // The next frame for the encoder, its pts in samples; null when all is out.
    FramePtr next()
    {
        for (;;) {
            FramePtr out = newFrame();
            const int r = av_buffersink_get_frame(m_sink, out.get());
            if (r >= 0) {
                out->pts = m_out;
                m_out += out->nb_samples;
                return out;
            }
            if (r == AVERROR_EOF)
                return nullptr;
            if (r != AVERROR(EAGAIN))
                check(r, "mixing");
            if (m_in >= m_total) {
                if (m_ended)
                    return nullptr;
                for (AVFilterContext *src : m_sources)
                    check(av_buffersrc_add_frame(src, nullptr), "ending the mix");
                m_ended = true;
                continue;
            }
            const int n = static_cast<int>(std::min<std::int64_t>(1024, m_total - m_in));
            for (std::size_t i = 0; i < m_tracks.size(); ++i) {
                FramePtr in = newFrame();
                in->format = AV_SAMPLE_FMT_FLTP;
                in->sample_rate = m_spec.rate;
                av_channel_layout_copy(&in->ch_layout, &m_spec.layout);
                in->nb_samples = n;
                check(av_frame_get_buffer(in.get(), 0), "making a sound frame");
                m_tracks[i]->fill(*in);
                in->pts = m_in;
                check(av_buffersrc_add_frame(m_sources[i], in.get()), "feeding the mix");
            }
            m_in += n;
        }
    }

    std::int64_t position() const { return m_in; }

private:
    AudioSpec m_spec;
    std::int64_t m_total;
    std::int64_t m_in = 0;
    std::int64_t m_out = 0;
    bool m_ended = false;
    std::vector<std::unique_ptr<AudioTrack>> m_tracks;
    GraphPtr m_graph;
    std::vector<AVFilterContext *> m_sources;
    AVFilterContext *m_sink = nullptr;
};

// --- the output file ---------------------------------------------------------------------------

QString folderOf(const QString &path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absolutePath());
}

// The user's words for a write that the system refused.
[[noreturn]] void writeFailure(int code, const QString &path)
{
    const QString folder = folderOf(path);
    const QString why = QString::fromLocal8Bit(std::strerror(code));
    switch (code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        throw Failure(tr("Disk full"),
                      tr("There is no space left for %1 (%2). Free some space or choose "
                         "another folder.")
                          .arg(path, why));
    case EACCES:
    case EPERM:
    case EROFS:
        throw Failure(tr("Output folder not writable"),
                      tr("Cannot write in %1 (%2). Choose another folder.").arg(folder, why));
    case ENOENT:
    case ENOTDIR:
        throw Failure(
            tr("Output folder missing"),
            tr("%1 does not exist (%2). Create it or choose another folder.").arg(folder, why));
    default:
        throw Failure(tr("Cannot write the video"), tr("Writing %1 failed (%2).").arg(path, why));
    }
}

// The temporary file the muxer writes through: every write checked, the first error kept, so
// the user hears "disk full" rather than the muxer's "I/O error".
class TempOutput {
public:
    explicit TempOutput(const QString &target)
        : m_target(target)
    {
        const QFileInfo info(target);
        if (info.isDir())
            throw Failure(tr("Cannot write the video"),
                          tr("%1 is a folder. Choose a file name.").arg(target));
        for (int attempt = 0; attempt < 100 && m_fd < 0; ++attempt) {
            m_path = info.absoluteDir().filePath(
                QStringLiteral(".%1.part-%2")
                    .arg(info.fileName())
                    .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0')));
            // Exclusive and not through a link: the name is ours alone.
            m_fd = ::open(QFile::encodeName(m_path).constData(),
                          O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
            if (m_fd < 0 && errno != EEXIST)
                writeFailure(errno, target);
        }
        if (m_fd < 0)
            writeFailure(EEXIST, target);
        constexpr int bufferSize = 1 << 16;
        auto *buffer = static_cast<unsigned char *>(av_malloc(bufferSize));
        m_io = avio_alloc_context(buffer, bufferSize, 1, this, nullptr, &TempOutput::write,
                                  &TempOutput::seek);
        if (!m_io) {
            av_free(buffer);
            discard();
            throw std::bad_alloc();
        }
    }

    ~TempOutput()
    {
        if (m_io) {
            av_freep(&m_io->buffer);
            avio_context_free(&m_io);
        }
        discard();
    }

    AVIOContext *io() const { return m_io; }

    // The muxer's error, or the system's behind it.
    [[noreturn]] void failed(int error, const char *what)
    {
        if (m_errno)
            writeFailure(m_errno, m_target);
        internalFailure(QString::fromLatin1(what), error);
    }

    // Synced and renamed over the target; the folder synced too. Returns the file's size.
    std::int64_t commit()
    {
        avio_flush(m_io);
        if (m_errno)
            writeFailure(m_errno, m_target);
        if (::fsync(m_fd) != 0)
            writeFailure(errno, m_target);
        struct stat st = {};
        ::fstat(m_fd, &st);
        if (::close(m_fd) != 0) {
            m_fd = -1;
            writeFailure(errno, m_target);
        }
        m_fd = -1;
        if (::rename(QFile::encodeName(m_path).constData(), QFile::encodeName(m_target).constData())
            != 0)
            writeFailure(errno, m_target);
        m_path.clear();
        const int dir = ::open(QFile::encodeName(QFileInfo(m_target).absolutePath()).constData(),
                               O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            ::fsync(dir);
            ::close(dir);
        }
        return st.st_size;
    }

private:
    void discard()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
        if (!m_path.isEmpty())
            ::unlink(QFile::encodeName(m_path).constData());
        m_path.clear();
    }

    static int write(void *opaque, std::uint8_t *data, int size)
    {
        auto *self = static_cast<TempOutput *>(opaque);
        int done = 0;
        while (done < size) {
            const ssize_t n
                = ::write(self->m_fd, data + done, static_cast<std::size_t>(size - done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                self->m_errno = n < 0 ? errno : ENOSPC;
                return AVERROR(self->m_errno);
            }
            done += static_cast<int>(n);
        }
        return size;
    }

    static std::int64_t seek(void *opaque, std::int64_t offset, int whence)
    {
        auto *self = static_cast<TempOutput *>(opaque);
        if (whence & AVSEEK_SIZE) {
            struct stat st = {};
            return ::fstat(self->m_fd, &st) == 0 ? st.st_size : AVERROR(errno);
        }
        const off_t at = ::lseek(self->m_fd, offset, whence & ~AVSEEK_FORCE);
        return at < 0 ? AVERROR(errno) : at;
    }

    QString m_target;
    QString m_path;
    int m_fd = -1;
    int m_errno = 0;
    AVIOContext *m_io = nullptr;
};

const char *speedText(EncodingSpeed speed)
{
    static const char *const texts[] = { "ultrafast", "superfast", "veryfast", "faster",  "fast",
                                         "medium",    "slow",      "slower",   "veryslow" };
    const int i = static_cast<int>(speed);
    return i >= 0 && i < 9 ? texts[i] : "medium";
}

const char *tuneText(EncodingTune tune)
{
    static const char *const texts[] = { "film", "animation", "grain",      "stillimage",
                                         "psnr", "ssim",      "fastdecode", "zerolatency" };
    const int i = static_cast<int>(tune);
    return i >= 0 && i < 8 ? texts[i] : "film";
}

const AVCodec *encoder(const QString &codec)
{
    const QString name = encoderFor(codec);
    const AVCodec *c
        = name.isEmpty() ? nullptr : avcodec_find_encoder_by_name(name.toLatin1().constData());
    if (!c)
        throw Failure(tr("Unknown codec"),
                      tr("This editor cannot encode \"%1\". Choose another preset.").arg(codec));
    return c;
}

void setOption(AVCodecContext *ctx, const char *key, const QByteArray &value)
{
    if (av_opt_set(ctx->priv_data, key, value.constData(), 0) < 0)
        LOG(WARNING) << "The encoder " << ctx->codec->name << " does not take " << key << "="
                     << value.constData() << "; its default is used";
}

bool hasOption(AVCodecContext *ctx, const char *key)
{
    return av_opt_find(ctx->priv_data, key, nullptr, 0, 0) != nullptr;
}

bool twoPassCapable(const AVCodec *codec)
{
    return std::strcmp(codec->name, "libx264") == 0 || std::strcmp(codec->name, "libvpx-vp9") == 0
        || std::strcmp(codec->name, "libvpx") == 0;
}

// The video encoder set up as the preset says: size, rate, bit-rate mode, speed, tune, pass.
CodecPtr openVideoEncoder(const ExportPreset &preset,
                          const VideoSpec &spec,
                          bool globalHeader,
                          int pass,
                          const QString &statsFile,
                          const QByteArray &statsIn)
{
    const AVCodec *codec = encoder(preset.videoCodec);
    CodecPtr ctx(avcodec_alloc_context3(codec));
    if (!ctx)
        throw std::bad_alloc();
    ctx->width = spec.width;
    ctx->height = spec.height;
    ctx->time_base = av_inv_q(spec.rate);
    ctx->framerate = spec.rate;
    ctx->pix_fmt = spec.format;
    ctx->sample_aspect_ratio = { 1, 1 };
    ctx->thread_count = 0;
    if (globalHeader)
        ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const bool vpx = std::strncmp(codec->name, "libvpx", 6) == 0;
    const std::int64_t pixelRate = static_cast<std::int64_t>(spec.width) * spec.height
        * spec.rate.num / std::max(1, spec.rate.den);
    switch (preset.bitrateMode) {
    case BitrateMode::Cbr:
        ctx->bit_rate = preset.videoBitRate;
        ctx->rc_max_rate = preset.videoBitRate;
        ctx->rc_min_rate = vpx ? preset.videoBitRate : 0;
        ctx->rc_buffer_size
            = static_cast<int>(std::min<std::int64_t>(preset.videoBitRate, INT32_MAX));
        break;
    case BitrateMode::CbrAuto: {
        // The bit rate the preset names, or one from the picture's size: about a tenth of a bit
        // per pixel.
        const std::int64_t rate = preset.videoBitRate > 0 ? preset.videoBitRate : pixelRate / 10;
        ctx->bit_rate = rate;
        ctx->rc_max_rate = rate * 3 / 2;
        ctx->rc_buffer_size = static_cast<int>(std::min<std::int64_t>(rate * 2, INT32_MAX));
        break;
    }
    case BitrateMode::Vbr:
        if (hasOption(ctx.get(), "crf")) {
            setOption(ctx.get(), "crf", QByteArray::number(preset.vbrQuality));
            if (vpx)
                ctx->bit_rate = 0;
        } else {
            ctx->flags |= AV_CODEC_FLAG_QSCALE;
            ctx->global_quality = FF_QP2LAMBDA * preset.vbrQuality;
        }
        break;
    case BitrateMode::None:
        break;
    }
    const EncodingSpeed speed = preset.speed.value_or(EncodingSpeed::Medium);
    if (vpx) {
        // The encoder's own default ("good" at the slowest step) takes minutes a second.
        const int s = static_cast<int>(speed);
        // The real-time mode keeps no statistics for a second pass.
        setOption(ctx.get(), "deadline", s <= 2 && pass == 0 ? "realtime" : "good");
        setOption(ctx.get(), "cpu-used", QByteArray::number(std::clamp(8 - s, 0, 8)));
        setOption(ctx.get(), "row-mt", "1");
    } else if (preset.speed && hasOption(ctx.get(), "preset")) {
        setOption(ctx.get(), "preset", speedText(*preset.speed));
    }
    if (preset.tune && hasOption(ctx.get(), "tune"))
        setOption(ctx.get(), "tune", tuneText(*preset.tune));
    if (pass == 1)
        ctx->flags |= AV_CODEC_FLAG_PASS1;
    if (pass == 2)
        ctx->flags |= AV_CODEC_FLAG_PASS2;
    if (pass > 0 && hasOption(ctx.get(), "stats"))
        setOption(ctx.get(), "stats", QFile::encodeName(statsFile));
    if (pass == 2 && !statsIn.isEmpty())
        ctx->stats_in = av_strdup(statsIn.constData());
    const int r = avcodec_open2(ctx.get(), codec, nullptr);
    if (r < 0)
        throw Failure(tr("Encoder refused the settings"),
                      tr("%1 cannot encode %2x%3 at %4 frames per second with this preset (%5).")
                          .arg(QString::fromLatin1(codec->name))
                          .arg(spec.width)
                          .arg(spec.height)
                          .arg(av_q2d(spec.rate))
                          .arg(avText(r)));
    return ctx;
}

CodecPtr openAudioEncoder(const ExportPreset &preset, AudioSpec &spec, bool globalHeader)
{
    const AVCodec *codec = encoder(preset.audioCodec);
    CodecPtr ctx(avcodec_alloc_context3(codec));
    if (!ctx)
        throw std::bad_alloc();
    int rate = preset.sampleRate > 0 ? preset.sampleRate : 48000;
    if (codec->supported_samplerates) {
        // The nearest rate the encoder has (Opus has 48 kHz only).
        int best = codec->supported_samplerates[0];
        for (const int *r = codec->supported_samplerates; *r; ++r)
            if (std::abs(*r - rate) < std::abs(best - rate))
                best = *r;
        rate = best;
    }
    spec.rate = rate;
    ctx->sample_rate = rate;
    ctx->time_base = { 1, rate };
    av_channel_layout_copy(&ctx->ch_layout, &spec.layout);
    ctx->sample_fmt = codec->sample_fmts ? codec->sample_fmts[0] : AV_SAMPLE_FMT_FLTP;
    for (const AVSampleFormat *f = codec->sample_fmts; f && *f != AV_SAMPLE_FMT_NONE; ++f)
        if (*f == AV_SAMPLE_FMT_FLTP)
            ctx->sample_fmt = *f;
    ctx->bit_rate = std::min(96'000 * spec.layout.nb_channels, 320'000);
    if (globalHeader)
        ctx->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    const int r = avcodec_open2(ctx.get(), codec, nullptr);
    if (r < 0)
        throw Failure(tr("Encoder refused the settings"),
                      tr("%1 cannot encode %2 Hz %3 sound (%4).")
                          .arg(QString::fromLatin1(codec->name))
                          .arg(rate)
                          .arg(layoutName(spec.layout), avText(r)));
    return ctx;
}

void checkSources(const RenderPlan &plan, const QString &outputPath)
{
    const QString target = QFileInfo(outputPath).canonicalFilePath();
    auto check = [&](const RenderPiece &p) {
        // Renaming the video over a file it is made from would lose the file.
        if (!target.isEmpty() && QFileInfo(p.path).canonicalFilePath() == target)
            throw Failure(tr("Output is a source"),
                          tr("%1 is used by the project. Choose another file name.").arg(p.path));
        if (!QFileInfo::exists(p.path))
            throw Failure(tr("Source file missing"),
                          tr("%1 is missing: it was moved or deleted after it was added. Put it "
                             "back or remove its clips.")
                              .arg(p.path));
    };
    std::for_each(plan.video.begin(), plan.video.end(), check);
    for (const auto &track : plan.audio)
        std::for_each(track.begin(), track.end(), check);
}

// The picture track decoded, filtered and scaled on a thread of its own, a few frames ahead of
// the encoder: the two overlap instead of taking turns on one core.
class VideoAhead {
public:
    VideoAhead(const std::vector<RenderPiece> &pieces, const VideoSpec &spec, std::int64_t frames)
        : m_track(pieces, spec)
        , m_frames(frames)
        , m_thread([this] { produce(); })
    {
    }

    ~VideoAhead()
    {
        {
            std::lock_guard lock(m_mutex);
            m_stop = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }

    // Frame `index` (asked for in order); throws what the reading thread met.
    FramePtr next()
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

private:
    void produce()
    {
        try {
            for (std::int64_t i = 0; i < m_frames; ++i) {
                FramePtr frame = m_track.frame(i);
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

    static constexpr std::size_t depth = 8;
    VideoTrack m_track;
    std::int64_t m_frames;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<FramePtr> m_queue;
    std::exception_ptr m_error;
    bool m_stop = false;
    std::thread m_thread; // last: starts when the rest is ready
};

// One pass over the timeline: the picture and the sound encoded in time order. Without a muxer
// (a first pass) the packets are dropped.
class Pass {
public:
    Pass(AVFormatContext *mux, TempOutput *out, Control &control)
        : m_mux(mux)
        , m_out(out)
        , m_control(control)
        , m_packet(av_packet_alloc())
    {
    }

    void run(VideoAhead *video,
             AVCodecContext *venc,
             std::int64_t frames,
             AudioMix *audio,
             AVCodecContext *aenc)
    {
        std::int64_t nextFrame = 0;
        bool videoDone = !video || frames == 0;
        bool audioDone = !audio;
        double audioAt = 0;
        if (videoDone && venc)
            encode(venc, nullptr, 0);
        while (!videoDone || !audioDone) {
            if (m_control.cancel.load(std::memory_order_relaxed))
                throw Cancelled {};
            const double videoAt = static_cast<double>(nextFrame)
                * av_q2d(venc ? venc->time_base : AVRational { 0, 1 });
            if (!videoDone && (audioDone || videoAt <= audioAt)) {
                FramePtr frame = video->next();
                ++nextFrame;
                encode(venc, frame.get(), 0);
                if (nextFrame >= frames) {
                    encode(venc, nullptr, 0);
                    videoDone = true;
                }
                m_control.doneMs.store(static_cast<std::int64_t>(videoAt * 1000));
            } else {
                FramePtr frame = audio->next();
                if (frame)
                    audioAt
                        = static_cast<double>(frame->pts + frame->nb_samples) / aenc->sample_rate;
                encode(aenc, frame.get(), venc ? 1 : 0);
                audioDone = !frame;
                if (videoDone)
                    m_control.doneMs.store(static_cast<std::int64_t>(audioAt * 1000));
            }
        }
    }

private:
    void encode(AVCodecContext *enc, AVFrame *frame, int stream)
    {
        int r = avcodec_send_frame(enc, frame);
        if (r < 0)
            internalFailure(
                QStringLiteral("encoding with %1").arg(QString::fromLatin1(enc->codec->name)), r);
        for (;;) {
            r = avcodec_receive_packet(enc, m_packet.get());
            if (r == AVERROR(EAGAIN) || r == AVERROR_EOF)
                return;
            check(r, "encoding");
            if (!m_mux) {
                av_packet_unref(m_packet.get());
                continue;
            }
            AVStream *s = m_mux->streams[stream];
            av_packet_rescale_ts(m_packet.get(), enc->time_base, s->time_base);
            m_packet->stream_index = s->index;
            r = av_interleaved_write_frame(m_mux, m_packet.get());
            if (r < 0)
                m_out->failed(r, "writing the video");
        }
    }

    AVFormatContext *m_mux;
    TempOutput *m_out;
    Control &m_control;
    PacketPtr m_packet;
};

struct MuxFree {
    void operator()(AVFormatContext *f) const { avformat_free_context(f); }
};

} // namespace

std::int64_t render(const RenderPlan &plan,
                    const ExportPreset &preset,
                    const QString &outputPath,
                    Control &control)
{
    if (plan.duration <= MTime())
        throw Failure(tr("Nothing to export"),
                      tr("The timeline (or the chosen range) is empty. Add clips or choose "
                         "another range."));
    if (!preset.hasVideo() && !preset.hasAudio())
        throw Failure(tr("Unknown codec"), tr("The preset \"%1\" names no codec.").arg(preset.id));
    checkSources(plan, outputPath);

    const AVOutputFormat *format
        = av_guess_format(preset.outputFormat.toLatin1().constData(), nullptr, nullptr);
    if (!format)
        throw Failure(tr("Unknown format"),
                      tr("This editor cannot write \"%1\" files. Choose another preset.")
                          .arg(preset.outputFormat));
    const bool globalHeader = format->flags & AVFMT_GLOBALHEADER;

    VideoSpec vspec { std::max(2, preset.frameSize.width() & ~1),
                      std::max(2, preset.frameSize.height() & ~1),
                      { static_cast<int>(preset.frameRate.numerator()),
                        static_cast<int>(preset.frameRate.denominator()) },
                      AV_PIX_FMT_YUV420P };
    if (vspec.rate.num <= 0 || vspec.rate.den <= 0)
        vspec.rate = { 30, 1 };
    AudioSpec aspec { preset.sampleRate, {} };
    av_channel_layout_from_mask(&aspec.layout,
                                preset.channelLayout ? preset.channelLayout : AV_CH_LAYOUT_STEREO);
    struct LayoutFree {
        AVChannelLayout *l;
        ~LayoutFree() { av_channel_layout_uninit(l); }
    } layoutGuard { &aspec.layout };
    const std::int64_t frames
        = frameAt(plan.duration, boost::rational<std::int64_t>(vspec.rate.num, vspec.rate.den));

    // Encoders are checked before the file is made, so an unknown codec leaves nothing behind.
    const AVCodec *videoCodec = preset.hasVideo() ? encoder(preset.videoCodec) : nullptr;
    if (preset.hasAudio())
        encoder(preset.audioCodec);
    const bool twoPass = videoCodec && preset.twoPass.value_or(false) && twoPassCapable(videoCodec);
    if (videoCodec && preset.twoPass.value_or(false) && !twoPass)
        LOG(WARNING) << "The encoder " << videoCodec->name
                     << " has no two-pass mode here; the export takes one pass";
    control.passes = twoPass ? 2 : 1;

    QTemporaryDir statsDir;
    const QString statsFile = statsDir.filePath(QStringLiteral("pass"));
    QByteArray statsIn;
    if (twoPass) {
        CodecPtr venc = openVideoEncoder(preset, vspec, globalHeader, 1, statsFile, {});
        VideoAhead video(plan.video, vspec, frames);
        Pass(nullptr, nullptr, control).run(&video, venc.get(), frames, nullptr, nullptr);
        if (venc->stats_out)
            statsIn = venc->stats_out;
        control.pass = 1;
        control.doneMs = 0;
    }

    TempOutput out(outputPath);
    std::unique_ptr<AVFormatContext, MuxFree> mux;
    {
        AVFormatContext *raw = nullptr;
        check(avformat_alloc_output_context2(&raw, format, nullptr,
                                             QFile::encodeName(outputPath).constData()),
              "setting up the container");
        mux.reset(raw);
    }
    mux->pb = out.io();
    mux->flags |= AVFMT_FLAG_CUSTOM_IO;

    CodecPtr venc;
    CodecPtr aenc;
    if (videoCodec) {
        venc = openVideoEncoder(preset, vspec, globalHeader, twoPass ? 2 : 0, statsFile, statsIn);
        AVStream *s = avformat_new_stream(mux.get(), nullptr);
        check(avcodec_parameters_from_context(s->codecpar, venc.get()), "describing the video");
        s->time_base = venc->time_base;
        s->avg_frame_rate = vspec.rate;
        s->sample_aspect_ratio = { 1, 1 };
    }
    if (preset.hasAudio()) {
        aenc = openAudioEncoder(preset, aspec, globalHeader);
        AVStream *s = avformat_new_stream(mux.get(), nullptr);
        check(avcodec_parameters_from_context(s->codecpar, aenc.get()), "describing the sound");
        s->time_base = aenc->time_base;
    }
    int r = avformat_write_header(mux.get(), nullptr);
    if (r < 0)
        out.failed(r, "writing the header");

    std::optional<VideoAhead> video;
    if (venc)
        video.emplace(plan.video, vspec, frames);
    std::optional<AudioMix> audio;
    if (aenc)
        audio.emplace(plan.audio, aspec, sampleAt(plan.duration, aspec.rate), aenc->sample_fmt,
                      aenc->frame_size > 0 ? aenc->frame_size : 1024);
    Pass pass(mux.get(), &out, control);
    pass.run(video ? &*video : nullptr, venc.get(), frames, audio ? &*audio : nullptr, aenc.get());
    if ((r = av_write_trailer(mux.get())) < 0)
        out.failed(r, "finishing the video");
    return out.commit();
}

} // namespace Export::Detail
