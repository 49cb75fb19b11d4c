#pragma once

#include "WebConfig/iwebconfigprovider.h"
#include "applogicexport.h"

#include "appsettings/settingsmanagerobserver.h"
#include "webconfig/abstractlimitationsettings.h"

#include <memory>
#include <string>

namespace Vantel::App::WebConfig {
class IConfigController;
class ISettingsManager;
} // namespace Vantel::App::WebConfig

// The four settings objects: each reads one section of the remote configuration through its
// settings manager, keeps the value (a plain field, so a query costs a read) and follows the
// changes the manager pushes. Without a manager for the section, the default holds. Main thread.
namespace EditorWebConfig {

using ConfigControllerPtr = std::shared_ptr<Vantel::App::WebConfig::IConfigController>;
using SettingsManagerPtr = std::shared_ptr<Vantel::App::WebConfig::ISettingsManager>;

// Registers its owner with the section's manager for exactly as long as the owner lives; a copy
// registers the copy.
class APPLOGIC_EXPORT SectionBinding {
public:
    SectionBinding(ConfigControllerPtr controller, const char *section);
    const SettingsManagerPtr &manager() const { return m_manager; }
    void attach(Vantel::App::ISettingsManagerObserver *observer) const;
    void detach(Vantel::App::ISettingsManagerObserver *observer) const;

private:
    ConfigControllerPtr m_controller;
    SettingsManagerPtr m_manager;
};

// What the four settings objects share: the binding to their section's manager, held for exactly
// as long as the object lives (a copy registers the copy; assignment moves the registration), and
// the section's name. Derived names its section in `section`.
template<class Derived, class Interface>
class BoundSettings
    : public Interface
    , public Vantel::App::AbstractSettingsManagerObserver
    , public Vantel::App::WebConfig::AbstractLimitationSettings {
public:
    std::string sectionName() const override { return Derived::section; }

protected:
    explicit BoundSettings(ConfigControllerPtr controller)
        : m_binding(std::move(controller), Derived::section)
    {
    }
    BoundSettings(const BoundSettings &other)
        : Interface(other)
        , Vantel::App::AbstractSettingsManagerObserver(other)
        , Vantel::App::WebConfig::AbstractLimitationSettings(other)
        , m_binding(other.m_binding)
    {
        m_binding.attach(this);
    }
    BoundSettings &operator=(const BoundSettings &other)
    {
        if (this != &other) {
            m_binding.detach(this);
            m_binding = other.m_binding;
            m_binding.attach(this);
        }
        return *this;
    }
    ~BoundSettings() override { m_binding.detach(this); }

    SectionBinding m_binding;
};

class APPLOGIC_EXPORT CollectionSettings
    : public BoundSettings<CollectionSettings, ICollectionSettings> {
public:
    static constexpr const char *section = "CollectionSettings";
    static constexpr const char *key = "LoadExternalEffects";

    explicit CollectionSettings(ConfigControllerPtr controller);

    bool needLoadExternalEffects() const override { return m_value; }
    void SettingChangedBool(const std::string &key,
                            bool value,
                            const std::optional<bool> &previous) override;

private:
    bool m_value = false;
};

class APPLOGIC_EXPORT CoreSettings : public BoundSettings<CoreSettings, ICoreSettings> {
public:
    static constexpr const char *section = "CoreSettings";
    static constexpr const char *key = "FullGpuDecoders";

    explicit CoreSettings(ConfigControllerPtr controller);

    bool fullGpuDecoders() const override { return m_value; }
    void SettingChangedBool(const std::string &key,
                            bool value,
                            const std::optional<bool> &previous) override;

private:
    bool m_value = false;
};

// "Util" exactly (case and blanks count) is Util; anything else, the empty text included, is
// Default.
APPLOGIC_EXPORT FastTrackImplementation fastTrackImplementationFromString(const std::string &text);

class APPLOGIC_EXPORT FastTrackSettings
    : public BoundSettings<FastTrackSettings, IFastTrackSettings> {
public:
    static constexpr const char *section = "FastTrackSettings";
    static constexpr const char *key = "FastTrackImplementation";

    explicit FastTrackSettings(ConfigControllerPtr controller);

    FastTrackImplementation fastTrackImplementation() const override { return m_value; }
    void SettingChangedString(const std::string &key,
                              const std::string &value,
                              const std::optional<std::string> &previous) override;

private:
    FastTrackImplementation m_value = FastTrackImplementation::Default;
};

// Download addresses of AI models, by keys the model download chooses; read on demand.
class APPLOGIC_EXPORT AIModelSettings : public BoundSettings<AIModelSettings, IAIModelSettings> {
public:
    static constexpr const char *section = "AIModelSettings";

    explicit AIModelSettings(ConfigControllerPtr controller);

    QString getUrlFromKey(const std::string &key) override;
    // Hands the change back to the manager, which checks and takes it.
    void SettingChangedString(const std::string &key,
                              const std::string &value,
                              const std::optional<std::string> &previous) override;
};

} // namespace EditorWebConfig
