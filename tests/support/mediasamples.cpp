#include "mediasamples.h"

#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <sys/stat.h>

#include <random>
#include <stdexcept>

namespace TestSupport {

namespace {

QStringList videoInput(const char *size = "64x48", const char *rate = "25")
{
    return { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
             QStringLiteral("testsrc=size=%1:rate=%2:duration=1")
                 .arg(QLatin1String(size), QLatin1String(rate)) };
}

QStringList audioInput()
{
    return { QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
             QStringLiteral("sine=frequency=440:sample_rate=44100:duration=1") };
}

QStringList split(const char *args)
{
    return QString::fromLatin1(args).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

// `size` bytes of noise, the same for the same seed.
QByteArray randomBytes(int size, unsigned seed)
{
    std::mt19937 gen(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (char &c : bytes)
        c = static_cast<char>(gen() & 0xff);
    return bytes;
}

} // namespace

const std::vector<MediaSamples::Kind> &MediaSamples::kinds()
{
    static const std::vector<Kind> all = {
        { "h264_aac.mp4",
          split("-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac -b:a 64k"), true, true },
        { "hevc.mkv",
          split("-c:v libx265 -preset ultrafast -x265-params log-level=none -c:a libopus -b:a 32k"),
          true, true },
        { "vp9_opus.webm",
          split("-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -b:v 100k -c:a libopus -b:a 32k"),
          true, true },
        { "mpeg4_pcm.mov", split("-c:v mpeg4 -q:v 10 -c:a pcm_s16le"), true, true },
        { "video_only.mp4", split("-c:v libx264 -preset ultrafast -pix_fmt yuv420p -an"), true,
          false },
        { "tone.mp3", split("-c:a libmp3lame -b:a 64k"), false, true },
        { "tone.wav", split("-c:a pcm_s16le"), false, true },
        { "tone.flac", split("-c:a flac"), false, true },
        { "still.png", split("-frames:v 1"), true, false },
        { "still.jpg", split("-frames:v 1 -q:v 5"), true, false },
        { "pq10.mkv",
          split("-c:v libx265 -preset ultrafast -pix_fmt yuv420p10le -x265-params "
                "log-level=none:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc "
                "-color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc -an"),
          true, false },
        { "hlg.mp4",
          split("-c:v libx264 -preset ultrafast -pix_fmt yuv420p10le -color_primaries bt2020 "
                "-color_trc arib-std-b67 -colorspace bt2020nc -an"),
          true, false },
    };
    return all;
}

void MediaSamples::runFfmpeg(const QStringList &arguments)
{
    QProcess ffmpeg;
    ffmpeg.setProcessChannelMode(QProcess::MergedChannels);
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 QStringList { QStringLiteral("-y"), QStringLiteral("-hide_banner"),
                               QStringLiteral("-loglevel"), QStringLiteral("error") }
                     + arguments);
    if (!ffmpeg.waitForFinished(120000) || ffmpeg.exitStatus() != QProcess::NormalExit
        || ffmpeg.exitCode() != 0) {
        throw std::runtime_error("ffmpeg " + arguments.join(QLatin1Char(' ')).toStdString()
                                 + " failed: " + ffmpeg.readAll().toStdString()
                                 + ffmpeg.errorString().toStdString());
    }
}

void MediaSamples::make(const QString &name, const QString &path)
{
    for (const Kind &kind : kinds()) {
        if (name != QLatin1String(kind.name))
            continue;
        QStringList args;
        if (kind.video)
            args += videoInput();
        if (kind.audio)
            args += audioInput();
        args += kind.encoding;
        args += path;
        runFfmpeg(args);
        return;
    }
    throw std::runtime_error("no media sample named " + name.toStdString());
}

MediaSamples::MediaSamples()
    : m_dir(std::make_unique<QTemporaryDir>())
    , m_folder(m_dir->path())
{
    for (const Kind &kind : kinds())
        make(QLatin1String(kind.name), path(QLatin1String(kind.name)));
}

MediaSamples::MediaSamples(const QStringList &names)
    : m_dir(std::make_unique<QTemporaryDir>())
    , m_folder(m_dir->path())
{
    for (const QString &name : names)
        make(name, path(name));
}

MediaSamples::MediaSamples(Folder folder)
    : m_folder(std::move(folder.path))
{
    for (const Kind &kind : kinds()) {
        if (!QFileInfo(path(QLatin1String(kind.name))).isFile())
            throw std::runtime_error("no media sample "
                                     + path(QLatin1String(kind.name)).toStdString()
                                     + ": build the media_samples target");
    }
}

QString MediaSamples::path(const QString &name) const
{
    return QDir(m_folder).filePath(name);
}

// A PNG that declares a picture of width x height and holds a few rows of it: enough for a decoder
// to set aside the whole picture.
QByteArray pngDeclaring(quint32 width, quint32 height)
{
    // Every piece is a QByteArray of its own: string builders must not outlive their parts.
    auto crc = [](const QByteArray &bytes) {
        quint32 c = 0xffffffffu;
        for (const char byte : bytes) {
            c ^= static_cast<quint8>(byte);
            for (int k = 0; k < 8; ++k)
                c = (c >> 1) ^ (0xedb88320u & (0u - (c & 1u)));
        }
        return ~c;
    };
    auto be32 = [](quint32 v) {
        const char bytes[] = { char(v >> 24), char(v >> 16), char(v >> 8), char(v) };
        return QByteArray(bytes, 4);
    };
    auto chunk = [&](const char *type, const QByteArray &data) -> QByteArray {
        const QByteArray body = QByteArray(type) + data;
        return be32(static_cast<quint32>(data.size())) + body + be32(crc(body));
    };
    const QByteArray header = be32(width) + be32(height) + QByteArray("\x08\x02\x00\x00\x00", 5);
    const QByteArray rows = qCompress(QByteArray(64 * 1024, '\0')).mid(4); // zlib, no Qt prefix
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) + chunk("IDAT", rows)
        + chunk("IEND", {});
}

void MediaSamples::makeManyStreams(const QString &path, int streams)
{
    const QString one = path + QStringLiteral(".one.mp4");
    runFfmpeg({ QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                QStringLiteral("testsrc=s=16x16:d=0.1"), QStringLiteral("-c:v"),
                QStringLiteral("mpeg4"), one });
    QStringList arguments { QStringLiteral("-i"), one };
    for (int i = 0; i < streams; ++i)
        arguments << QStringLiteral("-map") << QStringLiteral("0:v");
    runFfmpeg(arguments << QStringLiteral("-c") << QStringLiteral("copy") << path);
    QFile::remove(one);
}

std::vector<BadPath> makeBadMediaPaths(const QString &folder)
{
    const QDir dir(folder);
    const QByteArray mp4 = readFile(samplePath("h264_aac.mp4"));
    dir.mkdir(QStringLiteral("folder.mp4"));
    const QString fifo = dir.filePath(QStringLiteral("pipe.mp4"));
    if (::mkfifo(QFile::encodeName(fifo).constData(), 0600) != 0)
        throw std::runtime_error("cannot make a named pipe in " + folder.toStdString());
    const auto write = [&](const char *name, const QByteArray &bytes) {
        return writeFile(dir.filePath(QLatin1String(name)), bytes);
    };
    return {
        { "zero bytes", write("empty.mp4", {}) },
        { "an mp4 cut before its index", write("cut.mp4", mp4.left(mp4.size() / 3)) },
        { "random bytes called mp4", write("noise.mp4", randomBytes(64 * 1024, 1)) },
        { "random bytes called mp3", write("noise.mp3", randomBytes(64 * 1024, 2)) },
        { "random bytes called wav", write("noise.wav", randomBytes(64 * 1024, 3)) },
        { "random bytes called png", write("noise.png", randomBytes(4 * 1024, 4)) },
        { "text called mov", write("notes.mov", QByteArray("shopping list\nmilk\n").repeated(50)) },
        { "a folder", dir.filePath(QStringLiteral("folder.mp4")) },
        { "a missing path", dir.filePath(QStringLiteral("gone.mp4")) },
        { "a path through a file", write("plain.mp4", mp4) + QStringLiteral("/inner.mp4") },
        { "a named pipe", fifo },
    };
}

const MediaSamples &sharedSamples()
{
    // Made by the build, once: ctest runs every test in a process of its own.
    static const MediaSamples samples(
        MediaSamples::Folder { QStringLiteral(EDITOR_MEDIA_SAMPLES) });
    return samples;
}

} // namespace TestSupport
