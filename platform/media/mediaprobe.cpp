#include "media/mediaprobe.h"

#include "media/codecnames.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <glog/logging.h>

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>

#include <sys/stat.h>

namespace Media {

namespace {

using Clock = std::chrono::steady_clock;

QString tr(const char *text)
{
    return QCoreApplication::translate("MediaProbe", text);
}

// What the library said about a limit it enforced for the probe running on this thread. The
// library only says which limit stopped it in its log, so that is where the probe learns it.
struct LimitsHit {
    bool streams = false;
    QString picture; // "16000x16000" when a picture was over the pixel limit
};
thread_local LimitsHit *t_limitsHit = nullptr;

void noteLimit(const char *fmt, void *avcl, int level, va_list args)
{
    if (!t_limitsHit || level > AV_LOG_ERROR)
        return;
    if (std::strstr(fmt, "max_streams")) {
        t_limitsHit->streams = true;
    } else if (std::strstr(fmt, "max pixel")) {
        char line[256];
        int printPrefix = 0;
        av_log_format_line2(avcl, level, fmt, args, line, sizeof line, &printPrefix);
        // "Picture size 16000x16000 exceeds specified max pixel count ..."
        const QByteArray text(line);
        const int from = text.indexOf("size ");
        const int to = text.indexOf(' ', from + 5);
        t_limitsHit->picture = from >= 0 && to > from
            ? QString::fromLatin1(text.mid(from + 5, to - from - 5))
            : QStringLiteral("?");
    }
}

// The decoder library writes its complaints about broken files to stderr by default; a folder of
// odd files would bury the terminal. They go to the log instead, where a developer finds them.
void routeLibraryLogOnce()
{
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_callback([](void *avcl, int level, const char *fmt, va_list args) {
            va_list copy;
            va_copy(copy, args);
            noteLimit(fmt, avcl, level, copy);
            va_end(copy);
            if (level > AV_LOG_WARNING || !VLOG_IS_ON(1))
                return;
            char line[1024];
            int printPrefix = 1;
            av_log_format_line2(avcl, level, fmt, args, line, sizeof line, &printPrefix);
            VLOG(1) << "libav: " << line;
        });
    });
}

// The memory all probes of the process may reserve together (probeMemoryTotal).
class MemoryBudget {
public:
    // Waits until `bytes` fit; false when the probe was cancelled or ran out of time meanwhile.
    bool acquire(std::int64_t bytes, const std::function<bool()> &givingUp)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (m_free < bytes) {
            if (givingUp())
                return false;
            // Polled: a cancel or the deadline does not signal this condition.
            m_changed.wait_for(lock, std::chrono::milliseconds(20));
        }
        m_free -= bytes;
        return true;
    }
    void release(std::int64_t bytes)
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_free += bytes;
        }
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::int64_t m_free = probeMemoryTotal;
};

MemoryBudget &memoryBudget()
{
    static MemoryBudget budget;
    return budget;
}

class Reservation {
public:
    ~Reservation()
    {
        if (m_bytes)
            memoryBudget().release(m_bytes);
    }
    bool take(std::int64_t bytes, const std::function<bool()> &givingUp)
    {
        if (!memoryBudget().acquire(bytes, givingUp))
            return false;
        m_bytes = bytes;
        return true;
    }

private:
    std::int64_t m_bytes = 0;
};

// What the decoders of a probe will hold, from what the file declares. Video: a few frames of
// 8-bit 4:2:0 (a decoder keeps references while the analysis decodes its first frames); a
// picture whose size is not declared counts as the largest allowed, four bytes a pixel. Sound
// and the rest: their buffers and parser state.
std::int64_t memoryEstimate(const AVFormatContext *ctx, const ProbeLimits &limits)
{
    constexpr std::int64_t framesHeld = 4;
    std::int64_t bytes = 0;
    for (unsigned i = 0; i < ctx->nb_streams; ++i) {
        const AVCodecParameters *par = ctx->streams[i]->codecpar;
        if (par->codec_type == AVMEDIA_TYPE_VIDEO) {
            const std::int64_t pixels
                = par->width > 0 && par->height > 0 ? std::int64_t(par->width) * par->height : 0;
            bytes += pixels > 0 ? pixels * 3 / 2 * framesHeld : limits.maxPixels * 4;
        } else if (par->codec_type == AVMEDIA_TYPE_AUDIO) {
            bytes += 1 << 20;
        } else {
            bytes += 64 << 10;
        }
    }
    return bytes;
}

