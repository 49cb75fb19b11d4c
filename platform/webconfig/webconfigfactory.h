#pragma once

#include "webconfig/iconfigcontroller.h"
#include "webconfig_export.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Downloader {
class ResourceManager;
}
namespace Vantel::Tracking {
class ComponentSetterTracker;
}

namespace Vantel::App {
class ApplicationContext;
}

// Builds the process's web-configuration controller from what the application gives it. The
// controller reads the bundled defaults, then the last good fetched copy in the data folder, then
// fetches the configuration from the address behind the link key "WEB_CONFIG_URL" and keeps
// refreshing it. Main thread only.
namespace Vantel::App::WebConfig {

class WEBCONFIG_EXPORT WebConfigFactory {
public:
    struct Initializer {
        ApplicationContext *context = nullptr;
        std::shared_ptr<Tracking::ComponentSetterTracker> tracker;
        // The bundled default configuration, whole; empty when there is none.
        std::function<QByteArray()> defaultConfigReader;
        // The longest one fetch may take, retries included.
        std::chrono::milliseconds fetchTimeout { 40000 };
        // Time between fetches; none is ever started sooner after the previous one.
        std::chrono::milliseconds refreshInterval { 60000 };
        // Names this run in the fetch's log lines, so a fetch can be matched to its session.
        std::string session;

        // Empty: the defaults (Settings::webConfigCachePath(), the "WEB_CONFIG_URL" address,
        // ResourceManager::instance()). Tests point them elsewhere.
        QString cachePath;
        std::optional<QUrl> url;
        Downloader::ResourceManager *downloads = nullptr;
    };

    explicit WebConfigFactory(Initializer initializer);
    ~WebConfigFactory();
    WebConfigFactory(const WebConfigFactory &) = delete;
    WebConfigFactory &operator=(const WebConfigFactory &) = delete;

    // Made, loaded and set fetching on the first call; the same one afterwards.
    std::shared_ptr<IConfigController> getController();

    // Sections of the configuration that other parts of the application read whole.
    std::shared_ptr<ISettingsManager> customizationSettings();
    std::shared_ptr<ISettingsManager> updateCheckerResolver();
    std::shared_ptr<ISettingsManager> webSocketSettings();
    std::shared_ptr<ISettingsManager> partnerSettings();

private:
    Initializer m_initializer;
    std::shared_ptr<IConfigController> m_controller;
};

// The controller of the factory that lives now (the last one made), for tools that report on the
// configuration in effect; empty when there is none.
WEBCONFIG_EXPORT std::shared_ptr<IConfigController> activeController();

} // namespace Vantel::App::WebConfig
