#pragma once

// The timeline's tracks as streams of frames: the picture at the output's size and rate with
// black in the gaps, the sound of every track mixed with silence in the gaps. Internal to the
// engine's library.

#include "exportengine/decoding.h"
#include "exportengine/renderplan.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace Export::Detail {

struct VideoSpec {
    int width;
    int height;
    AVRational rate;
    AVPixelFormat format;
};

// The piece's next filtered frame, decoding as the chain asks; null once the source is spent.
// Past the piece's end (with a second for frames out of order), nothing more is needed from the
// file.
inline FramePtr pullFiltered(Source &source, Chain &chain, double sourceEnd, bool &ended)
{
    for (;;) {
        if (FramePtr out = chain.pull())
            return out;
        if (ended)
            return nullptr;
        FramePtr in = source.decode();
        if (in && in->pts != AV_NOPTS_VALUE
            && in->pts * av_q2d(source.timeBase()) > sourceEnd + 1.0)
            in.reset();
        chain.push(in.get());
        ended = !in;
    }
}

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
        return pullFiltered(m_source, m_chain, m_piece.sourceEnd(), m_ended);
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
        return pullFiltered(m_source, m_chain, m_piece.sourceEnd(), m_ended);
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

} // namespace Export::Detail
