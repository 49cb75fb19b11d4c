#pragma once

#include "downloader_export.h"

#include <QDateTime>
#include <QObject>
#include <QTimer>

#include <cstdint>

// The time a transfer's timers run on and its Retry-After dates are read against. The system's
// clock by default; a test hands the manager a clock it moves itself, so a wait of seconds costs
// the test nothing. Main thread, like the transfers.
namespace Downloader {

class DOWNLOADER_EXPORT Clock : public QObject {
    Q_OBJECT
public:
    static Clock &system();
    ~Clock() override;

    // Milliseconds on a clock that never goes back.
    virtual std::int64_t nowMs() const = 0;
    virtual QDateTime utcNow() const = 0;
    // True for a clock that moves only when told: its timers wait for `moved` instead of
    // sleeping on the event loop.
    virtual bool isManual() const = 0;

signals:
    void moved();
};

// A single-shot timer on a Clock, with the few calls of QTimer a transfer uses.
class DOWNLOADER_EXPORT ClockTimer : public QObject {
    Q_OBJECT
public:
    explicit ClockTimer(Clock &clock, QObject *parent = nullptr);

    void start(std::int64_t ms);
    void stop();
    bool isActive() const { return m_due >= 0; }
    std::int64_t remainingMs() const;

signals:
    void timeout();

private:
    void check();

    Clock &m_clock;
    QTimer m_timer;
    std::int64_t m_due = -1;
};

} // namespace Downloader
