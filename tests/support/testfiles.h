#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

namespace TestSupport {

// Writes `bytes` to `path` (making its folder) and returns the path. Throws when it cannot, so
// a test never goes on with a file that is not what it wrote.
inline QString writeFile(const QString &path, const QByteArray &bytes = {})
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        throw std::runtime_error("cannot write " + path.toStdString());
    return path;
}

// The whole of a file; empty when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a file whose name is given as raw bytes, which need not be text in any encoding (so the
// toolkit cannot name it faithfully), and returns the name as the toolkit reads it back.
inline QString writeFileWithRawName(const QByteArray &path, const QByteArray &bytes)
{
    const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    const bool written = fd >= 0
        && ::write(fd, bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size();
    if (fd >= 0)
        ::close(fd);
    if (!written)
        throw std::runtime_error("cannot write " + path.toStdString());
    return QFile::decodeName(path);
}

} // namespace TestSupport
