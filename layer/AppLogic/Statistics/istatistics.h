#pragma once

#include "applogicexport.h"

// The editor's way to the per-domain reporters. The statistics controller's tracking helper is
// the one implementation; it installs itself for its lifetime, and statistics() is null outside
// it, so callers check before reporting.
namespace Statistics {

class IFastTrackStatistics;
class IFilesStatistics;

class APPLOGIC_EXPORT IStatistics {
public:
    virtual ~IStatistics();

    virtual IFilesStatistics *filesStatistics() = 0;
    virtual IFastTrackStatistics *fastTrackStatistics() = 0;
};

APPLOGIC_EXPORT void setStatistics(IStatistics *statistics);
APPLOGIC_EXPORT IStatistics *statistics();

} // namespace Statistics
