#pragma once

// Reading a source: one stream of a file decoded frame by frame, and the filter chain its frames
// go through. Internal to the engine's library; one engine thread uses each.

#include "exportengine/libav.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include <QFile>
#include <QFileInfo>

namespace Export::Detail {

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

} // namespace Export::Detail
