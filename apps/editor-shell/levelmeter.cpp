#include "levelmeter.h"

#include <algorithm>
#include <cmath>

namespace Shell {

namespace {
constexpr double fallDbPerSecond = 20.0;
constexpr std::int64_t holdMs = 3000;
} // namespace

double toDbfs(float peak)
{
    if (!(peak > 0.0f))
        return LevelMeter::floorDb;
    return std::max(LevelMeter::floorDb, 20.0 * std::log10(static_cast<double>(peak)));
}

void LevelMeter::update(float peak, std::int64_t nowMs)
{
    const double db = toDbfs(peak);
    const double elapsed = m_started ? std::max<std::int64_t>(0, nowMs - m_nowMs) / 1000.0 : 0.0;
    m_started = true;
    m_nowMs = nowMs;
    m_levelDb = std::max(db, std::max(floorDb, m_levelDb - fallDbPerSecond * elapsed));
    if (db >= m_holdDb || nowMs - m_holdSinceMs >= holdMs) {
        m_holdDb = db;
        m_holdSinceMs = nowMs;
    }
    if (peak >= 1.0f)
        m_clipUntilMs = nowMs + holdMs;
}

int LevelMeter::cells(double db, int width)
{
    const double fraction = (std::clamp(db, floorDb, 0.0) - floorDb) / -floorDb;
    return static_cast<int>(std::lround(fraction * width));
}

QString LevelMeter::line(int width) const
{
    QString bar(width, QLatin1Char('-'));
    const int level = cells(m_levelDb, width);
    for (int i = 0; i < level; ++i)
        bar[i] = QLatin1Char('#');
    const int hold = cells(m_holdDb, width);
    if (hold > 0)
        bar[std::min(hold, width) - 1] = QLatin1Char('|');
    return QStringLiteral("[%1] %2 dBFS  hold %3%4")
        .arg(bar)
        .arg(m_levelDb, 5, 'f', 1)
        .arg(m_holdDb, 5, 'f', 1)
        .arg(clipping() ? QStringLiteral("  CLIP") : QString());
}

} // namespace Shell
