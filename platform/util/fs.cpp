#include "util/fs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace FS {

QString joinPath(const QStringList &parts, const QString &extension)
{
    QString joined;
    for (const QString &part : parts) {
        if (part.isEmpty())
            continue;
        if (!joined.isEmpty() && !joined.endsWith(QLatin1Char('/')))
            joined += QLatin1Char('/');
        joined += part;
    }
    if (!extension.isEmpty())
        joined += QLatin1Char('.') + extension;
    return joined;
}

QString extensionL(const QString &path)
{
    return QFileInfo(path).suffix().toLower();
}

bool isInside(const QString &root, const QString &path)
{
    const QString cleanRoot = QDir::cleanPath(QDir(root).absolutePath());
    const QString cleanPath = QDir::cleanPath(QDir(root).absoluteFilePath(path));
    return cleanPath.startsWith(cleanRoot + QLatin1Char('/'));
}

bool Error::notFound() const noexcept
{
    return m_code == ENOENT;
}

namespace {

class Descriptor {
public:
    explicit Descriptor(int fd = -1)
        : m_fd(fd)
    {
    }
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return m_fd; }
    void reset(int fd)
    {
        reset();
        m_fd = fd;
    }
    void reset()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }
    // close() reports late write errors (NFS, quotas); the caller must see them.
    bool close()
    {
        const int fd = std::exchange(m_fd, -1);
        return fd < 0 || ::close(fd) == 0;
    }

private:
    int m_fd;
};

[[noreturn]] void fail(const char *what, const QString &path, int code)
{
    throw Error(std::string(what) + ' ' + path.toStdString() + ": " + std::strerror(code), code);
}

[[noreturn]] void refuse(const QString &path, const char *why)
{
    throw Error(path.toStdString() + ' ' + why, 0);
}

const char *kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return "is a folder, not a file";
    if (S_ISFIFO(mode))
        return "is a pipe (FIFO), not a file";
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return "is a device, not a file";
    if (S_ISSOCK(mode))
        return "is a socket, not a file";
    return "is not a regular file";
}

bool writeAll(int fd, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n == 0)
                errno = ENOSPC;
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace

void writeFileAtomically(const QString &path, const QByteArray &bytes, LinkPolicy links)
{
    const QByteArray target = QFile::encodeName(path);
    mode_t mode = 0666;
    bool keepMode = false;
    struct stat existing { };
    if (::lstat(target.constData(), &existing) == 0) {
        if (S_ISLNK(existing.st_mode)) {
            if (links == LinkPolicy::Refuse)
                refuse(path, "is a symbolic link; the application does not write through one");
        } else if (!S_ISREG(existing.st_mode)) {
            refuse(path, kindOf(existing.st_mode));
        } else {
            mode = existing.st_mode & 07777;
            keepMode = true;
        }
    } else if (errno != ENOENT) {
        fail("cannot write", path, errno);
    }

    const QFileInfo info(path);
    const QString folder = info.absolutePath();
    // Hidden and unique, beside the target so the rename stays on one file system.
    Descriptor fd;
    QString temporary;
    for (int attempt = 0; fd.get() < 0; ++attempt) {
        temporary
            = QDir(folder).filePath(QStringLiteral(".%1.%2.tmp")
                                        .arg(info.fileName())
                                        .arg(QRandomGenerator::global()->generate64(), 0, 36));
        fd.reset(::open(QFile::encodeName(temporary).constData(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (fd.get() < 0 && (errno != EEXIST || attempt > 100))
            fail("cannot write", path, errno);
    }
    const QByteArray temporaryName = QFile::encodeName(temporary);
    const auto abandon = [&](int code) {
        fd.reset();
        ::unlink(temporaryName.constData());
        fail("cannot write", path, code);
    };
    if (keepMode && ::fchmod(fd.get(), mode) != 0)
        abandon(errno);
    if (!writeAll(fd.get(), bytes.constData(), static_cast<std::size_t>(bytes.size())))
        abandon(errno);
    if (::fsync(fd.get()) != 0)
        abandon(errno);
    if (!fd.close())
        abandon(errno);
    if (::rename(temporaryName.constData(), target.constData()) != 0) {
        const int code = errno;
        ::unlink(temporaryName.constData());
        fail("cannot write", path, code);
    }
    // The rename itself is only durable once the folder is.
    const Descriptor dir(
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (dir.get() >= 0 && ::fsync(dir.get()) != 0 && errno != EINVAL && errno != EROFS)
        fail("cannot write", path, errno);
}

QByteArray readRegularFile(const QString &path, qint64 maxBytes, LinkPolicy links, int padding)
{
    int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    if (links == LinkPolicy::Refuse)
        flags |= O_NOFOLLOW;
    const Descriptor fd(::open(QFile::encodeName(path).constData(), flags));
    if (fd.get() < 0) {
        if (errno == ELOOP && links == LinkPolicy::Refuse)
            refuse(path, "is a symbolic link; the application does not read through one");
        fail("cannot read", path, errno);
    }
    struct stat info { };
    if (::fstat(fd.get(), &info) != 0)
        fail("cannot read", path, errno);
    if (!S_ISREG(info.st_mode))
        refuse(path, kindOf(info.st_mode));
    const auto tooLarge = [&] {
        refuse(path,
               QStringLiteral("is larger than %1 bytes, more than such a file ever holds")
                   .arg(maxBytes)
                   .toUtf8()
                   .constData());
    };
    if (info.st_size > maxBytes)
        tooLarge();

    QByteArray bytes;
    bytes.reserve(static_cast<int>(std::min<qint64>(info.st_size, maxBytes)) + 1 + padding);
    bytes.resize(static_cast<int>(std::min<qint64>(info.st_size, maxBytes)) + 1);
    qint64 used = 0;
    for (;;) {
        if (used == bytes.size()) {
            if (used > maxBytes)
                tooLarge();
            bytes.resize(static_cast<int>(std::min<qint64>(used * 2 + 4096, maxBytes + 1)));
        }
        const ssize_t n
            = ::read(fd.get(), bytes.data() + used, static_cast<std::size_t>(bytes.size() - used));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            fail("cannot read", path, errno);
        if (n == 0)
            break;
        used += n;
    }
    if (used > maxBytes)
        tooLarge();
    bytes.resize(static_cast<int>(used));
    if (bytes.capacity() - bytes.size() < padding)
        bytes.reserve(bytes.size() + padding);
    return bytes;
}

FileLock::FileLock(const QString &path)
    : m_fd(::open(QFile::encodeName(path).constData(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY,
                  0644))
{
    if (m_fd < 0)
        fail("cannot lock", path, errno);
    while (::flock(m_fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            const int code = errno;
            ::close(m_fd);
            fail("cannot lock", path, code);
        }
    }
}

FileLock::~FileLock()
{
    // Closing releases the lock.
    ::close(m_fd);
}

} // namespace FS
