#pragma once

#include "profiler_export.h"

#include <QElapsedTimer>

#include <cstdint>
#include <map>
#include <string>

// Start-up profiling: the shell marks each stage of its start-up by key; the result travels with
// the launch notification and the statistics turn chosen stages into launch parameters.
namespace Vantel::Profiler {

// Milliseconds per stage key, and the whole start-up.
struct Result {
    std::map<std::string, std::int64_t> stages;
    std::int64_t total = 0;
};

// Stage keys of the controllers whose construction the launch report times.
inline constexpr const char *PROFILER_FASTTRACK_CONTROLLER = "fasttrack_controller";
inline constexpr const char *PROFILER_WAVEFORM_CONTROLLER = "waveform_controller";
inline constexpr const char *PROFILER_CAPTURE_CONTROLLER = "capture_controller";

class PROFILER_EXPORT StartupProfiler {
public:
    StartupProfiler();
    // Records the time since the previous mark (or the start) under `key`.
    void mark(const char *key);
    Result result() const;

private:
    QElapsedTimer m_clock;
    std::int64_t m_last = 0;
    Result m_result;
};

} // namespace Vantel::Profiler
