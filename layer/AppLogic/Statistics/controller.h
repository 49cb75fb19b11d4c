#pragma once

#include "applogicexport.h"

#include "Statistics/environment.h"

#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

#include <memory>

namespace Statistics {

class TrackingHelper;
class SettingsHelper;
class StabilizeHelper;

// Owner of the usage-statistics machinery. The shell makes one with the tracker at start-up,
// calls startTracking once start-up is far enough and destroys it at shutdown. Main thread only.
class APPLOGIC_EXPORT Controller {
public:
    explicit Controller(const boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> &tracker,
                        const Environment &environment = {});
    ~Controller();
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    void startTracking(bool registerFillers);

private:
    TrackingHelper *tracking() const;
    SettingsHelper *settings() const;
    StabilizeHelper *stabilize() const;

    // Destroyed in field order (the destructor sees to it): the tracking helper sends the exit
    // event while the others live.
    std::unique_ptr<TrackingHelper> m_tracking;
    std::unique_ptr<SettingsHelper> m_settings;
    std::unique_ptr<StabilizeHelper> m_stabilize;
};

} // namespace Statistics
