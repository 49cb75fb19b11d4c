#include "WebConfig/controller.h"

#include "WebConfig/iwebconfigprovider.h"
#include "WebConfig/productsettingsmanagerwaiter.h"
#include "WebConfig/settings.h"

#include "appcontext/applicationcontext.h"
#include "downloader/localfile.h"
#include "profiler/profiler.h"
#include "tracking/sessiontracker.h"
#include "util/settingspaths.h"
#include "webconfig/webconfigfactory.h"
#include "webconfig/webconfigparser.h"

#include <glog/logging.h>

namespace EditorWebConfig {

using Vantel::App::WebConfig::WebConfigFactory;

namespace {

// The whole bundled default file; empty when it is missing or unreadable, and the web
// configuration then works without defaults.
QByteArray defaultConfigReader()
{
    const QString path = Settings::defaultWebConfigPath();
    QString error;
    // Bounded like every configuration: anything larger would be refused by the reader anyway.
    const auto bytes
        = Downloader::readRegularFile(path, Vantel::App::WebConfig::maxConfigBytes, &error);
    if (!bytes && !error.isEmpty())
        LOG(WARNING) << "Cannot read the default web configuration: " << error.toStdString();
    return bytes.value_or(QByteArray());
}

} // namespace

class Controller::Impl : public IWebConfigProvider {
public:
    explicit Impl(std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> tracker)
        : m_tracker(std::move(tracker))
    {
        Vantel::Profiler::StartupProfiler sample;
        setupProvider(this);

        WebConfigFactory::Initializer initializer;
        initializer.context = &Vantel::App::ApplicationContext::instance();
        initializer.tracker = m_tracker;
        initializer.defaultConfigReader = &defaultConfigReader;
        initializer.fetchTimeout = std::chrono::milliseconds(40000);
        initializer.refreshInterval = std::chrono::milliseconds(60000);
        if (const auto session = Vantel::Tracking::getSessionTrackerInstance())
            initializer.session = session->sessionId();
        m_factory = std::make_unique<WebConfigFactory>(std::move(initializer));

        m_waiter = std::make_shared<ProductSettingsManagerWaiter>(
            Vantel::App::ApplicationContext::instance(), m_tracker);
        m_factory->getController();

        sample.mark("web_config_controller");
        VLOG(1) << "Web configuration set up in " << sample.result().total << " ms";
    }

    ~Impl() override
    {
        m_collection.reset();
        m_aiModel.reset();
        m_fastTrack.reset();
        m_core.reset();
        m_waiter.reset();
        m_factory.reset();
        if (provider() == this)
            setupProvider(nullptr);
    }

    SectionSettings provideCustomizationSettings() override
    {
        return m_factory->customizationSettings();
    }
    SectionSettings provideUpdateCheckerResolver() override
    {
        return m_factory->updateCheckerResolver();
    }
    SectionSettings provideWebSocketSettings() override { return m_factory->webSocketSettings(); }
    SectionSettings providePartnerSettings() override { return m_factory->partnerSettings(); }

    std::shared_ptr<ICoreSettings> provideCoreSettings() override { return lazily(m_core); }
    std::shared_ptr<IFastTrackSettings> provideFastTrackSettings() override
    {
        return lazily(m_fastTrack);
    }
    std::shared_ptr<IAIModelSettings> provideAIModelSettings() override
    {
        return lazily(m_aiModel);
    }
    std::shared_ptr<ICollectionSettings> provideCollectionSettings() override
    {
        return lazily(m_collection);
    }

private:
    template<class T> std::shared_ptr<T> lazily(std::shared_ptr<T> &slot)
    {
        if (!slot)
            slot = std::make_shared<T>(m_factory->getController());
        return slot;
    }

    std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> m_tracker;
    std::unique_ptr<WebConfigFactory> m_factory;
    std::shared_ptr<ProductSettingsManagerWaiter> m_waiter;
    std::shared_ptr<CoreSettings> m_core;
    std::shared_ptr<FastTrackSettings> m_fastTrack;
    std::shared_ptr<AIModelSettings> m_aiModel;
    std::shared_ptr<CollectionSettings> m_collection;
};

Controller::Controller(std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> tracker)
    : d(std::make_unique<Impl>(std::move(tracker)))
{
}

Controller::~Controller() = default;

} // namespace EditorWebConfig
