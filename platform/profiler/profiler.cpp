#include "profiler/profiler.h"

namespace Vantel::Profiler {

StartupProfiler::StartupProfiler()
{
    m_clock.start();
}

void StartupProfiler::mark(const char *key)
{
    const std::int64_t now = m_clock.elapsed();
    m_result.stages[key] = now - m_last;
    m_last = now;
}

Result StartupProfiler::result() const
{
    Result r = m_result;
    r.total = m_clock.elapsed();
    return r;
}

} // namespace Vantel::Profiler
