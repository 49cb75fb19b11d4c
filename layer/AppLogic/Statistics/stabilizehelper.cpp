#include "Statistics/stabilizehelper.h"

#include "Statistics/controller.h"
#include "Statistics/statisticsevents.h"
#include "Statistics/trackinghelper.h"

namespace Statistics {

StabilizeHelper::StabilizeHelper(Controller *controller)
    : m_controller(controller)
{
    subscribeAllTypes();
}

StabilizeHelper::~StabilizeHelper()
{
    unsubscribeAllTypes();
}

void StabilizeHelper::notify(const Stabilization::FileStabilizeRequest &request)
{
    for (const Event &event : eventsOf(request))
        m_controller->tracking()->send(event.name, event.params);
}

} // namespace Statistics
