#include "appcontext/applicationcontext.h"

namespace Vantel::App {

IProductSettingsManager::~IProductSettingsManager() = default;

ProductSettingsManager::ProductSettingsManager(
    std::vector<std::pair<std::string, std::string>> values)
    : m_values(std::move(values))
{
}

std::string ProductSettingsManager::productValue(const std::string &key) const
{
    for (const auto &[name, value] : m_values) {
        if (name == key)
            return value;
    }
    return {};
}

ApplicationContext &ApplicationContext::instance()
{
    static ApplicationContext context;
    return context;
}

void ApplicationContext::addObserver(TopManagerObserver *observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_observers.push_back(observer);
}

void ApplicationContext::removeObserver(TopManagerObserver *observer)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_observers.erase(std::remove(m_observers.begin(), m_observers.end(), observer),
                      m_observers.end());
}

std::vector<TopManagerObserver *> ApplicationContext::observers() const
{
    // A copy, so an observer may unregister itself while it is told.
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_observers;
}

} // namespace Vantel::App
