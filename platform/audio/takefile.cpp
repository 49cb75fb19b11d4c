#include "audio/takefile.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

#include <sndfile.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace AudIO {

namespace {

std::string errnoText()
{
    return std::strerror(errno);
}

std::runtime_error failure(const QString &path, const std::string &why)
{
    return std::runtime_error(path.toStdString() + ": " + why);
}

// Opens an existing regular file for reading without blocking and without following a link.
int openRegular(const QString &path, int flags)
{
    const int fd
        = ::open(QFile::encodeName(path).constData(), flags | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        throw failure(path, errnoText());
    struct stat st { };
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        throw failure(path, "not a regular file");
    }
    return fd;
}

struct SndCloser {
    void operator()(SNDFILE *file) const { sf_close(file); }
};
using SndFile = std::unique_ptr<SNDFILE, SndCloser>;

// 0 for an extension we do not write: a take saved as "x.mp3" in WAV would lie to every player.
int formatForPath(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("flac"))
        return SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    if (suffix == QLatin1String("ogg") || suffix == QLatin1String("oga"))
        return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
    if (suffix == QLatin1String("wav") || suffix == QLatin1String("wave"))
        return SF_FORMAT_WAV | SF_FORMAT_PCM_24;
    return 0;
}

bool isLink(const QString &path)
{
    struct stat st { };
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0 && S_ISLNK(st.st_mode);
}

} // namespace

class TakeFile::Impl {
public:
    int fd = -1;
    SndFile file;
};