QString megabytes(std::int64_t bytes)
{
    return QString::number((bytes + (1 << 20) - 1) >> 20);
}

struct Interrupt {
    Clock::time_point deadline;
    const std::atomic<bool> *cancelled = nullptr;
    bool timedOut = false;
    bool wasCancelled = false;
};

// Called by the library before every read and between analysis steps. A true answer makes the
// running call return AVERROR_EXIT, which is how a stuck probe is abandoned without a thread kill.
int interruptCallback(void *opaque)
{
    auto *state = static_cast<Interrupt *>(opaque);
    if (state->cancelled && state->cancelled->load(std::memory_order_relaxed)) {
        state->wasCancelled = true;
        return 1;
    }
    if (Clock::now() >= state->deadline) {
        state->timedOut = true;
        return 1;
    }
    return 0;
}

struct FormatContext {
    AVFormatContext *ctx = nullptr;
    ~FormatContext()
    {
        if (ctx)
            avformat_close_input(&ctx);
    }
};

struct StreamOptions {
    std::vector<AVDictionary *> dicts;
    ~StreamOptions()
    {
        for (AVDictionary *&d : dicts)
            av_dict_free(&d);
    }
};

QString libraryError(int code)
{
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return QString::fromUtf8(text);
}

QString openFailure(int code, const Interrupt &interrupt)
{
    if (interrupt.wasCancelled)
        return tr("The analysis was cancelled.");
    if (interrupt.timedOut)
        return tr("The analysis took too long and was stopped.");
    if (code == AVERROR(ENOENT))
        return tr("The file does not exist.");
    if (code == AVERROR(EACCES) || code == AVERROR(EPERM))
        return tr("The file cannot be read: permission denied.");
    if (code == AVERROR_INVALIDDATA)
        return tr("The file is damaged or not in a media format.");
    return tr("The file cannot be read: %1.").arg(libraryError(code));
}

// Why a path that does not lead to a file does not: the user fixes a link loop differently from
// a missing file or a folder they may not enter.
QString missingReason(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat st = {};
    if (::stat(name.constData(), &st) == 0)
        return tr("The file cannot be read.");
    const int error = errno;
    const bool link = ::lstat(name.constData(), &st) == 0 && S_ISLNK(st.st_mode);
    switch (error) {
    case ELOOP:
        return tr("The file is a symbolic link that leads back to itself.");
    case EACCES:
    case EPERM:
        return tr("The file cannot be reached: permission denied.");
    case ENOTDIR:
        return tr("A part of the file's path is not a folder.");
    case ENAMETOOLONG:
        return tr("The file's name is too long.");
    case ENOENT:
        if (link)
            return tr("The file is a symbolic link to %1, which does not exist.")
                .arg(QFileInfo(path).symLinkTarget());
        return tr("The file does not exist.");
    default:
        return tr("The file cannot be reached: %1.")
            .arg(QString::fromLocal8Bit(std::strerror(error)));
    }
}

MTime fromStreamTime(std::int64_t value, AVRational timeBase)
{
    return MTime::fromMSec(av_rescale_q(value, timeBase, AVRational { 1, 1000 }));
}

MTime durationOf(const AVFormatContext *ctx)
{
    if (ctx->duration != AV_NOPTS_VALUE && ctx->duration > 0)
        return MTime::fromMSec(ctx->duration / 1000);
    // Some containers only know their streams' lengths.
    MTime longest;
    for (unsigned i = 0; i < ctx->nb_streams; ++i) {
        const AVStream *st = ctx->streams[i];
        if (st->duration != AV_NOPTS_VALUE && st->duration > 0)
            longest = std::max(longest, fromStreamTime(st->duration, st->time_base));
    }
    return longest;
}

