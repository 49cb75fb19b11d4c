#include "downloader/clock.h"

#include <QElapsedTimer>

#include <algorithm>

namespace Downloader {

namespace {

class SystemClock final : public Clock {
public:
    SystemClock() { m_started.start(); }
    std::int64_t nowMs() const override { return m_started.elapsed(); }
    QDateTime utcNow() const override { return QDateTime::currentDateTimeUtc(); }
    bool isManual() const override { return false; }

private:
    QElapsedTimer m_started;
};

} // namespace

Clock &Clock::system()
{
    static SystemClock clock;
    return clock;
}

Clock::~Clock() = default;

ClockTimer::ClockTimer(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ClockTimer::check);
    if (clock.isManual())
        connect(&clock, &Clock::moved, this, &ClockTimer::check);
}

void ClockTimer::start(std::int64_t ms)
{
    ms = std::max<std::int64_t>(0, ms);
    m_due = m_clock.nowMs() + ms;
    if (m_clock.isManual()) {
        // Due already: fired from the loop, as a QTimer of 0 would be.
        if (ms == 0)
            m_timer.start(0);
        return;
    }
    m_timer.start(static_cast<int>(std::min<std::int64_t>(ms, 0x7FFFFFFF)));
}

void ClockTimer::stop()
{
    m_due = -1;
    m_timer.stop();
}

std::int64_t ClockTimer::remainingMs() const
{
    return m_due < 0 ? -1 : std::max<std::int64_t>(0, m_due - m_clock.nowMs());
}

void ClockTimer::check()
{
    if (m_due < 0)
        return;
    const std::int64_t left = m_due - m_clock.nowMs();
    if (left > 0) {
        // A long wait is slept in pieces QTimer can hold; a manual clock says when it moves.
        if (!m_clock.isManual())
            m_timer.start(static_cast<int>(std::min<std::int64_t>(left, 0x7FFFFFFF)));
        return;
    }
    m_due = -1;
    emit timeout();
}

} // namespace Downloader
