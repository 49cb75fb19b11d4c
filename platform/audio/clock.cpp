#include "audio/clock.h"

namespace AudIO {

IClock::~IClock() = default;

namespace {

class SteadyClock final : public IClock {
public:
    std::chrono::nanoseconds now() const override
    {
        return std::chrono::steady_clock::now().time_since_epoch();
    }
};

} // namespace

IClock &steadyClock()
{
    static SteadyClock clock;
    return clock;
}

Chronometer::Chronometer(const IClock &clock)
    : m_clock(clock)
{
}

void Chronometer::start(MTime from)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_origin = from;
    m_startedAt = m_clock.now();
    m_running = true;
}

void Chronometer::stop()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_origin = positionLocked();
    m_running = false;
}

bool Chronometer::isRunning() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_running;
}

MTime Chronometer::position() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return positionLocked();
}

MTime Chronometer::positionLocked() const
{
    if (!m_running)
        return m_origin;
    const auto elapsed
        = std::chrono::duration_cast<std::chrono::milliseconds>(m_clock.now() - m_startedAt);
    return m_origin + MTime::fromMSec(elapsed.count());
}

} // namespace AudIO
