#include "media/fileutil.h"

#include "media/filekinds.h"
#include "util/settingspaths.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <QStringList>

namespace FileUtil {

namespace {

// Demuxers of text: subtitles, lyrics and terminal art. The library reads them, but they hold no
// picture or sound, so offering ".txt" or ".srt" as media would only make failed files.
bool isTextDemuxer(const QLatin1String &name)
{
    static const char *const text[] = {
        "aqtitle", "ass",     "jacosub",   "lrc",        "mcc",    "microdvd",
        "mpl2",    "mpsub",   "pjs",       "realtext",   "sami",   "scc",
        "srt",     "stl",     "subviewer", "subviewer1", "sup",    "tty",
        "vobsub",  "vplayer", "webvtt",    "dvbsub",     "dvbtxt",
    };
    for (const char *t : text) {
        if (name == QLatin1String(t))
            return true;
    }
    return false;
}

// Playlists and manifests point at other files or addresses; the analysis reads files only.
bool isManifest(const QLatin1String &name)
{
    return name == QLatin1String("hls") || name == QLatin1String("dash")
        || name == QLatin1String("webm_dash_manifest");
}

void addList(QSet<QString> &set, const char *commaSeparated)
{
    if (!commaSeparated)
        return;
    for (const QString &ext :
         QString::fromLatin1(commaSeparated).split(QLatin1Char(','), Qt::SkipEmptyParts))
        set.insert(ext.trimmed().toLower());
}

struct Tables {
    QSet<QString> media;
    QSet<QString> stills;
    QSet<QString> all;
};

const Tables &tables()
{
    static const Tables t = [] {
        Tables r;
        void *it = nullptr;
        while (const AVInputFormat *demuxer = av_demuxer_iterate(&it)) {
            const QLatin1String name(demuxer->name);
            if (!isTextDemuxer(name) && !isManifest(name))
                addList(r.media, demuxer->extensions);
        }
        // Many demuxers recognise their files by content alone and name no extension (WAV,
        // MPEG-TS, AIFF, ASF). The muxer of the same container does name them; a container this
        // build can both write and read with a picture or sound codec is a container it reads.
        it = nullptr;
        while (const AVOutputFormat *muxer = av_muxer_iterate(&it)) {
            const QLatin1String name(muxer->name);
            if (!muxer->extensions || isTextDemuxer(name) || isManifest(name))
                continue;
            if (muxer->video_codec == AV_CODEC_ID_NONE && muxer->audio_codec == AV_CODEC_ID_NONE)
                continue;
            if (!av_find_input_format(muxer->name))
                continue;
            if (name == QLatin1String("image2")) {
                // One picture per file: only the kinds whose decoder this build has.
                for (const QString &ext :
                     QString::fromLatin1(muxer->extensions).split(QLatin1Char(','))) {
                    const QByteArray probeName = "x." + ext.toLatin1();
                    const AVCodecID id = av_guess_codec(muxer, nullptr, probeName.constData(),
                                                        nullptr, AVMEDIA_TYPE_VIDEO);
                    if (id != AV_CODEC_ID_NONE && avcodec_find_decoder(id))
                        r.stills.insert(ext.toLower());
                }
                continue;
            }
            addList(r.media, muxer->extensions);
        }
        // WebP stills are read by their own pipe demuxer, which names no extension.
        if (av_find_input_format("webp_pipe") && avcodec_find_decoder(AV_CODEC_ID_WEBP))
            r.stills.insert(QStringLiteral("webp"));
        r.media.unite(r.stills);
        r.all = r.media;
        r.all.insert(Settings::projectFileExtension());
        r.all.insert(Settings::packageFileExtension());
        return r;
    }();
    return t;
}

} // namespace

const QSet<QString> &supportedFileExtensions()
{
    return tables().all;
}

const QSet<QString> &supportedMediaExtensions()
{
    return tables().media;
}

const QSet<QString> &stillImageExtensions()
{
    return tables().stills;
}

} // namespace FileUtil
