#pragma once

#include "applogicexport.h"

// The editor's way to the per-domain reporters. The statistics controller's tracking helper is
// the one implementation; it installs itself for its lifetime, and statistics() is null outside
// it, so callers check before reporting.
namespace Statistics {

class AiStatistics;
class IBladeStatistics;
class IClipPropertiesStatistics;
class ICollectionStatistics;
class IExportStatistics;
class IFastTrackStatistics;
class IFilesStatistics;
class IOverlayStatistics;
class IPlayerStatistics;
class ISpeechToTextStatistics;
class ITimelineStatistics;
class ITransitionStatistics;
class IWorkspaceStatistics;
class MotionTrackingStatistics;

class APPLOGIC_EXPORT IStatistics {
public:
    virtual ~IStatistics();

    virtual MotionTrackingStatistics *motionTrackingStatistics() = 0;
    virtual AiStatistics *aiStatistics() = 0;
    virtual ITimelineStatistics *timelineStatistics() = 0;
    virtual IClipPropertiesStatistics *clipPropertiesStatistics() = 0;
    virtual ITransitionStatistics *transitionStatistics() = 0;
    virtual IOverlayStatistics *overlayStatistics() = 0;
    virtual ICollectionStatistics *collectionStatistics() = 0;
    virtual IBladeStatistics *bladeStatistics() = 0;
    virtual IPlayerStatistics *playerStatistics() = 0;
    virtual IFilesStatistics *filesStatistics() = 0;
    virtual IFastTrackStatistics *fastTrackStatistics() = 0;
    virtual ISpeechToTextStatistics *speechToTextStatistics() = 0;
    virtual IWorkspaceStatistics *workspaceStatistics() = 0;
    virtual IExportStatistics *exportStatistics() = 0;
};

APPLOGIC_EXPORT void setStatistics(IStatistics *statistics);
APPLOGIC_EXPORT IStatistics *statistics();

} // namespace Statistics
