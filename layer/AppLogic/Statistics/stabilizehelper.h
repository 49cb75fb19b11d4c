#pragma once

#include "Messages/stabilization.h"

#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

namespace Statistics {

// Reports each stabilization run with the settings it was started with. Owned by the statistics
// controller; main thread only.
class StabilizeHelper final : public PubSub::Subscriber<Stabilization::FileStabilizeRequest> {
public:
    explicit StabilizeHelper(boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    ~StabilizeHelper() override;

    void notify(const Stabilization::FileStabilizeRequest &request) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics
