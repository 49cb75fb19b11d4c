#pragma once

#include "appsettings_export.h"

#include "appsettings/settingsmanagerobserver.h"

#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QSettings;

// The user's preferences: typed values under text keys, kept in the data folder and announced to
// observers as they change. The shell makes one at start-up and installs it for the process
// (setApplicationSettingsManager) before the controllers that observe it. Main thread only.
namespace Vantel::App {

// The keys the editor itself reads. Texts are stored in the settings file; never rename them.
namespace SettingKeys {
inline constexpr const char *language = "language";
inline constexpr const char *autoUpdate = "autoUpdate";
inline constexpr const char *dontShowNewProjectDialog = "dontShowNewProjectDialog";
inline constexpr const char *fastTrackEnabled = "fastTrackEnabled";
} // namespace SettingKeys

class APPSETTINGS_EXPORT IApplicationSettingsManager {
public:
    virtual ~IApplicationSettingsManager() = default;

    virtual void addObserver(ISettingsManagerObserver *observer) = 0;
    virtual void removeObserver(ISettingsManagerObserver *observer) = 0;

    // The stored value, or the key's default when there is none (or it does not read as the
    // type asked for).
    virtual bool boolValue(const std::string &key) const = 0;
    virtual int intValue(const std::string &key) const = 0;
    virtual std::string stringValue(const std::string &key) const = 0;

    // Store and tell the observers, unless the value is what is already stored.
    virtual void setBool(const std::string &key, bool value) = 0;
    virtual void setInt(const std::string &key, int value) = 0;
    virtual void setString(const std::string &key, const std::string &value) = 0;

    // The interface language, a locale name such as "en_US".
    std::string language() const { return stringValue(SettingKeys::language); }
};

// Keeps the preferences in an INI file (Settings::applicationSettingsPath() unless told
// otherwise), written through at every change so a crash loses nothing.
class APPSETTINGS_EXPORT ApplicationSettingsManager final : public IApplicationSettingsManager {
public:
    ApplicationSettingsManager();
    explicit ApplicationSettingsManager(const QString &path);
    ~ApplicationSettingsManager() override;

    void addObserver(ISettingsManagerObserver *observer) override;
    void removeObserver(ISettingsManagerObserver *observer) override;

    bool boolValue(const std::string &key) const override;
    int intValue(const std::string &key) const override;
    std::string stringValue(const std::string &key) const override;
    void setBool(const std::string &key, bool value) override;
    void setInt(const std::string &key, int value) override;
    void setString(const std::string &key, const std::string &value) override;

    // Every key with a stored value, sorted.
    std::vector<std::string> storedKeys() const;
    QString path() const;

private:
    std::optional<QString> stored(const std::string &key) const;
    void store(const std::string &key, const QString &value);

    std::unique_ptr<QSettings> m_settings;
    std::vector<ISettingsManagerObserver *> m_observers;
};

// Defaults of the editor's own keys: language "en_US", update checks on, the new-project dialog
// shown, fast-track processing on; false, 0 and the empty text for any other key.
APPSETTINGS_EXPORT bool defaultBool(const std::string &key);
APPSETTINGS_EXPORT std::string defaultString(const std::string &key);

// The manager of the process; null until the shell installs one.
APPSETTINGS_EXPORT void setApplicationSettingsManager(IApplicationSettingsManager *manager);
APPSETTINGS_EXPORT IApplicationSettingsManager *applicationSettingsManager();

} // namespace Vantel::App
