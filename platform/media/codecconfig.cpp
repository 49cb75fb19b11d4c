#include "media/codecconfig.h"

#include "media/codecnames.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <QHash>

namespace Media::CodecConfig {

namespace {

// Identifier to media kind, for every codec the library describes. Built once; the library's
// descriptor table is static, so the map never goes stale.
const QHash<QString, AVMediaType> &kinds()
{
    static const QHash<QString, AVMediaType> table = [] {
        QHash<QString, AVMediaType> t;
        for (const AVCodecDescriptor *d = avcodec_descriptor_next(nullptr); d;
             d = avcodec_descriptor_next(d)) {
            t.insert(codecIdentifier(d->id), d->type);
        }
        return t;
    }();
    return table;
}

bool isKind(const QString &codecId, AVMediaType type)
{
    const auto it = kinds().constFind(codecId);
    return it != kinds().constEnd() && *it == type;
}

} // namespace

bool IsVideoCodec(const QString &codecId)
{
    return isKind(codecId, AVMEDIA_TYPE_VIDEO);
}

bool IsAudioCodec(const QString &codecId)
{
    return isKind(codecId, AVMEDIA_TYPE_AUDIO);
}

} // namespace Media::CodecConfig
