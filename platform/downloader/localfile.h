#pragma once

#include "downloader_export.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>

// The two ways this library touches a local file: a body grown in a temporary file beside its
// destination and put in place whole, and a bounded read that refuses anything but a regular
// file. Shared with the libraries that keep downloaded state (the web configuration).
namespace Downloader {

// A file written beside `destination` and renamed over it only on commit(). The temporary file is
// created exclusively, so a planted file or symlink is never written through; rename replaces a
// symlink at the destination rather than following it. Anything not committed is removed.
class DOWNLOADER_EXPORT PartFile {
public:
    explicit PartFile(QString destination);
    ~PartFile();
    PartFile(const PartFile &) = delete;
    PartFile &operator=(const PartFile &) = delete;

    // Creates the destination's folder when missing. False with `error` set on failure.
    bool open(QString *error);
    // Opens the destination's partial file (partialPath) instead, keeping its first `keep` bytes
    // and cutting the rest; a part opened so outlives discard(), for the next download to go on
    // from. Never through a link at that name. Held under an exclusive lock while open: a second
    // editor on the same data folder does not write into it (see partialInUse).
    bool openResumable(std::int64_t keep, QString *error);
    // The part's bytes are on the disk (before a record claims them).
    bool sync(QString *error);
    bool write(const char *data, std::int64_t size, QString *error);
    // Flushes to the disk, renames over the destination and syncs the folder.
    bool commit(QString *error);
    // Closes; a temporary file goes, a resumable part stays.
    void discard();
    // Closes and removes the part, resumable or not.
    void remove();

    std::int64_t size() const { return m_size; }
    const QString &path() const { return m_path; }
    bool isResumable() const { return m_resumable; }
    bool isOpen() const { return m_fd >= 0; }
    // The errno of the last failed step.
    int lastError() const { return m_errno; }

private:
    QString m_destination;
    QString m_path;
    int m_fd = -1;
    std::int64_t m_size = 0;
    int m_errno = 0;
    bool m_resumable = false;
};

// Where a cut-off download of `destination` is kept for the next one, and the record of what it
// was fetched under (validatorsPath of this path).
DOWNLOADER_EXPORT QString partialPath(const QString &destination);
// Removes the partial file of `destination` and its record.
DOWNLOADER_EXPORT void discardPartial(const QString &destination);
// Whether another download (of this process or another) holds the partial file of `destination`.
DOWNLOADER_EXPORT bool partialInUse(const QString &destination);

// Writes `data` to `path` all or nothing, through a PartFile.
DOWNLOADER_EXPORT bool
writeFileAtomically(const QString &path, const QByteArray &data, QString *error);

// The whole content of a regular file of at most `maxBytes` bytes. Opened without blocking, so a
// FIFO or device at the path cannot hang the caller. Empty with `error` set otherwise; a missing
// file sets `error` to an empty string.
DOWNLOADER_EXPORT std::optional<QByteArray>
readRegularFile(const QString &path, std::int64_t maxBytes, QString *error);

} // namespace Downloader
