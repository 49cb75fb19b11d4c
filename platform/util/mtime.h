#pragma once

#include "util_export.h"

#include <QString>
#include <QTime>

#include <cstdint>

// The editor's time value. One tick is one millisecond: the statistics send raw tick counts
// under keys that say "_MS", and the timeline, dialogs and reports never need finer steps than
// a millisecond. Negative values are allowed (offsets); arithmetic saturates nowhere.
class UTIL_EXPORT MTime {
public:
    constexpr MTime() noexcept = default;
    static constexpr MTime fromTicks(std::int64_t ticks) noexcept { return MTime(ticks); }
    static constexpr MTime fromMSec(std::int64_t ms) noexcept { return MTime(ms); }
    static constexpr MTime fromSec(double seconds) noexcept
    {
        return MTime(static_cast<std::int64_t>(seconds * 1000.0));
    }

    constexpr std::int64_t ticks() const noexcept { return m_ticks; }
    constexpr std::int64_t toMSec() const noexcept { return m_ticks; }
    // Whole seconds; the fraction is dropped toward zero.
    constexpr std::int64_t toSec() const noexcept { return m_ticks / 1000; }
    constexpr double toSecF() const noexcept { return static_cast<double>(m_ticks) / 1000.0; }
    constexpr bool isNull() const noexcept { return m_ticks == 0; }

    // A time of day for durations shown as a clock; null when the value is negative or reaches a
    // full day, which a QTime cannot hold.
    QTime toQTime() const;
    // "h:mm:ss.zzz", hours unbounded; negative values get a leading minus.
    QString toClockString() const;

    constexpr MTime operator+(MTime o) const noexcept { return MTime(m_ticks + o.m_ticks); }
    constexpr MTime operator-(MTime o) const noexcept { return MTime(m_ticks - o.m_ticks); }
    MTime &operator+=(MTime o) noexcept
    {
        m_ticks += o.m_ticks;
        return *this;
    }
    constexpr bool operator==(MTime o) const noexcept { return m_ticks == o.m_ticks; }
    constexpr bool operator!=(MTime o) const noexcept { return m_ticks != o.m_ticks; }
    constexpr bool operator<(MTime o) const noexcept { return m_ticks < o.m_ticks; }
    constexpr bool operator<=(MTime o) const noexcept { return m_ticks <= o.m_ticks; }
    constexpr bool operator>(MTime o) const noexcept { return m_ticks > o.m_ticks; }
    constexpr bool operator>=(MTime o) const noexcept { return m_ticks >= o.m_ticks; }

private:
    constexpr explicit MTime(std::int64_t ticks) noexcept
        : m_ticks(ticks)
    {
    }
    std::int64_t m_ticks = 0;
};
