#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace TestSupport {

// Real media files made on the spot with the ffmpeg command-line tool, so suites and benchmarks
// read what a user would drop and the repository holds no binaries. Each kind is a second or
// less of a test pattern and a tone, a few kilobytes.
class MediaSamples {
public:
    struct Kind {
        const char *name; // file name, e.g. "h264_aac.mp4"
        QStringList encoding; // ffmpeg arguments after the inputs
        bool video;
        bool audio;
    };

    // Every kind the suites know, in a fixed order.
    static const std::vector<Kind> &kinds();

    // Makes the files in a fresh temporary folder. Throws std::runtime_error when ffmpeg fails.
    MediaSamples();
    explicit MediaSamples(const QStringList &names);
    // Every kind, made beforehand in `path` (make-media-samples). Throws std::runtime_error when
    // one is missing.
    struct Folder {
        QString path;
    };
    explicit MediaSamples(Folder folder);

    QString path(const QString &name) const;

    // Writes one kind to `path`. Throws std::runtime_error when ffmpeg fails.
    static void make(const QString &name, const QString &path);
    // Runs ffmpeg with `arguments` (after "-y -hide_banner -loglevel error").
    static void runFfmpeg(const QStringList &arguments);
    // An MP4 of `streams` tiny video streams: a few kilobytes that ask for a decoder each.
    static void makeManyStreams(const QString &path, int streams);

private:
    std::unique_ptr<QTemporaryDir> m_dir; // none for samples made beforehand
    QString m_folder;
};

// Every kind, made once per build by the media_samples target, on which every suite depends.
const MediaSamples &sharedSamples();

// A path a user may drop that is not media, or is not any more, and what it is (for messages).
struct BadPath {
    const char *what;
    QString path;
};

// Makes in `folder`, under media names: zero bytes, an mp4 cut before its index, random bytes,
// text, a folder, a path through a file and a named pipe; and names a missing path.
std::vector<BadPath> makeBadMediaPaths(const QString &folder);

// A PNG that declares a picture of width x height and holds a few rows of it: enough for a decoder
// to set aside the whole picture.
QByteArray pngDeclaring(quint32 width, quint32 height);

// The path of one of those samples.
inline QString samplePath(const char *name)
{
    return sharedSamples().path(QLatin1String(name));
}

} // namespace TestSupport
