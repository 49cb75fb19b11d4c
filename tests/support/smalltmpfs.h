#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace TestSupport {

// A file system of `bytes` mounted on a fresh folder for the guard's life: the way to run out
// of disk on purpose. Mounting needs root; where it is not allowed, mounted() is false and
// reason() says why, for the test to skip with.
class SmallTmpfs {
public:
    explicit SmallTmpfs(qint64 bytes)
        : SmallTmpfs(bytes, QString())
    {
    }
    // Mounted on `folder` (made when missing; the test's own) instead of a fresh one: the way
    // to give one folder of a data folder a disk of its own.
    SmallTmpfs(qint64 bytes, const QString &folder)
        : m_mountPoint(folder.isEmpty() ? m_dir.path() : folder)
    {
        QDir().mkpath(m_mountPoint);
        const QByteArray options = "size=" + QByteArray::number(bytes) + ",mode=0777";
        if (::mount("tmpfs", QFile::encodeName(m_mountPoint).constData(), "tmpfs", 0,
                    options.constData())
            == 0)
            m_mounted = true;
        else
            m_reason = std::string("cannot mount a small tmpfs: ") + std::strerror(errno);
    }
    ~SmallTmpfs()
    {
        if (m_mounted)
            ::umount2(QFile::encodeName(m_mountPoint).constData(), MNT_DETACH);
    }
    SmallTmpfs(const SmallTmpfs &) = delete;
    SmallTmpfs &operator=(const SmallTmpfs &) = delete;

    bool mounted() const { return m_mounted; }
    const std::string &reason() const { return m_reason; }
    QString path() const { return m_mountPoint; }
    QString filePath(const QString &name) const { return QDir(m_mountPoint).filePath(name); }

    // Fills what is left with one file, so the next write of any size fails.
    void fill() const
    {
        QFile filler(filePath(QStringLiteral(".filler")));
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Append))
            return;
        const QByteArray block(4096, 'x');
        while (filler.write(block) == block.size() && filler.flush()) { }
        const QByteArray byte(1, 'x');
        while (filler.write(byte) == 1 && filler.flush()) { }
    }

private:
    QTemporaryDir m_dir;
    QString m_mountPoint;
    bool m_mounted = false;
    std::string m_reason;
};

} // namespace TestSupport
