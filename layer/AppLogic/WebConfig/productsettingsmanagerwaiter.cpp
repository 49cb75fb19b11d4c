#include "WebConfig/productsettingsmanagerwaiter.h"

namespace EditorWebConfig {

ProductSettingsManagerWaiter::ProductSettingsManagerWaiter(
    Vantel::App::ApplicationContext &context,
    std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> tracker)
    : m_context(context)
    , m_setter(std::move(tracker), "IProductSettingsManager")
{
    m_context.addObserver(this);
}

ProductSettingsManagerWaiter::~ProductSettingsManagerWaiter()
{
    m_context.removeObserver(this);
}

void ProductSettingsManagerWaiter::managerAnnounced(
    const std::shared_ptr<Vantel::App::IProductSettingsManager> &manager)
{
    m_setter.set(manager);
}

} // namespace EditorWebConfig
