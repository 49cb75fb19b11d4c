#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

// Usage events of the preview player's switches. Stateless; sends straight to the tracker.
namespace Statistics {

class APPLOGIC_EXPORT IPlayerStatistics {
public:
    virtual ~IPlayerStatistics();
    virtual void fullscreenChanged(bool on) = 0;
    virtual void highQualityChanged(bool on) = 0;
};

class APPLOGIC_EXPORT PlayerStatistics : public IPlayerStatistics {
public:
    explicit PlayerStatistics(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    void fullscreenChanged(bool on) override;
    void highQualityChanged(bool on) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics
