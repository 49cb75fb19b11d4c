#include "WebConfig/iwebconfigprovider.h"

#include "WebConfig/settings.h"

namespace EditorWebConfig {

ICollectionSettings::~ICollectionSettings() = default;
ICoreSettings::~ICoreSettings() = default;
IFastTrackSettings::~IFastTrackSettings() = default;
IAIModelSettings::~IAIModelSettings() = default;
IWebConfigProvider::~IWebConfigProvider() = default;

namespace {

IWebConfigProvider *&installed()
{
    static IWebConfigProvider *current = nullptr;
    return current;
}

// Objects with no section behind them: every query answers its default.
template<class T> std::shared_ptr<T> unconfigured()
{
    static const auto settings = std::make_shared<T>(nullptr);
    return settings;
}

} // namespace

void setupProvider(IWebConfigProvider *provider)
{
    installed() = provider;
}

IWebConfigProvider *provider()
{
    return installed();
}

SectionSettings provideCustomizationSettings()
{
    return installed() ? installed()->provideCustomizationSettings() : nullptr;
}

SectionSettings provideUpdateCheckerResolver()
{
    return installed() ? installed()->provideUpdateCheckerResolver() : nullptr;
}

SectionSettings provideWebSocketSettings()
{
    return installed() ? installed()->provideWebSocketSettings() : nullptr;
}

SectionSettings providePartnerSettings()
{
    return installed() ? installed()->providePartnerSettings() : nullptr;
}

std::shared_ptr<ICoreSettings> provideCoreSettings()
{
    return installed() ? installed()->provideCoreSettings() : unconfigured<CoreSettings>();
}

std::shared_ptr<IFastTrackSettings> provideFastTrackSettings()
{
    return installed() ? installed()->provideFastTrackSettings()
                       : unconfigured<FastTrackSettings>();
}

std::shared_ptr<IAIModelSettings> provideAIModelSettings()
{
    return installed() ? installed()->provideAIModelSettings() : unconfigured<AIModelSettings>();
}

std::shared_ptr<ICollectionSettings> provideCollectionSettings()
{
    return installed() ? installed()->provideCollectionSettings()
                       : unconfigured<CollectionSettings>();
}

} // namespace EditorWebConfig
