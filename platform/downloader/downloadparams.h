#pragma once

#include <QMetaType>
#include <QString>
#include <QUrl>

#include <cstdint>

// What one download asks for, and how it ended. Callers keep their own identity for a request in
// the address and destination: `finished` hands the same parameters back.
namespace Downloader {

enum ResultCode : int { Success = 0, Cancel = 1, Failed = 2 };

// Bits of DownloadParams::flags.
enum Flag : int {
    // Send the validators (ETag, Last-Modified) of the file in place, so an unchanged resource
    // costs one "304 Not Modified" and leaves the file as it is.
    Revalidate = 1,
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
    // The whole download, retries included, fails after this long; 0 for no limit.
    int deadlineMs = 0;
    int maxRedirects = 5;
    // Retries of "429 Too Many Requests" and "503 Service Unavailable" only.
    int maxRetries = 3;
    // A server asking to wait longer than this before a retry is given up on at once.
    int maxRetryDelayMs = 60000;
};

// The details of a finished download, for callers that show more than the result code.
struct DownloadReport {
    ResultCode code = Failed;
    bool notModified = false; // the file in place was confirmed current and left untouched
    int httpStatus = 0; // of the last response; 0 for file: addresses or no response
    std::int64_t bytes = 0; // body bytes written to the destination
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
