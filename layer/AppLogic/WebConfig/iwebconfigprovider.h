#pragma once

#include "applogicexport.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <string>

namespace Vantel::App::WebConfig {
class ISettingsManager;
}

// The editor's remotely configured values, as typed objects with hard defaults, and the
// process-wide provider that hands them out. Reached through the free functions below, from the
// main thread.
namespace EditorWebConfig {

enum class FastTrackImplementation : std::int32_t { Default = 0, Util = 1 };

class APPLOGIC_EXPORT ICollectionSettings {
public:
    virtual ~ICollectionSettings();
    virtual bool needLoadExternalEffects() const = 0;
};

class APPLOGIC_EXPORT ICoreSettings {
public:
    virtual ~ICoreSettings();
    virtual bool fullGpuDecoders() const = 0;
};

class APPLOGIC_EXPORT IFastTrackSettings {
public:
    virtual ~IFastTrackSettings();
    virtual FastTrackImplementation fastTrackImplementation() const = 0;
};

class APPLOGIC_EXPORT IAIModelSettings {
public:
    virtual ~IAIModelSettings();
    virtual QString getUrlFromKey(const std::string &key) = 0;
};

using SectionSettings = std::shared_ptr<Vantel::App::WebConfig::ISettingsManager>;

class APPLOGIC_EXPORT IWebConfigProvider {
public:
    virtual ~IWebConfigProvider();
    virtual SectionSettings provideCustomizationSettings() = 0;
    virtual SectionSettings provideUpdateCheckerResolver() = 0;
    virtual SectionSettings provideWebSocketSettings() = 0;
    virtual SectionSettings providePartnerSettings() = 0;
    virtual std::shared_ptr<ICoreSettings> provideCoreSettings() = 0;
    virtual std::shared_ptr<IFastTrackSettings> provideFastTrackSettings() = 0;
    virtual std::shared_ptr<IAIModelSettings> provideAIModelSettings() = 0;
    virtual std::shared_ptr<ICollectionSettings> provideCollectionSettings() = 0;
};

// Installs the provider the functions below forward to; nullptr removes it.
APPLOGIC_EXPORT void setupProvider(IWebConfigProvider *provider);
APPLOGIC_EXPORT IWebConfigProvider *provider();

// With no provider installed, the settings answer their defaults and the sections are empty.
APPLOGIC_EXPORT SectionSettings provideCustomizationSettings();
APPLOGIC_EXPORT SectionSettings provideUpdateCheckerResolver();
APPLOGIC_EXPORT SectionSettings provideWebSocketSettings();
APPLOGIC_EXPORT SectionSettings providePartnerSettings();
APPLOGIC_EXPORT std::shared_ptr<ICoreSettings> provideCoreSettings();
APPLOGIC_EXPORT std::shared_ptr<IFastTrackSettings> provideFastTrackSettings();
APPLOGIC_EXPORT std::shared_ptr<IAIModelSettings> provideAIModelSettings();
APPLOGIC_EXPORT std::shared_ptr<ICollectionSettings> provideCollectionSettings();

} // namespace EditorWebConfig
