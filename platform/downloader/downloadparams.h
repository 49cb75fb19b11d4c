#pragma once

#include <QMetaType>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <functional>

// What one download asks for, and how it ended. Callers keep their own identity for a request in
// the address and destination: `finished` hands the same parameters back.
namespace Downloader {

enum ResultCode : int { Success = 0, Cancel = 1, Failed = 2 };

// Bits of DownloadParams::flags.
enum Flag : int {
    // Send the validators (ETag, Last-Modified) of the file in place, so an unchanged resource
    // costs one "304 Not Modified" and leaves the file as it is.
    Revalidate = 1,
    // The body may come compressed (gzip or deflate) and is decompressed as it arrives: for text
    // documents, which shrink tenfold. What reaches the disk, the size limit and the validators
    // are about the decompressed document. Media files are asked for as stored.
    Compressed = 2,
    // A body cut off (connection lost, cancel, a crash) is kept beside the destination with the
    // validator it was fetched under, and the next download of it asks only for the rest.
    Resume = 4,
};

struct DownloadParams {
    QUrl url;
    QString destination;
    int flags = 0;

    // A body larger than this is cut and the download failed: a hostile or broken server cannot
    // fill the disk.
    std::int64_t maxBytes = 64LL * 1024 * 1024;
    // No byte for this long fails the transfer (the connection is dropped).
    int stallTimeoutMs = 30000;
    // The whole download, retries included, fails after this long; 0 for a limit that grows
    // with the bytes that come (deadlineMsFor), so a server that trickles a byte now and then
    // ends too.
    int deadlineMs = 0;
    int maxRedirects = 5;
    // Retries of "429 Too Many Requests" and "503 Service Unavailable" only.
    int maxRetries = 3;
    // A server asking to wait longer than this before a retry is given up on at once.
    int maxRetryDelayMs = 60000;
    // Looks at the complete body (the file at `path`, not yet in place) and says why it must not
    // replace the destination, or nothing. A refused body fails the download and leaves the
    // destination and its validators as they were, byte for byte.
    std::function<QString(const QString &path)> check;
};

// The details of a finished download, for callers that show more than the result code.
struct DownloadReport {
    ResultCode code = Failed;
    bool notModified = false; // the file in place was confirmed current and left untouched
    int httpStatus = 0; // of the last response; 0 for file: addresses or no response
    std::int64_t bytes = 0; // body bytes written to the destination
    std::int64_t wireBytes = 0; // body bytes as they crossed the network (compressed, or the rest)
    std::int64_t resumedFrom = 0; // bytes kept from an earlier, cut-off download
    QString error; // empty on success
    // A failure on this machine's side rather than the server's, and the errno behind it, so a
    // caller can tell a full disk from a lost connection.
    enum class Local : int { None = 0, CreateFile, WriteFile, ReplaceFile };
    Local local = Local::None;
    int systemError = 0;
};

} // namespace Downloader

Q_DECLARE_METATYPE(Downloader::DownloadParams)
Q_DECLARE_METATYPE(Downloader::ResultCode)
Q_DECLARE_METATYPE(Downloader::DownloadReport)
