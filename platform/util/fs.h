#pragma once

#include "util_export.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <stdexcept>

namespace FS {

// Joins path parts with '/', then appends ".ext" when `extension` is not empty.
UTIL_EXPORT QString joinPath(const QStringList &parts, const QString &extension = {});
// The file's extension in lower case, without the dot; empty when there is none.
UTIL_EXPORT QString extensionL(const QString &path);
// Whether `path`, once cleaned, stays inside `root` (no "..", no absolute escape).
UTIL_EXPORT bool isInside(const QString &root, const QString &path);

// Why a file could not be read or written, in words for the user ("cannot write /x/y: No space
// left on device"). `code()` is the errno behind it, 0 when the refusal is ours.
class UTIL_EXPORT Error : public std::runtime_error {
public:
    Error(const std::string &message, int code)
        : std::runtime_error(message)
        , m_code(code)
    {
    }
    int code() const noexcept { return m_code; }
    bool notFound() const noexcept;

private:
    int m_code;
};

// What to do when the path itself is a symbolic link.
enum class LinkPolicy {
    // The application's own state: nobody but us writes there, so a link was planted. Refused.
    Refuse,
    // A user's own file that the user may well have linked: reads go to the target; writes put
    // the new file in the link's place and leave whatever it pointed at alone.
    UsersOwn,
};

// Replaces the file at `path` with `bytes`, all or nothing: a temporary file beside it gets every
// byte (each write checked) and an fsync, is renamed over `path`, and the folder is synced, so a
// full disk, a kill or a power cut leaves either the old file or the new one, never a cut one.
// The new file keeps the old one's permissions. Throws Error, with the old file untouched.
UTIL_EXPORT void writeFileAtomically(const QString &path,
                                     const QByteArray &bytes,
                                     LinkPolicy links = LinkPolicy::Refuse);

// The bytes of the regular file at `path`, at most `maxBytes` of them. Opened without blocking,
// so a FIFO or a device at the path is refused instead of hanging or streaming forever, and the
// limit is checked while reading (a file that grows, or lies about its size, is still bounded).
// Throws Error: missing (notFound()), not a regular file, larger than the limit, unreadable.
// `padding` spare bytes of capacity follow the data, for parsers that read past the end in
// blocks (simdjson), so they need no copy.
UTIL_EXPORT QByteArray readRegularFile(const QString &path,
                                       qint64 maxBytes,
                                       LinkPolicy links = LinkPolicy::Refuse,
                                       int padding = 0);

// An exclusive advisory lock on `path` (created when missing) for the guard's life: the way
// several processes sharing a data folder take turns at a read-modify-write of one file. Blocks
// until the lock is free. Throws Error when the lock file cannot be opened.
class UTIL_EXPORT FileLock {
public:
    explicit FileLock(const QString &path);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

private:
    int m_fd = -1;
};

} // namespace FS
