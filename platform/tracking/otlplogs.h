#pragma once

#include "tracking_export.h"

#include <QByteArray>
#include <QDateTime>
#include <QtGlobal>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The wire side of the usage upload: stored events as OTLP/HTTP JSON logs, and what a collector
// answers. Pure functions, so tests and fuzzers feed them directly; the uploader's thread calls
// them.
namespace Vantel::Tracking::Otlp {

// Who sends: the resource every record of a request belongs to.
struct Resource {
    std::string serviceName;
    std::string serviceVersion;
    std::string instanceId; // random, made once per data folder
    std::string osType; // "linux", "windows", "darwin"
};

TRACKING_EXPORT std::string currentOsType();

// The per-store secret behind the records' ids. A store made anew numbers its events from 1
// again, so it gets a new salt and its ids never repeat the old store's.
struct UidSalt {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
};

// "log.record.uid": a ULID (26 characters, Crockford base 32) of the event's time and 80 bits that
// are unique per event id within one salt and random across salts. The same event always gets
// the same id, so a collector can drop a batch that arrives twice.
TRACKING_EXPORT std::string recordUid(const UidSalt &salt, qint64 eventId, qint64 timeMs);

// One request body, written record by record into one buffer.
class TRACKING_EXPORT LogsWriter {
public:
    explicit LogsWriter(const Resource &resource);

    // `paramsJson` is the stored parameter object; one attribute per string member. Returns false
    // when it is no JSON object, in which case the record carries no parameters.
    bool add(std::string_view name,
             std::string_view paramsJson,
             qint64 timeMs,
             std::string_view session,
             std::string_view uid,
             qint64 observedNs);
    int records() const { return m_records; }
    std::size_t size() const { return m_body.size(); }
    // Takes back the last record, whose add() began at size() == `mark`.
    void dropLast(std::size_t mark)
    {
        m_body.resize(mark);
        --m_records;
    }
    // The complete body; the writer is empty afterwards and may start the next one.
    std::string finish();

private:
    std::string m_head;
    std::string m_body;
    int m_records = 0;
};

// Appends one OTLP attribute per string member of the JSON object `paramsJson`. Returns false,
// having appended nothing, when it is no object; members that are not strings are skipped.
// `first` says whether no attribute precedes in the list (no comma needed).
TRACKING_EXPORT bool
appendParamsAsAttributes(std::string &out, std::string_view paramsJson, bool first);

// The gzip form of `data` (zlib, fastest level: usage JSON shrinks about twentyfold even there).
TRACKING_EXPORT QByteArray gzip(std::string_view data);

// What a 2xx answer says. Unreadable bodies count as full success: the collector took the data.
struct ExportResponse {
    qint64 rejectedLogRecords = 0;
    std::string errorMessage;
};
TRACKING_EXPORT ExportResponse parseExportResponse(const QByteArray &body);
// The "message" of a failure's Status body, or the start of the body as text; never more than
// 200 characters, control characters replaced.
TRACKING_EXPORT std::string failureMessage(const QByteArray &body);

// The wait a "Retry-After" value asks for: whole seconds or an HTTP date (relative to `now`).
// Nothing for a value that is neither.
TRACKING_EXPORT std::optional<std::chrono::seconds> parseRetryAfter(const QByteArray &value,
                                                                    const QDateTime &now);

// Statuses after which the same request is sent again later.
TRACKING_EXPORT bool isRetryableStatus(int status);

// Exponential backoff: 1 s after the first failure, doubling, capped; `jitter` in [0, 1) picks a
// point in the upper half of that interval so editors that failed together do not retry
// together.
TRACKING_EXPORT std::chrono::milliseconds backoffDelay(int failures, double jitter);
inline constexpr std::chrono::milliseconds MaxBackoff = std::chrono::minutes(5);
// A "Retry-After" is honoured up to this; a longer one is taken as this.
inline constexpr std::chrono::seconds MaxRetryAfter = std::chrono::hours(1);

} // namespace Vantel::Tracking::Otlp
