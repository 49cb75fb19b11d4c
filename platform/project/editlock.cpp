#include "project/editlock.h"

#include "project/projectfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Project {

namespace {

// Beside the file itself, not beside a link to it: every name of one project takes one lock.
QString lockPathFor(const QString &projectPath)
{
    const QString canonical = QFileInfo(projectPath).canonicalFilePath();
    const QFileInfo project(canonical.isEmpty() ? projectPath : canonical);
    return project.absoluteDir().filePath(QLatin1Char('.') + project.fileName()
                                          + QStringLiteral(".lock"));
}

[[noreturn]] void cannotLock(const QString &projectPath, int code)
{
    throw FileError("cannot take " + projectPath.toStdString()
                    + " for editing: " + std::strerror(code));
}

} // namespace

EditLock::EditLock(const QString &projectPath, std::chrono::milliseconds wait)
    : m_projectPath(projectPath)
    , m_lockPath(lockPathFor(projectPath))
{
    const QByteArray name = QFile::encodeName(m_lockPath);
    const auto deadline = std::chrono::steady_clock::now() + wait;
    auto pause = std::chrono::milliseconds(10);
    for (;;) {
        if (m_fd < 0) {
            m_fd = ::open(name.constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC,
                          0644);
            if (m_fd < 0)
                cannotLock(projectPath, errno);
        }
        if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0) {
            // The holder before us removes the file as it lets go; a lock on a removed file
            // guards nothing, so it must still be the file under the name.
            struct stat held { };
            struct stat named { };
            if (::fstat(m_fd, &held) == 0 && ::lstat(name.constData(), &named) == 0
                && held.st_dev == named.st_dev && held.st_ino == named.st_ino)
                return;
            ::close(m_fd);
            m_fd = -1;
            continue;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            const int code = errno;
            ::close(m_fd);
            m_fd = -1;
            cannotLock(projectPath, code);
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            ::close(m_fd);
            m_fd = -1;
            throw FileError(
                projectPath.toStdString() + " is being changed by another editor or command; "
                + "waited "
                + std::to_string(std::chrono::duration_cast<std::chrono::seconds>(wait).count())
                + " s for it to finish and changed nothing. Try again once it has finished");
        }
        // flock has no timed wait; a short, growing pause keeps the turn-taking quick.
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::milliseconds(200));
    }
}

EditLock::~EditLock()
{
    if (m_fd < 0)
        return;
    // Removed while still held, so nobody can lock the old file after we let go.
    ::unlink(QFile::encodeName(m_lockPath).constData());
    ::close(m_fd);
}

} // namespace Project
