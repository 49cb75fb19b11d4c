#pragma once

// What the engine's parts share about the decoder library: owning pointers for its objects, and
// its errors turned into the engine's. Internal to the engine's library.

#include "exportengine/renderer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

#include <QCoreApplication>
#include <QString>

#include <memory>
#include <new>

namespace Export::Detail {

inline QString tr(const char *text)
{
    return QCoreApplication::translate("ExportEngine", text);
}

inline QString avText(int error)
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

inline FramePtr newFrame()
{
    FramePtr f(av_frame_alloc());
    if (!f)
        throw std::bad_alloc();
    return f;
}

inline FramePtr cloneFrame(const AVFrame *f)
{
    FramePtr c(av_frame_clone(f));
    if (!c)
        throw std::bad_alloc();
    return c;
}

// A failure of the library on our own work (not the user's files or disk): the detail is for the
// log and a bug report.
[[noreturn]] inline void internalFailure(const QString &what, int error)
{
    throw Failure(tr("Encoding failed"), QStringLiteral("%1: %2").arg(what, avText(error)));
}

inline void check(int error, const char *what)
{
    if (error < 0)
        internalFailure(QString::fromLatin1(what), error);
}

inline QString layoutName(const AVChannelLayout &layout)
{
    char text[128] = {};
    av_channel_layout_describe(&layout, text, sizeof text);
    return QString::fromLatin1(text);
}

} // namespace Export::Detail
