#pragma once

// The file an export writes before it is renamed over the user's. Internal to the engine's
// library.

#include "exportengine/libav.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <glog/logging.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Export::Detail {

inline QString folderOf(const QString &path)
{
    return QDir::toNativeSeparators(QFileInfo(path).absolutePath());
}

// The user's words for a write that the system refused.
[[noreturn]] inline void writeFailure(int code, const QString &path)
{
    const QString folder = folderOf(path);
    const QString why = QString::fromLocal8Bit(std::strerror(code));
    switch (code) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        throw Failure(tr("Disk full"),
                      tr("There is no space left for %1 (%2). Free some space or choose "
                         "another folder.")
                          .arg(path, why));
    case EACCES:
    case EPERM:
    case EROFS:
        throw Failure(tr("Output folder not writable"),
                      tr("Cannot write in %1 (%2). Choose another folder.").arg(folder, why));
    case ENOENT:
    case ENOTDIR:
        throw Failure(
            tr("Output folder missing"),
            tr("%1 does not exist (%2). Create it or choose another folder.").arg(folder, why));
    default:
        throw Failure(tr("Cannot write the video"), tr("Writing %1 failed (%2).").arg(path, why));
    }
}

// The part files of `target` are named ".NAME.part-" and eight hex digits.
inline QString partPrefix(const QFileInfo &target)
{
    return QStringLiteral(".%1.part-").arg(target.fileName());
}

inline bool isPartName(const QString &name, const QString &prefix)
{
    if (name.size() != prefix.size() + 8 || !name.startsWith(prefix))
        return false;
    for (int i = prefix.size(); i < name.size(); ++i) {
        const QChar c = name.at(i);
        if (!c.isDigit() && (c < QLatin1Char('a') || c > QLatin1Char('f')))
            return false;
    }
    return true;
}

// Removes the part files an export of `target` left behind when it was killed. Only names of
// exactly that pattern, only regular files (a link is never followed) and only those no export
// is writing: each export keeps its part file locked until it is renamed or removed.
inline void removeStaleParts(const QFileInfo &target)
{
    const QDir folder = target.absoluteDir();
    const QString prefix = partPrefix(target);
    for (const QString &name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (!isPartName(name, prefix))
            continue;
        const QByteArray path = QFile::encodeName(folder.filePath(name));
        const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0)
            continue;
        struct stat opened = {};
        struct stat named = {};
        // The name must still be the file locked: not replaced since it was opened.
        if (::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode)
            && ::flock(fd, LOCK_EX | LOCK_NB) == 0 && ::lstat(path.constData(), &named) == 0
            && named.st_dev == opened.st_dev && named.st_ino == opened.st_ino
            && ::unlink(path.constData()) == 0)
            LOG(WARNING) << "Removed " << path.constData()
                         << ", the unfinished file of an earlier export of "
                         << QFile::encodeName(target.fileName()).constData()
                         << " that was interrupted";
        ::close(fd);
    }
}

// The temporary file the muxer writes through: every write checked, the first error kept, so
// the user hears "disk full" rather than the muxer's "I/O error".
class TempOutput {
public:
    explicit TempOutput(const QString &target)
        : m_target(target)
    {
        const QFileInfo info(target);
        if (info.isDir())
            throw Failure(tr("Cannot write the video"),
                          tr("%1 is a folder. Choose a file name.").arg(target));
        removeStaleParts(info);
        for (int attempt = 0; attempt < 100 && m_fd < 0; ++attempt) {
            m_path = info.absoluteDir().filePath(
                partPrefix(info)
                + QStringLiteral("%1").arg(QRandomGenerator::global()->generate(), 8, 16,
                                           QLatin1Char('0')));
            // Exclusive and not through a link: the name is ours alone.
            m_fd = ::open(QFile::encodeName(m_path).constData(),
                          O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
            if (m_fd < 0 && errno != EEXIST)
                writeFailure(errno, target);
            // Locked while it is written, so that another export's sweep leaves it; one swept
            // between its creation and the lock is no longer ours: another name then.
            if (m_fd >= 0 && !lockedUnderItsName()) {
                ::close(m_fd);
                m_fd = -1;
            }
        }
        if (m_fd < 0)
            writeFailure(EEXIST, target);
        constexpr int bufferSize = 1 << 16;
        auto *buffer = static_cast<unsigned char *>(av_malloc(bufferSize));
        m_io = avio_alloc_context(buffer, bufferSize, 1, this, nullptr, &TempOutput::write,
                                  &TempOutput::seek);
        if (!m_io) {
            av_free(buffer);
            discard();
            throw std::bad_alloc();
        }
    }

    ~TempOutput()
    {
        if (m_io) {
            av_freep(&m_io->buffer);
            avio_context_free(&m_io);
        }
        discard();
    }

    AVIOContext *io() const { return m_io; }

    // The muxer's error, or the system's behind it.
    [[noreturn]] void failed(int error, const char *what)
    {
        if (m_errno)
            writeFailure(m_errno, m_target);
        internalFailure(QString::fromLatin1(what), error);
    }

    // Synced and renamed over the target; the folder synced too. Returns the file's size.
    std::int64_t commit()
    {
        avio_flush(m_io);
        if (m_errno)
            writeFailure(m_errno, m_target);
        if (::fsync(m_fd) != 0)
            writeFailure(errno, m_target);
        struct stat st = {};
        ::fstat(m_fd, &st);
        if (::close(m_fd) != 0) {
            m_fd = -1;
            writeFailure(errno, m_target);
        }
        m_fd = -1;
        if (::rename(QFile::encodeName(m_path).constData(), QFile::encodeName(m_target).constData())
            != 0)
            writeFailure(errno, m_target);
        m_path.clear();
        const int dir = ::open(QFile::encodeName(QFileInfo(m_target).absolutePath()).constData(),
                               O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (dir >= 0) {
            ::fsync(dir);
            ::close(dir);
        }
        return st.st_size;
    }

private:
    bool lockedUnderItsName() const
    {
        struct stat opened = {};
        struct stat named = {};
        return ::flock(m_fd, LOCK_EX | LOCK_NB) == 0 && ::fstat(m_fd, &opened) == 0
            && ::lstat(QFile::encodeName(m_path).constData(), &named) == 0
            && named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
    }

    void discard()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
        if (!m_path.isEmpty())
            ::unlink(QFile::encodeName(m_path).constData());
        m_path.clear();
    }

    static int write(void *opaque, std::uint8_t *data, int size)
    {
        auto *self = static_cast<TempOutput *>(opaque);
        int done = 0;
        while (done < size) {
            const ssize_t n
                = ::write(self->m_fd, data + done, static_cast<std::size_t>(size - done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                self->m_errno = n < 0 ? errno : ENOSPC;
                return AVERROR(self->m_errno);
            }
            done += static_cast<int>(n);
        }
        return size;
    }

    static std::int64_t seek(void *opaque, std::int64_t offset, int whence)
    {
        auto *self = static_cast<TempOutput *>(opaque);
        if (whence & AVSEEK_SIZE) {
            struct stat st = {};
            return ::fstat(self->m_fd, &st) == 0 ? st.st_size : AVERROR(errno);
        }
        const off_t at = ::lseek(self->m_fd, offset, whence & ~AVSEEK_FORCE);
        return at < 0 ? AVERROR(errno) : at;
    }

    QString m_target;
    QString m_path;
    int m_fd = -1;
    int m_errno = 0;
    AVIOContext *m_io = nullptr;
};

} // namespace Export::Detail
