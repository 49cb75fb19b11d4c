#pragma once

#include "tracking_export.h"

#include "tracking/otlplogs.h"

#include <QString>
#include <QUrl>
#include <QtGlobal>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace Vantel::Tracking {

class EventStore;

// The time the uploader's retry waits are measured in. The real one is the steady clock; a test
// steps its own so a five-minute backoff takes no time.
class TRACKING_EXPORT UploadClock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    virtual ~UploadClock() = default;
    virtual TimePoint now() const = 0;
    // Blocks on `wake` (with `lock` held on entry and return) until notified or until `deadline`
    // on this clock; may return early, the caller looks again.
    virtual void
    waitUntil(std::condition_variable &wake, std::unique_lock<std::mutex> &lock, TimePoint deadline)
        = 0;
};

TRACKING_EXPORT std::shared_ptr<UploadClock> steadyUploadClock();

struct UploaderOptions {
    Otlp::Resource resource; // its instance id comes from the data folder
    // One request carries at most this many events and this many bytes of JSON before gzip,
    // far below the 20 MiB a collector takes by default, so one request stays a short one.
    int maxBatchEvents = 1000;
    qint64 maxBatchBytes = qint64(2) << 20;
    // Bodies above this go gzipped; smaller ones gain less than the header costs.
    qint64 gzipAbove = 4096;
    // A request that moves no byte for this long is given up and tried again later.
    std::chrono::milliseconds requestTimeout { 15000 };
    // How often new events are looked for while there is nothing to send.
    std::chrono::milliseconds pollInterval { 5000 };
    std::shared_ptr<UploadClock> clock; // null: the steady clock
};

// What `status` and `statistics flush` show.
struct UploadStatus {
    std::string collector; // as shown: no user name, password or query; empty when none
    qint64 pending = 0; // stored, not yet acknowledged
    qint64 sent = 0; // acknowledged by the collector (kept across runs)
    qint64 rejected = 0; // refused by the collector (a 400, a partial success, a 413 of one)
    // The last attempt: "none", "ok", "rejected", "retrying", "failed"; "off" while statistics
    // are off.
    std::string result = "none";
    std::string error;
    std::optional<std::chrono::milliseconds> retryIn; // while "retrying"
    qint64 requests = 0; // made by this object
};

// Sends the store's events, oldest first, as OTLP/HTTP JSON logs to the collector the user named,
// at least once: an event counts as sent only after a 2xx, and the read position is kept in the
// store's database after each one, so a kill repeats at most the batch in flight. Runs on a thread
// of its own and never holds up the caller. Nothing leaves until a collector is named
// (setCollector), which is kept for later runs in the data folder. One editor of those sharing a
// data folder sends at a time. Public members are called from one thread (the editor's).
class TRACKING_EXPORT Uploader {
public:
    explicit Uploader(std::shared_ptr<EventStore> store, UploaderOptions options = {});
    // Stops at once: a request in flight is abandoned and sent again by a later run.
    ~Uploader();
    Uploader(const Uploader &) = delete;
    Uploader &operator=(const Uploader &) = delete;

    // Names the collector (http or https; "/v1/logs" is added to its path) and starts sending.
    // Throws std::invalid_argument for an address that is none of those, std::runtime_error when
    // the choice cannot be kept.
    void setCollector(const QString &url);
    // Sends nothing more; what is pending stays in the store.
    void clearCollector();

    // For the statistics switch: pause() returns once nothing is in flight and nothing will be
    // read until resume(), so the store can delete what it holds.
    void pause();
    void resume();

    // There may be new events: look now rather than at the next poll.
    void wake();
    UploadStatus status() const;
    // Sends what is pending now, trying at once even during a retry wait, and returns when nothing
    // is pending, when an attempt failed, or after `wait` (real time).
    // `cancelled` is asked between short waits (Ctrl+C).
    UploadStatus flush(std::chrono::milliseconds wait, const std::function<bool()> &cancelled = {});
    // The moment a run gives the uploader at its end: at most `grace`, less when nothing is
    // pending or the collector is failing.
    void finish(std::chrono::milliseconds grace);

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

// The address a collector is reached at, checked: http or https with a host, no fragment.
// Throws std::invalid_argument with the reason.
TRACKING_EXPORT QUrl collectorUrl(const QString &text);
// The address without user name, password or query, for logs and the terminal.
TRACKING_EXPORT std::string shownUrl(const QUrl &url);

} // namespace Vantel::Tracking
