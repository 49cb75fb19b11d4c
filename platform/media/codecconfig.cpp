#include "media/codecconfig.h"

#include "media/codecnames.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <QHash>

#include <vector>

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

// The library's standard layouts, in its order, so the first name of a mask wins (it lists the
// usual name before aliases). Built once; the table is static in the library.
const std::vector<LayoutRecord> &layouts()
{
    static const std::vector<LayoutRecord> table = [] {
        std::vector<LayoutRecord> t;
        void *opaque = nullptr;
        while (const AVChannelLayout *layout = av_channel_layout_standard(&opaque)) {
            if (layout->order != AV_CHANNEL_ORDER_NATIVE)
                continue;
            char name[64];
            if (av_channel_layout_describe(layout, name, sizeof name) < 0)
                continue;
            t.push_back({ layout->u.mask, QString::fromLatin1(name), layout->nb_channels });
        }
        return t;
    }();
    return table;
}

} // namespace

const LayoutRecord *LayoutRecord::Find(std::uint64_t mask)
{
    for (const LayoutRecord &record : layouts()) {
        if (record.mask == mask)
            return &record;
    }
    return nullptr;
}

bool IsVideoCodec(const QString &codecId)
{
    return isKind(codecId, AVMEDIA_TYPE_VIDEO);
}

bool IsAudioCodec(const QString &codecId)
{
    return isKind(codecId, AVMEDIA_TYPE_AUDIO);
}

} // namespace Media::CodecConfig
