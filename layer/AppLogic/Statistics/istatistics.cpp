#include "Statistics/istatistics.h"

namespace Statistics {

namespace {
IStatistics *current = nullptr;
}

IStatistics::~IStatistics() = default;

void setStatistics(IStatistics *statistics)
{
    current = statistics;
}

IStatistics *statistics()
{
    return current;
}

} // namespace Statistics
