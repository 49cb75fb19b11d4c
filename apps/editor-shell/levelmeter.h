#pragma once

#include <QString>

#include <cstdint>

namespace Shell {

// The recording level as a studio meter shows it: the bar jumps up with every peak and falls
// back at 20 dB a second, so a word stays readable; the highest peak is held for three seconds;
// a sample at full scale lights the clip mark for as long. Fed with the device's peaks and the
// time they were read, in milliseconds; no clock of its own, so any caller (a terminal line, a
// window) shows the same thing.
class LevelMeter {
public:
    static constexpr double floorDb = -60.0;

    void update(float peak, std::int64_t nowMs);

    double levelDb() const { return m_levelDb; }
    double holdDb() const { return m_holdDb; }
    bool clipping() const { return m_clipUntilMs > m_nowMs; }
    // Where `db` falls on a bar of `width` cells.
    static int cells(double db, int width);

    // "[#############------|-----] -12.3 dBFS  hold  -6.0  CLIP" for a terminal.
    QString line(int width) const;

private:
    double m_levelDb = floorDb;
    double m_holdDb = floorDb;
    std::int64_t m_holdSinceMs = 0;
    std::int64_t m_clipUntilMs = 0;
    std::int64_t m_nowMs = 0;
    bool m_started = false;
};

// Linear peak to dBFS, never below the meter's floor.
double toDbfs(float peak);

} // namespace Shell
