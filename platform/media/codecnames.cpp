#include "media/codecnames.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Media::CodecConfig {

QString codecIdentifier(AVCodecID id)
{
    // avcodec_get_name never fails: unknown numbers come back as "unknown_codec".
    return QLatin1String("CODEC_ID_") + QString::fromLatin1(avcodec_get_name(id)).toUpper();
}

} // namespace Media::CodecConfig
