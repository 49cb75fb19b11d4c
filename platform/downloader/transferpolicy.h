#pragma once

#include "downloader_export.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <optional>

// The rules a transfer follows, as pure functions: where a redirect may lead, when and after how
// long a refused request is tried again, and the validators kept beside a downloaded file.
namespace Downloader {

// Redirects stay on http(s) and never step down from https to http, where the rest of the
// exchange could be read or changed on the way.
DOWNLOADER_EXPORT bool redirectAllowed(const QUrl &from, const QUrl &to);

// How long to wait before trying again after `status`, or nothing when the status is not one to
// retry (only 429 and 503 are: other refusals will not change by asking again). A Retry-After in
// seconds or as an HTTP date wins; otherwise the wait doubles with each attempt from one second.
// `attempt` counts from 0.
DOWNLOADER_EXPORT std::optional<std::int64_t>
retryDelayMs(int status, const QByteArray &retryAfter, int attempt, const QDateTime &now);

// What the server said about the file in place, kept beside it so the next request can ask
// whether it changed. `size` ties the record to the file: a file replaced by other means no
// longer matches, and is downloaded whole.
struct Validators {
    QByteArray etag;
    QByteArray lastModified;
    std::int64_t size = -1;
    // For a partial body: the CRC-32 of its first `size` bytes, so a part changed on the disk
    // since is not continued.
    std::optional<quint32> crc32;

    bool empty() const { return etag.isEmpty() && lastModified.isEmpty(); }
    // What an If-Range may carry: a strong tag, else the date; empty when neither serves. A weak
    // tag says "the same meaning", not "the same bytes": no base for joining two halves.
    QByteArray rangeValidator() const
    {
        return !etag.isEmpty() && !etag.startsWith("W/") ? etag : lastModified;
    }
};

DOWNLOADER_EXPORT QString validatorsPath(const QString &destination);
DOWNLOADER_EXPORT QByteArray serializeValidators(const Validators &validators);
// Nothing for anything that is not a record written by serializeValidators.
DOWNLOADER_EXPORT std::optional<Validators> parseValidators(const QByteArray &bytes);

// The time a download that has brought `bytes` may have taken: a minute, and the time the bytes
// take at 16 KiB/s, a pace far below any line that installs media. A server that trickles a
// byte every few seconds runs out of it about a minute in; a slow honest line never does.
DOWNLOADER_EXPORT std::int64_t deadlineMsFor(std::int64_t bytes);

// The first byte, last byte and whole size of a "Content-Range: bytes A-B/T" header; nothing for
// any other form (an unknown size "*" included: the whole file could not be checked).
struct ContentRange {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::int64_t total = 0;
};
DOWNLOADER_EXPORT std::optional<ContentRange> parseContentRange(const QByteArray &header);

} // namespace Downloader