// Image demuxers hold one picture per file: the jpeg_pipe, png_pipe, ... family and image2.
bool isImageDemuxer(const AVInputFormat *format)
{
    const QLatin1String name(format->name);
    return name == QLatin1String("image2") || name.endsWith(QLatin1String("_pipe"));
}

boost::rational<int> rationalOf(AVRational r)
{
    if (r.num <= 0 || r.den <= 0)
        return { 0, 1 };
    return { r.num, r.den };
}

bool isHdrTransfer(AVColorTransferCharacteristic trc)
{
    return trc == AVCOL_TRC_SMPTE2084 || trc == AVCOL_TRC_ARIB_STD_B67;
}

// Where each track came from, for the bit-rate estimate below.
struct TrackSource {
    std::int64_t *bitRate;
    int stream;
};

void fillTracks(File &file,
                const AVFormatContext *ctx,
                std::vector<int> &videoStreams,
                std::vector<int> &audioStreams)
{
    const bool image = isImageDemuxer(ctx->iformat);
    for (unsigned i = 0; i < ctx->nb_streams; ++i) {
        AVStream *st = ctx->streams[i];
        const AVCodecParameters *par = st->codecpar;
        if (par->codec_type != AVMEDIA_TYPE_VIDEO && par->codec_type != AVMEDIA_TYPE_AUDIO)
            continue; // subtitles, data and attachments are not the editor's business
        // Cover art of music files is a picture stream, but not a video anybody edits.
        if (st->disposition & AV_DISPOSITION_ATTACHED_PIC)
            continue;
        const QString codecId = CodecConfig::codecIdentifier(par->codec_id);
        const AVCodec *decoder = avcodec_find_decoder(par->codec_id);
        if (!decoder) {
            file.unsupportedCodecs.push_back(codecId);
            continue;
        }
        if (par->codec_type == AVMEDIA_TYPE_VIDEO) {
            // A video stream whose frame size stayed unknown cannot be shown; the rest of the
            // file may still be usable.
            if (par->width <= 0 || par->height <= 0)
                continue;
            VideoTrack track;
            track.codecId = codecId;
            track.codecName = QString::fromLatin1(decoder->name);
            track.bitRate = par->bit_rate;
            track.frameSize = QSize(par->width, par->height);
            track.stillImage = image;
            if (!image)
                track.frameRate = rationalOf(
                    av_guess_frame_rate(const_cast<AVFormatContext *>(ctx), st, nullptr));
            track.colorSpace.primaries = static_cast<std::uint32_t>(par->color_primaries);
            track.colorSpace.transfer = static_cast<std::uint32_t>(par->color_trc);
            track.colorSpace.matrix = static_cast<std::uint32_t>(par->color_space);
            if (const AVPixFmtDescriptor *pix
                = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(par->format)))
                track.bitDepth = pix->comp[0].depth;
            file.hdr = file.hdr || isHdrTransfer(par->color_trc);
            file.videoTracks.push_back(track);
            videoStreams.push_back(static_cast<int>(i));
        } else {
            if (par->sample_rate <= 0)
                continue;
            AudioTrack track;
            track.codecId = codecId;
            track.codecName = QString::fromLatin1(decoder->name);
            track.bitRate = par->bit_rate;
            track.sampleRate = par->sample_rate;
            track.channels = par->ch_layout.nb_channels;
            file.audioTracks.push_back(track);
            audioStreams.push_back(static_cast<int>(i));
        }
    }
}