TakeFile::TakeFile(const QString &folder, AudioFormat format)
    : d(std::make_unique<Impl>())
    , m_format(format)
{
    const QFileInfo folderInfo(folder);
    if (folderInfo.isSymLink())
        throw failure(folder, "is a link; takes are only written to a real folder");
    if (!QDir().mkpath(folder))
        throw failure(folder, "cannot be created");
    static std::atomic<int> counter { 0 };
    m_path = QDir(folder).filePath(
        QStringLiteral("take-%1-%2-%3.wav")
            .arg(QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss")))
            .arg(::getpid())
            .arg(counter++));
    d->fd = ::open(QFile::encodeName(m_path).constData(),
                   O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (d->fd < 0)
        throw failure(m_path, errnoText());
    if (::flock(d->fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(d->fd);
        throw failure(m_path, "is held by another recording");
    }
    SF_INFO info {};
    info.samplerate = format.sampleRate;
    info.channels = format.channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    d->file.reset(sf_open_fd(d->fd, SFM_RDWR, &info, SF_FALSE));
    if (!d->file) {
        const std::string why = sf_strerror(nullptr);
        ::close(d->fd);
        ::unlink(QFile::encodeName(m_path).constData());
        throw failure(m_path, why);
    }
    updateHeader();
}

TakeFile::~TakeFile()
{
    close();
}

void TakeFile::write(const float *samples, int frames)
{
    if (!d->file)
        throw failure(m_path, "is closed");
    const sf_count_t written = sf_writef_float(d->file.get(), samples, frames);
    // What did reach the file counts, so the take's length is what a reader finds in it.
    m_frames += std::max<sf_count_t>(written, 0);
    if (written != frames)
        throw failure(m_path, std::string("write failed: ") + sf_strerror(d->file.get()));
}

void TakeFile::writeSilence(std::int64_t frames)
{
    static const std::vector<float> silence(8192 * 2, 0.0f);
    const std::int64_t perBlock = static_cast<std::int64_t>(silence.size()) / m_format.channels;
    std::vector<float> wide;
    const float *zeros = silence.data();
    if (perBlock < 1) {
        wide.assign(static_cast<std::size_t>(m_format.channels), 0.0f);
        zeros = wide.data();
    }
    const std::int64_t step = std::max<std::int64_t>(perBlock, 1);
    for (std::int64_t done = 0; done < frames; done += step)
        write(zeros, static_cast<int>(std::min(step, frames - done)));
}

void TakeFile::updateHeader()
{
    if (d->file)
        sf_command(d->file.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
}

void TakeFile::close()
{
    if (!d->file)
        return;
    d->file.reset();
    // The header is final; make it and the samples reach the disk before anyone renames.
    ::fsync(d->fd);
    ::close(d->fd); // also lets go of the lock
    d->fd = -1;
}

QStringList interruptedTakes(const QString &folder)
{
    QStringList result;
    if (isLink(QDir::cleanPath(folder)))
        return result;
    const QFileInfoList entries = QDir(folder).entryInfoList(
        { QStringLiteral("take-*.wav") }, QDir::Files | QDir::System, QDir::Time);
    for (const QFileInfo &entry : entries) {
        if (entry.isSymLink())
            continue;
        int fd = -1;
        try {
            fd = openRegular(entry.filePath(), O_RDONLY);
        } catch (const std::exception &) {
            continue;
        }
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
            result << entry.filePath();
        ::close(fd);
    }
    return result;
}

QStringList audioFileExtensions()
{
    return { QStringLiteral("wav"), QStringLiteral("wave"), QStringLiteral("flac"),
             QStringLiteral("ogg"), QStringLiteral("oga") };
}

bool isAudioFileExtension(const QString &path)
{
    return formatForPath(path) != 0;
}

std::int64_t convertAudioFile(const QString &source, const QString &target)
{
    if (!isAudioFileExtension(target))
        throw failure(target,
                      "does not end in ."
                          + audioFileExtensions().join(QStringLiteral(", .")).toStdString()
                          + ": a take is saved only in a format its name tells");
    const QFileInfo targetInfo(target);
    if (targetInfo.isDir())
        throw failure(target, "is a folder");
    if (targetInfo.isSymLink())
        throw failure(target, "is a link; it is not written through");

    const int inFd = openRegular(source, O_RDONLY);
    SF_INFO inInfo {};
    SndFile in(sf_open_fd(inFd, SFM_READ, &inInfo, SF_TRUE));
    if (!in)
        throw failure(source, std::string("not readable audio: ") + sf_strerror(nullptr));

    const QByteArray tempPattern
        = QFile::encodeName(
              QDir(targetInfo.absolutePath()).filePath(QLatin1Char('.') + targetInfo.fileName()))
        + ".XXXXXX";
    std::vector<char> tempPath(tempPattern.constData(),
                               tempPattern.constData() + tempPattern.size() + 1);
    const int outFd = ::mkostemp(tempPath.data(), O_CLOEXEC);
    if (outFd < 0)
        throw failure(targetInfo.absolutePath(), "cannot write a file there: " + errnoText());
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(outFd, 0666 & ~mask);
    auto discard = [&](const std::string &why) {
        ::close(outFd);
        ::unlink(tempPath.data());
        return failure(target, why);
    };

    SF_INFO outInfo {};
    outInfo.samplerate = inInfo.samplerate;
    outInfo.channels = inInfo.channels;
    outInfo.format = formatForPath(target);
    std::int64_t frames = 0;
    {
        SndFile out(sf_open_fd(outFd, SFM_WRITE, &outInfo, SF_FALSE));
        if (!out)
            throw discard(std::string("cannot be written: ") + sf_strerror(nullptr));
        sf_command(out.get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
        std::vector<float> block(static_cast<std::size_t>(8192) * inInfo.channels);
        for (;;) {
            const sf_count_t got = sf_readf_float(in.get(), block.data(), 8192);
            if (got <= 0)
                break;
            if (sf_writef_float(out.get(), block.data(), got) != got)
                throw discard(std::string("write failed: ") + sf_strerror(out.get()));
            frames += got;
        }
        if (sf_error(in.get()) != SF_ERR_NO_ERROR)
            throw discard(std::string("the recording cannot be read back: ")
                          + sf_strerror(in.get()));
        out.reset(); // writes the final header
    }
    if (::fsync(outFd) != 0)
        throw discard("cannot be flushed to disk: " + errnoText());
    if (::close(outFd) != 0) {
        ::unlink(tempPath.data());
        throw failure(target, "cannot be closed: " + errnoText());
    }
    if (::rename(tempPath.data(), QFile::encodeName(target).constData()) != 0) {
        const std::string why = errnoText();
        ::unlink(tempPath.data());
        throw failure(target, "cannot be replaced: " + why);
    }
    return frames;
}

std::int64_t recoverTake(const QString &take, const QString &target)
{
    const QString folder = QFileInfo(take).absolutePath();
    if (isLink(folder))
        throw failure(folder, "is a link; takes are only recovered from a real folder");
    const int fd = openRegular(take, O_RDONLY);
    struct stat held { };
    if (::fstat(fd, &held) != 0 || ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        throw failure(take, "is being recorded");
    }
    struct stat out { };
    if (::stat(QFile::encodeName(target).constData(), &out) == 0 && out.st_dev == held.st_dev
        && out.st_ino == held.st_ino) {
        ::close(fd);
        throw failure(target, "is the interrupted take itself; choose another name");
    }
    std::int64_t frames = 0;
    try {
        frames = convertAudioFile(take, target);
    } catch (...) {
        ::close(fd);
        throw;
    }
    // Removed only while it is still the file that was copied, under the name it had.
    struct stat named { };
    const QByteArray name = QFile::encodeName(take);
    if (!isLink(folder) && ::lstat(name.constData(), &named) == 0 && named.st_dev == held.st_dev
        && named.st_ino == held.st_ino)
        ::unlink(name.constData());
    ::close(fd);
    return frames;
}

} // namespace AudIO
