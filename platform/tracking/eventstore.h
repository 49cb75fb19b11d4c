#pragma once

#include "tracking_export.h"

#include "tracking/trackedevent.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Vantel::Tracking {

// What the store keeps. The oldest events go first when a cap is reached; each one dropped,
// here or because a write failed, is counted in droppedCount().
struct EventStoreLimits {
    // A heavy user sends a few thousand events a day: this keeps weeks of them while a
    // full read of the store stays well under a second.
    qint64 maxEvents = 100'000;
    // Older events have no use for the questions anyone asks of a usage log.
    std::chrono::milliseconds maxAge = std::chrono::hours(24 * 90);
    // Live data above this is pruned after each batch. The file itself can never grow
    // past maxBytes + maxBytes / 4 (a hard page ceiling); a batch that would cross it is
    // treated like a full disk and dropped.
    qint64 maxBytes = qint64(64) << 20;
};

struct StoredEvent {
    qint64 id = 0; // increasing, never reused, so it serves as a read cursor
    std::string name;
    std::map<std::string, std::string> params;
    qint64 timeMs = 0;
    std::string session;
};

// The durable home of every usage event: one SQLite database (WAL) that the shell can read back.
// consume() runs on the main thread and only appends the event's stored form to a queue; a
// writer thread owned by the store commits the queue in batches, so the main thread never waits
// for the disk. Everything accepted
// is on disk after flush() or destruction; a process killed outright loses at most the events of
// the last ~50 ms. Readers (events(), count()) use their own connection and may run on any thread.
class TRACKING_EXPORT EventStore : public IEventSink {
public:
    using Limits = EventStoreLimits;

    // Writes in batches of this many at most, one transaction each.
    static constexpr int BatchSize = 1000;
    // A batch is committed at the latest this long after its first event arrived.
    static constexpr std::chrono::milliseconds FlushInterval { 50 };
    // Events waiting for the writer beyond this many are dropped (and counted) rather than let
    // a stalled disk eat the editor's memory.
    static constexpr int MaxPending = 50'000;

    // Opens the store at Settings::trackingDatabasePath().
    EventStore();
    // Opens (or creates) the store at `path`. A file that is not this store's database (damaged,
    // cut short, another program's) is renamed "<path>.corrupt-<time>" with a warning and a
    // fresh store replaces it. Two editors may open one store at the same moment. When there can
    // be no store there (a folder, a link, a read-only file or a full disk at the path), the
    // store is unavailable: it says so once, with the reason, and keeps nothing; the editor
    // works on without it.
    explicit EventStore(const QString &path, const Limits &limits = Limits());
    // Writes everything still queued before returning.
    ~EventStore() override;

    EventStore(const EventStore &) = delete;
    EventStore &operator=(const EventStore &) = delete;

    // Encodes the event into the queue's buffer; the caller keeps (and frees) its own copy.
    using IEventSink::consume;
    void consume(const TrackedEvent &event) override;

    // Returns once every event consumed before the call is committed or counted as dropped.
    void flush();

    // Committed events with an id above `afterId`, oldest first, at most `limit` of them (all
    // when negative). Throws std::runtime_error when the database cannot be read.
    std::vector<StoredEvent> events(qint64 afterId = 0, int limit = -1) const;
    // Committed events; call flush() first to include those still queued.
    qint64 count() const;
    // Events lost to the caps, to write failures or to a full queue since the store was made
    // (or last switched off). Survives restarts.
    qint64 droppedCount() const;

    // The user's switch. Off deletes every stored event, compacts the file and stores nothing
    // until switched on again; the choice is kept in the database for later runs. Returns once
    // that is done, which for a full store takes a moment: call it from a settings action, not
    // a loop.
    void setEnabled(bool enabled);
    bool isEnabled() const;

    QString path() const;
    // False when the store could not be opened; problem() says why. events(), count() and
    // setEnabled() then throw std::runtime_error with that reason.
    bool isAvailable() const;
    std::string problem() const;

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

// The stored form of an event's parameters: one JSON object of strings. Pure, so the parser can
// be fed anything.
TRACKING_EXPORT QByteArray paramsToJson(const std::map<std::string, std::string> &params);
// Returns false, and leaves `params` empty, when `json` is not an object; non-string values are
// skipped.
TRACKING_EXPORT bool paramsFromJson(const QByteArray &json,
                                    std::map<std::string, std::string> &params);

} // namespace Vantel::Tracking