// Containers such as Matroska keep no per-stream bit rate. In that order: the statistics tag a
// muxer may have left ("BPS"), the container's rate when only one track lacks its own, and
// otherwise the packets themselves, counted over the first seconds of the file.
void completeBitRates(File &file,
                      AVFormatContext *ctx,
                      const std::vector<int> &videoStreams,
                      const std::vector<int> &audioStreams)
{
    std::vector<TrackSource> missing;
    std::int64_t known = 0;
    auto collect = [&](std::int64_t &rate, int stream) {
        if (rate <= 0) {
            const AVDictionaryEntry *bps
                = av_dict_get(ctx->streams[stream]->metadata, "BPS", nullptr, 0);
            if (bps)
                rate = std::max<std::int64_t>(0, QByteArray(bps->value).toLongLong());
        }
        if (rate > 0)
            known += rate;
        else
            missing.push_back({ &rate, stream });
    };
    for (std::size_t i = 0; i < file.videoTracks.size(); ++i)
        collect(file.videoTracks[i].bitRate, videoStreams[i]);
    for (std::size_t i = 0; i < file.audioTracks.size(); ++i)
        collect(file.audioTracks[i].bitRate, audioStreams[i]);
    if (missing.empty())
        return;
    if (missing.size() == 1 && ctx->bit_rate > known
        && ctx->nb_streams == videoStreams.size() + audioStreams.size()) {
        *missing.front().bitRate = ctx->bit_rate - known;
        return;
    }
    if (file.isStillImage())
        return;

    // Packets already read by the analysis come back first, so this starts at the beginning.
    constexpr int packetLimit = 3000;
    constexpr std::int64_t spanLimitMs = 5000;
    struct Count {
        std::int64_t bytes = 0;
        std::int64_t firstMs = AV_NOPTS_VALUE;
        std::int64_t lastMs = AV_NOPTS_VALUE;
    };
    std::vector<Count> counts(ctx->nb_streams);
    AVPacket *packet = av_packet_alloc();
    if (!packet)
        return;
    bool atEnd = false;
    for (int n = 0; n < packetLimit; ++n) {
        if (av_read_frame(ctx, packet) < 0) {
            atEnd = true;
            break;
        }
        const AVStream *st = ctx->streams[packet->stream_index];
        Count &c = counts[packet->stream_index];
        c.bytes += packet->size;
        const std::int64_t ts = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
        if (ts != AV_NOPTS_VALUE) {
            const std::int64_t ms = av_rescale_q(ts + std::max<std::int64_t>(0, packet->duration),
                                                 st->time_base, AVRational { 1, 1000 });
            if (c.firstMs == AV_NOPTS_VALUE)
                c.firstMs = av_rescale_q(ts, st->time_base, AVRational { 1, 1000 });
            c.lastMs = std::max(c.lastMs == AV_NOPTS_VALUE ? ms : c.lastMs, ms);
        }
        av_packet_unref(packet);
        bool enough = true;
        for (const TrackSource &m : missing) {
            const Count &mc = counts[m.stream];
            enough
                = enough && mc.firstMs != AV_NOPTS_VALUE && mc.lastMs - mc.firstMs >= spanLimitMs;
        }
        if (enough)
            break;
    }
    av_packet_free(&packet);
    for (const TrackSource &m : missing) {
        const Count &c = counts[m.stream];
        std::int64_t spanMs = c.firstMs != AV_NOPTS_VALUE ? c.lastMs - c.firstMs : 0;
        // Read to the end: the file's own length is the better measure of the time covered.
        if (atEnd && file.duration.toMSec() > 0)
            spanMs = std::max(spanMs, file.duration.toMSec());
        if (spanMs > 0)
            *m.bitRate = c.bytes * 8 * 1000 / spanMs;
    }
}

// Why a step refused the file, for the user; nothing when it passed.
using Refusal = std::optional<QString>;

// Checked before the library sees the path: a folder or a pipe would make it block or read
// something that is not a file at all. Notes the file's size.
Refusal checkPath(const QString &path, const QFileInfo &info, File &file)
{
    if (!info.exists()) {
        // Names that are not valid UTF-8 reach the editor with their bad bytes replaced, so the
        // file they name cannot be found by that name.
        if (path.contains(QChar::ReplacementCharacter))
            return tr("The file's name is not valid UTF-8, so the file cannot be opened. "
                      "Rename it and add it again.");
        return missingReason(path);
    }
    if (info.isDir())
        return tr("This is a folder, not a media file.");
    if (!info.isFile())
        return tr("This is not a regular file.");
    file.size = info.size();
    if (file.size == 0)
        return tr("The file is empty.");
    return std::nullopt;
}

