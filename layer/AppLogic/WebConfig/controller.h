#pragma once

#include "applogicexport.h"

#include <memory>

namespace Vantel::Tracking {
class ComponentSetterTracker;
}

// The one way into remotely delivered configuration: owns the web-config factory, installs itself
// as the process-wide settings provider while it lives and makes each settings object on its
// first request. The application makes one at start-up, before any settings are asked for, and
// destroys it at shutdown. Main thread.
namespace EditorWebConfig {

class APPLOGIC_EXPORT Controller {
public:
    explicit Controller(std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> tracker);
    ~Controller();
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

private:
    class Impl;
    const std::unique_ptr<Impl> d;
};

} // namespace EditorWebConfig
