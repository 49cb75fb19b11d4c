#pragma once

#include "media_export.h"

#include <QString>

// The editor's codec identifiers: "CODEC_ID_" and the decoder library's codec name in upper case
// ("CODEC_ID_H264", "CODEC_ID_HEVC", "CODEC_ID_AAC"). They are what the statistics report and what
// a project file keeps, so they never depend on the library's numbering. Thread-safe.
namespace Media::CodecConfig {

inline constexpr const char *CODEC_ID_MJPEG = "CODEC_ID_MJPEG";
// Not a codec of the library: the name a still JPEG picture is reported under, because its
// pixels are coded with MJPEG but people know the file as a JPEG.
inline constexpr const char *CODEC_ID_JPEG = "CODEC_ID_JPEG";

// Whether the identifier names a codec of that kind; false for identifiers the library does
// not know.
MEDIA_EXPORT bool IsVideoCodec(const QString &codecId);
MEDIA_EXPORT bool IsAudioCodec(const QString &codecId);

} // namespace Media::CodecConfig
