#pragma once

#include "media_export.h"

// Private to the media library: the one place that turns the decoder library's codec numbers into
// the editor's identifiers.

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <QString>

namespace Media::CodecConfig {

MEDIA_EXPORT QString codecIdentifier(AVCodecID id);

} // namespace Media::CodecConfig
