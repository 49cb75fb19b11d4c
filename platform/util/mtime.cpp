#include "util/mtime.h"

namespace {
constexpr std::int64_t msPerDay = 24LL * 3600 * 1000;
}

QTime MTime::toQTime() const
{
    if (m_ticks < 0 || m_ticks >= msPerDay)
        return {};
    return QTime::fromMSecsSinceStartOfDay(static_cast<int>(m_ticks));
}

QString MTime::toClockString() const
{
    const std::int64_t abs = m_ticks < 0 ? -m_ticks : m_ticks;
    const std::int64_t hours = abs / 3600000;
    const int minutes = static_cast<int>(abs / 60000 % 60);
    const int seconds = static_cast<int>(abs / 1000 % 60);
    const int millis = static_cast<int>(abs % 1000);
    return QStringLiteral("%1%2:%3:%4.%5")
        .arg(m_ticks < 0 ? QStringLiteral("-") : QString())
        .arg(hours)
        .arg(minutes, 2, 10, QLatin1Char('0'))
        .arg(seconds, 2, 10, QLatin1Char('0'))
        .arg(millis, 3, 10, QLatin1Char('0'));
}
