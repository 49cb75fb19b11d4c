#pragma once

#include "tracking_export.h"

#include "tracking/trackedevent.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <mutex>

namespace Vantel::Tracking {

// Writes every event as one line of JSON, {"event": NAME, "params": {KEY: VALUE, ...}}, so a run
// can be checked from outside (the shell's --events-out). Each line goes to the file with its own
// write, unbuffered, so a reader following the file sees an event as soon as it is sent. Used on
// the sending thread (lines from several threads never mix); a failing write is logged once and
// never stops the editor.
class TRACKING_EXPORT JsonLinesSink : public IEventSink {
public:
    // Creates or empties `path`. Throws std::runtime_error when the file cannot be opened.
    explicit JsonLinesSink(const QString &path);
    ~JsonLinesSink() override;

    void consume(const TrackedEvent &event) override;

private:
    std::mutex m_mutex;
    QFile m_file;
    bool m_failed = false;
};

// One event's line, newline included.
TRACKING_EXPORT QByteArray eventToJsonLine(const TrackedEvent &event);

} // namespace Vantel::Tracking