// One file's way through the library, in the order the steps must run: opened within the limits,
// its streams read, its tracks walked. Each step runs only after the one before it passed; the
// library's context, the deadline and the memory reserved last until the probe goes.
class Probe {
public:
    explicit Probe(const ProbeLimits &limits)
        : m_limits(limits)
        , m_maxStreams(std::max(1, limits.maxStreams))
        , m_maxPixels(std::max<std::int64_t>(1, limits.maxPixels))
    {
        m_interrupt.deadline = Clock::now() + limits.timeout;
        m_interrupt.cancelled = limits.cancelled;
        t_limitsHit = &m_limitsHit;
    }
    ~Probe() { t_limitsHit = nullptr; }
    Probe(const Probe &) = delete;
    Probe &operator=(const Probe &) = delete;

    Refusal open(const QFileInfo &info);
    Refusal readStreams();
    Refusal walkStreams(File &file);

private:
    QString streamsFailure() const
    {
        return tr("The file holds more than %1 streams; this editor analyses at most %1.")
            .arg(m_maxStreams);
    }
    QString pictureFailure(const QString &size) const
    {
        return tr("A picture of the file is %1 pixels; this editor analyses pictures of at most "
                  "%2 megapixels.")
            .arg(size)
            .arg(m_maxPixels / 1'000'000.0, 0, 'f', 1);
    }

    const ProbeLimits &m_limits;
    const int m_maxStreams;
    const std::int64_t m_maxPixels;
    Interrupt m_interrupt;
    LimitsHit m_limitsHit;
    FormatContext m_format;
    Reservation m_reservation;
};

// Opens the container with no protocol but the file, refuses what is not recognised by its
// content or declares more streams or larger pictures than allowed, and reserves the memory the
// decoders will hold.
Refusal Probe::open(const QFileInfo &info)
{
    m_format.ctx = avformat_alloc_context();
    if (!m_format.ctx)
        return tr("Out of memory.");
    m_format.ctx->interrupt_callback = AVIOInterruptCB { &interruptCallback, &m_interrupt };
    // One past the limit, so that a file just over it opens and is refused with its count.
    m_format.ctx->max_streams = m_maxStreams + 1;

    AVDictionary *openOptions = nullptr;
    // Only the file itself is read: a playlist or reference file inside it must not make the
    // probe open network addresses or other protocols.
    av_dict_set(&openOptions, "protocol_whitelist", "file", 0);
    // Names such as "take%03d.png" are a file, not a numbered sequence.
    av_dict_set(&openOptions, "pattern_type", "none", 0);
    // A stream whose codec the container leaves open is guessed from its first packets; every
    // PCM stream of a WAV file is re-checked that way for hidden compressed audio, which by
    // default takes 32 packets and more time than the rest of the probe together. The WAV reader
    // has looked for such audio at the start of the data already; eight packets confirm it.
    av_dict_set(&openOptions, "max_probe_packets", "8", 0);
    // "file:" keeps a name like "http:clip.mp4" or "concat:a|b" from being taken for an address.
    const QByteArray url = "file:" + QFile::encodeName(info.absoluteFilePath());
    const int rc = avformat_open_input(&m_format.ctx, url.constData(), nullptr, &openOptions);
    av_dict_free(&openOptions);
    if (rc < 0) {
        m_format.ctx = nullptr; // the library freed it
        if (m_limitsHit.streams)
            return streamsFailure();
        return openFailure(rc, m_interrupt);
    }
    // A guess from the name alone (random bytes called ".mp3") is not worth trusting; real media
    // are recognised by their content.
    if (m_format.ctx->probe_score <= AVPROBE_SCORE_RETRY)
        return tr("The file's content is not in a media format this editor reads.");

    if (m_format.ctx->nb_streams > static_cast<unsigned>(m_maxStreams))
        return streamsFailure();
    for (unsigned i = 0; i < m_format.ctx->nb_streams; ++i) {
        const AVCodecParameters *par = m_format.ctx->streams[i]->codecpar;
        if (par->codec_type == AVMEDIA_TYPE_VIDEO && par->width > 0 && par->height > 0
            && std::int64_t(par->width) * par->height > m_maxPixels)
            return pictureFailure(QStringLiteral("%1x%2").arg(par->width).arg(par->height));
    }
    const std::int64_t estimate = memoryEstimate(m_format.ctx, m_limits);
    if (estimate > m_limits.maxMemory)
        return tr("Analysing the file would take about %1 MB; one analysis may use %2 MB.")
            .arg(megabytes(estimate), megabytes(m_limits.maxMemory));
    if (!m_reservation.take(estimate, [this] { return interruptCallback(&m_interrupt) != 0; }))
        return openFailure(AVERROR_EXIT, m_interrupt);
    return std::nullopt;
}

