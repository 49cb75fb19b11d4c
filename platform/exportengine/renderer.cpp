#include "exportengine/renderer.h"

#include "exportengine/exportengine.h"
#include "exportengine/libav.h"
#include "exportengine/tempoutput.h"
#include "exportengine/tracks.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <QTemporaryDir>

#include <glog/logging.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

namespace Export::Detail {

namespace {

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
        VideoAhead video(plan, vspec, frames);
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
        video.emplace(plan, vspec, frames);
    std::optional<AudioMix> audio;
    if (aenc)
        audio.emplace(plan, aspec, sampleAt(plan.duration, aspec.rate), aenc->sample_fmt,
                      aenc->frame_size > 0 ? aenc->frame_size : 1024);
    Pass pass(mux.get(), &out, control);
    pass.run(video ? &*video : nullptr, venc.get(), frames, audio ? &*audio : nullptr, aenc.get());
    if ((r = av_write_trailer(mux.get())) < 0)
        out.failed(r, "finishing the video");
    return out.commit();
}

} // namespace Export::Detail
