#pragma once

#include "Messages/stabilization.h"

#include "pubsub/subscriber.h"

namespace Statistics {

class Controller;

// Reports each stabilization run with the settings it was started with. Owned by the statistics
// controller; main thread only.
class StabilizeHelper final : public PubSub::Subscriber<Stabilization::FileStabilizeRequest> {
public:
    explicit StabilizeHelper(Controller *controller);
    ~StabilizeHelper() override;

    void notify(const Stabilization::FileStabilizeRequest &request) override;

private:
    Controller *m_controller;
};

} // namespace Statistics
