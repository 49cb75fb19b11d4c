#include "downloader/localfile.h"

#include "downloader/transferpolicy.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Downloader {

namespace {

QString systemError(const QString &what, const QString &path)
{
    return what + QStringLiteral(" ") + path + QStringLiteral(": ")
        + QString::fromLocal8Bit(std::strerror(errno));
}

void syncFolder(const QString &folder)
{
    const int fd
        = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

} // namespace

PartFile::PartFile(QString destination)
    : m_destination(std::move(destination))
{
}

PartFile::~PartFile()
{
    discard();
}

bool PartFile::open(QString *error)
{
    discard();
    const QFileInfo info(m_destination);
    const QString folder = info.absolutePath();
    if (!QDir().mkpath(folder)) {
        m_errno = errno;
        *error = QStringLiteral("cannot create the folder ") + folder;
        return false;
    }
    // mkstemp opens with O_CREAT|O_EXCL: the name it picks cannot be a planted link.
    QByteArray name = QFile::encodeName(QDir(folder).filePath(QStringLiteral(".") + info.fileName()
                                                              + QStringLiteral(".part-XXXXXX")));
    m_fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_fd < 0) {
        m_errno = errno;
        *error = systemError(QStringLiteral("cannot create a temporary file in"), folder);
        return false;
    }
    ::fchmod(m_fd, 0644);
    m_path = QFile::decodeName(name);
    m_size = 0;
    return true;
}

bool PartFile::openResumable(std::int64_t keep, QString *error)
{
    discard();
    const QString path = partialPath(m_destination);
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        m_errno = errno;
        *error = QStringLiteral("cannot create the folder ") + folder;
        return false;
    }
    m_fd = ::open(QFile::encodeName(path).constData(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK, 0644);
    struct stat st { };
    if (m_fd < 0 || ::flock(m_fd, LOCK_EX | LOCK_NB) != 0 || ::fstat(m_fd, &st) != 0
        || !S_ISREG(st.st_mode) || st.st_size < keep || ::ftruncate(m_fd, keep) != 0
        || ::lseek(m_fd, keep, SEEK_SET) != keep) {
        m_errno = errno;
        *error = systemError(QStringLiteral("cannot continue"), path);
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
        return false;
    }
    m_path = path;
    m_size = keep;
    m_resumable = true;
    return true;
}

bool PartFile::sync(QString *error)
{
    if (m_fd >= 0 && ::fdatasync(m_fd) != 0) {
        m_errno = errno;
        *error = systemError(QStringLiteral("cannot flush"), m_path);
        return false;
    }
    return true;
}

bool PartFile::write(const char *data, std::int64_t size, QString *error)
{
    while (size > 0) {
        const ssize_t written = ::write(m_fd, data, static_cast<size_t>(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            m_errno = errno;
            *error = systemError(QStringLiteral("cannot write"), m_path);
            return false;
        }
        data += written;
        size -= written;
        m_size += written;
    }
    return true;
}

bool PartFile::commit(QString *error)
{
    if (m_fd < 0) {
        *error = QStringLiteral("nothing to commit for ") + m_destination;
        return false;
    }
    if (::fsync(m_fd) != 0) {
        m_errno = errno;
        *error = systemError(QStringLiteral("cannot flush"), m_path);
        return false;
    }
    if (::close(m_fd) != 0) {
        m_errno = errno;
        m_fd = -1;
        *error = systemError(QStringLiteral("cannot close"), m_path);
        return false;
    }
    m_fd = -1;
    if (::rename(QFile::encodeName(m_path).constData(),
                 QFile::encodeName(m_destination).constData())
        != 0) {
        m_errno = errno;
        *error = systemError(QStringLiteral("cannot replace"), m_destination);
        return false;
    }
    m_path.clear();
    if (m_resumable)
        QFile::remove(validatorsPath(partialPath(m_destination)));
    m_resumable = false;
    syncFolder(QFileInfo(m_destination).absolutePath());
    return true;
}

void PartFile::discard()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    if (!m_path.isEmpty() && !m_resumable)
        ::unlink(QFile::encodeName(m_path).constData());
    m_path.clear();
    m_resumable = false;
}

void PartFile::remove()
{
    const bool resumable = m_resumable;
    m_resumable = false;
    discard();
    if (resumable)
        discardPartial(m_destination);
}

QString partialPath(const QString &destination)
{
    return destination + QStringLiteral(".partial");
}

bool partialInUse(const QString &destination)
{
    const int fd = ::open(QFile::encodeName(partialPath(destination)).constData(),
                          O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(fd);
    return held;
}

void discardPartial(const QString &destination)
{
    // The record first: a part without one is never continued.
    QFile::remove(validatorsPath(partialPath(destination)));
    QFile::remove(partialPath(destination));
}

bool writeFileAtomically(const QString &path, const QByteArray &data, QString *error)
{
    PartFile file(path);
    return file.open(error) && file.write(data.constData(), data.size(), error)
        && file.commit(error);
}

std::optional<QByteArray>
readRegularFile(const QString &path, std::int64_t maxBytes, QString *error)
{
    // A QByteArray holds at most 2 GiB; nothing read this way comes near it.
    maxBytes = std::clamp<std::int64_t>(maxBytes, 0, 0x7FFF0000);
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        *error = errno == ENOENT ? QString() : systemError(QStringLiteral("cannot open"), path);
        return std::nullopt;
    }
    struct stat st { };
    std::optional<QByteArray> result;
    if (::fstat(fd, &st) != 0) {
        *error = systemError(QStringLiteral("cannot inspect"), path);
    } else if (!S_ISREG(st.st_mode)) {
        *error = path + QStringLiteral(" is not a regular file");
    } else if (st.st_size > maxBytes) {
        *error = path + QStringLiteral(" is larger than ") + QString::number(maxBytes)
            + QStringLiteral(" bytes");
    } else {
        // The size is read again as the file is read: it may grow in between, and the bound holds.
        QByteArray data;
        data.resize(static_cast<int>(st.st_size));
        std::int64_t total = 0;
        bool failed = false;
        for (;;) {
            if (total == data.size()) {
                if (total >= maxBytes + 1)
                    break;
                data.resize(static_cast<int>(std::min<std::int64_t>(maxBytes + 1, total + 65536)));
            }
            const ssize_t got
                = ::read(fd, data.data() + total, static_cast<size_t>(data.size() - total));
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0) {
                failed = true;
                break;
            }
            if (got == 0)
                break;
            total += got;
        }
        if (failed) {
            *error = systemError(QStringLiteral("cannot read"), path);
        } else if (total > maxBytes) {
            *error = path + QStringLiteral(" is larger than ") + QString::number(maxBytes)
                + QStringLiteral(" bytes");
        } else {
            data.resize(static_cast<int>(total));
            result = std::move(data);
        }
    }
    ::close(fd);
    return result;
}

} // namespace Downloader