// Decodes the first packets of every stream, as the analysis needs for what the container does
// not declare.
Refusal Probe::readStreams()
{
    // One decoder thread per stream while probing: the pictures decoded here are few, and a
    // thread pool per stream would cost more than the decoding. The pixel limit also holds for
    // pictures whose size only the decoder finds out.
    const QByteArray pixels = QByteArray::number(static_cast<qlonglong>(m_maxPixels));
    StreamOptions streamOptions;
    streamOptions.dicts.assign(m_format.ctx->nb_streams, nullptr);
    for (AVDictionary *&d : streamOptions.dicts) {
        av_dict_set(&d, "threads", "1", 0);
        av_dict_set(&d, "max_pixels", pixels.constData(), 0);
    }
    const int rc = avformat_find_stream_info(
        m_format.ctx, streamOptions.dicts.empty() ? nullptr : streamOptions.dicts.data());
    if (m_limitsHit.streams)
        return streamsFailure();
    if (!m_limitsHit.picture.isEmpty())
        return pictureFailure(m_limitsHit.picture);
    if (rc < 0 || m_interrupt.timedOut || m_interrupt.wasCancelled)
        return openFailure(rc < 0 ? rc : AVERROR_EXIT, m_interrupt);
    return std::nullopt;
}

// The file's tracks, its length and its bit rates, from the streams read.
Refusal Probe::walkStreams(File &file)
{
    file.format = QString::fromLatin1(m_format.ctx->iformat->name);
    std::vector<int> videoStreams;
    std::vector<int> audioStreams;
    fillTracks(file, m_format.ctx, videoStreams, audioStreams);
    if (file.videoTracks.empty() && file.audioTracks.empty()) {
        if (!file.unsupportedCodecs.isEmpty())
            return tr("No stream of this file can be decoded (%1).")
                .arg(file.unsupportedCodecs.join(QLatin1String(", ")));
        return tr("The file holds no audio or video.");
    }
    // A picture has no length of its own; the timeline gives it one.
    file.duration = file.isStillImage() ? MTime() : durationOf(m_format.ctx);
    completeBitRates(file, m_format.ctx, videoStreams, audioStreams);
    if (m_interrupt.timedOut || m_interrupt.wasCancelled)
        return openFailure(AVERROR_EXIT, m_interrupt);
    return std::nullopt;
}

} // namespace

File probe(const QString &path, const ProbeLimits &limits)
{
    routeLibraryLogOnce();
    File file(path);
    const QFileInfo info(path);
    Refusal refusal = checkPath(path, info, file);
    if (!refusal) {
        Probe probe(limits);
        refusal = probe.open(info);
        if (!refusal)
            refusal = probe.readStreams();
        if (!refusal)
            refusal = probe.walkStreams(file);
    }
    if (refusal) {
        file.state = File::State::Failed;
        file.error = *refusal;
    } else {
        file.state = File::State::Opened;
    }
    return file;
}

} // namespace Media
