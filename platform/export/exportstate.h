#pragma once

#include "export_export.h"

#include "util/mtime.h"

#include <QSize>
#include <QString>

#include <boost/rational.hpp>

#include <cstdint>
#include <optional>

// What an export is made of and how far it got: the preset the user chose, the range, the size
// estimates and the outcome. Plain values, copied freely between the export engine's thread and
// the interface.
namespace Export {

// How the video bit rate is chosen. The numbers are the preset files' and the statistics'.
enum class BitrateMode : int { None = 0, CbrAuto = 1, Cbr = 2, Vbr = 3 };
// The encoder's speed/size trade-off, fastest first.
enum class EncodingSpeed : int {
    Ultrafast = 0,
    Superfast,
    Veryfast,
    Faster,
    Fast,
    Medium,
    Slow,
    Slower,
    Veryslow
};
enum class EncodingTune : int {
    Film = 0,
    Animation,
    Grain,
    StillImage,
    Psnr,
    Ssim,
    FastDecode,
    ZeroLatency
};
// The quality step the export dialog shows.
enum class Quality : int { Draft = 0, Good = 1, High = 2, Custom = 3 };

struct ExportPreset {
    QString id;
    // The tag of the destination the preset was chosen under ("format_mp4",
    // "format_online_youtube"); sharing presets carry the service's tag.
    QString currentTag;
    QString outputFormat; // the container, e.g. "mp4"
    QString videoCodec; // empty: no video output
    QString audioCodec; // empty: no audio output
    QSize frameSize;
    boost::rational<std::int64_t> frameRate { 0, 1 };
    BitrateMode bitrateMode = BitrateMode::None;
    std::int64_t videoBitRate = 0; // bits per second
    int vbrQuality = 0;
    // Stated only by presets that set them; an unstated one is the encoder's default.
    std::optional<bool> twoPass;
    std::optional<EncodingSpeed> speed;
    std::optional<EncodingTune> tune;
    int sampleRate = 0;
    std::uint64_t channelLayout = 0; // the decoder library's channel mask
    Quality quality = Quality::Good;

    bool hasVideo() const noexcept { return !videoCodec.isEmpty(); }
    bool hasAudio() const noexcept { return !audioCodec.isEmpty(); }
};

// Which part of the timeline is exported: the whole of it, or the span between two marks.
class EXPORT_EXPORT ExportRange {
public:
    enum Kind : int { Full = 0, Partial = 1 };

    ExportRange() = default;
    // A partial range; an end before its start is taken as an empty span at the start.
    static ExportRange partial(MTime from, MTime to);

    Kind kind() const noexcept { return m_kind; }
    MTime from() const noexcept { return m_from; }
    MTime to() const noexcept { return m_to; }
    MTime length() const noexcept { return m_to - m_from; }

private:
    Kind m_kind = Full;
    MTime m_from;
    MTime m_to;
};

struct ExportState {
    ExportPreset preset;
    ExportRange range;
    // What the encoder expects to write; equal when it can tell exactly.
    std::int64_t estimatedSizeMin = 0;
    std::int64_t estimatedSizeMax = 0;
    MTime elapsed;
    std::int64_t actualSize = 0; // bytes written so far
    QString outputPath;
};

// Why an export stopped: a short reason for the statistics and the user, and the detail.
struct ExportErrorDesc {
    QString reason;
    QString info;
};

// Told about every export's state changes, on the export engine's thread. Registers itself for
// its lifetime; unregistering waits for a call in progress, so once the base destructor returns
// no call is under way.
class EXPORT_EXPORT ExportStateWatcher {
public:
    ExportStateWatcher();
    virtual ~ExportStateWatcher();
    ExportStateWatcher(const ExportStateWatcher &) = delete;
    ExportStateWatcher &operator=(const ExportStateWatcher &) = delete;

    virtual void exportStarted(const ExportState &state) = 0;
    virtual void exportFinished(const ExportState &state) = 0;
    virtual void exportCancelled(const ExportState &state) = 0;
    virtual void exportFailed(const ExportState &state, const ExportErrorDesc &error) = 0;
};

// The export engine's side: hands a state change to every live watcher, in registration order.
EXPORT_EXPORT void notifyStarted(const ExportState &state);
EXPORT_EXPORT void notifyFinished(const ExportState &state);
EXPORT_EXPORT void notifyCancelled(const ExportState &state);
EXPORT_EXPORT void notifyFailed(const ExportState &state, const ExportErrorDesc &error);

} // namespace Export
