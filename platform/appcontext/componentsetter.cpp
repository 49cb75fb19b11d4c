#include "appcontext/componentsetter.h"

namespace Vantel::Tracking {

void ComponentSetterTracker::componentSet(std::string component, std::size_t observers)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.push_back({ std::move(component), std::chrono::steady_clock::now(), observers });
}

std::vector<ComponentSetterTracker::Record> ComponentSetterTracker::records() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

} // namespace Vantel::Tracking
