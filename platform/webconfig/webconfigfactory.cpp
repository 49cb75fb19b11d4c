#include "webconfig/webconfigfactory.h"

#include "webconfig/abstractlimitationsettings.h"
#include "webconfig/configcontroller.h"

namespace Vantel::App::WebConfig {

AbstractLimitationSettings::~AbstractLimitationSettings() = default;

namespace {

std::weak_ptr<IConfigController> &active()
{
    static std::weak_ptr<IConfigController> controller;
    return controller;
}

} // namespace

std::shared_ptr<IConfigController> activeController()
{
    return active().lock();
}

WebConfigFactory::WebConfigFactory(Initializer initializer)
    : m_initializer(std::move(initializer))
{
}

WebConfigFactory::~WebConfigFactory()
{
    if (active().lock() == m_controller)
        active().reset();
}

std::shared_ptr<IConfigController> WebConfigFactory::getController()
{
    if (!m_controller) {
        auto controller = std::make_shared<ConfigController>(m_initializer);
        m_controller = controller;
        active() = controller;
        controller->start();
    }
    return m_controller;
}

std::shared_ptr<ISettingsManager> WebConfigFactory::customizationSettings()
{
    return getController()->settingsManager("CustomizationSettings");
}

std::shared_ptr<ISettingsManager> WebConfigFactory::updateCheckerResolver()
{
    return getController()->settingsManager("UpdateCheckerSettings");
}

std::shared_ptr<ISettingsManager> WebConfigFactory::webSocketSettings()
{
    return getController()->settingsManager("WebSocketSettings");
}

std::shared_ptr<ISettingsManager> WebConfigFactory::partnerSettings()
{
    return getController()->settingsManager("PartnerSettings");
}

} // namespace Vantel::App::WebConfig
