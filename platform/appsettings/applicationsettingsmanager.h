#pragma once

#include "appsettings_export.h"

#include "appsettings/settingsmanagerobserver.h"

#include <QByteArray>
#include <QString>

#include <map>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// The user's preferences: typed values under text keys, kept in the data folder and announced to
// observers as they change. The application makes one at start-up and hands it to the
// controllers that observe it, which it outlives. Main thread only.
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

    // Store and tell the observers, unless the value is what is already stored. Throws
    // std::runtime_error, with nothing changed and nobody told, when the value cannot be kept.
    virtual void setBool(const std::string &key, bool value) = 0;
    virtual void setInt(const std::string &key, int value) = 0;
    virtual void setString(const std::string &key, const std::string &value) = 0;

    // The interface language, a locale name such as "en_US".
    std::string language() const { return stringValue(SettingKeys::language); }
};

// Keeps the preferences in an INI file (Settings::applicationSettingsPath() unless told
// otherwise), written through at every change so a crash loses nothing. Each change is made
// under a lock on the file, to what is on disk at that moment, so two editors sharing a data
// folder keep each other's changes. The file is replaced whole (never cut, never written
// through a link); one that cannot be read (a pipe, a link, too large, damaged) gives the
// defaults with one warning.
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
    void reload();

    QString m_path;
    std::map<QString, QString> m_values;
    std::vector<ISettingsManagerObserver *> m_observers;
};

// The INI text of the preferences and back: one "[General]" section of "key=value" lines. Keys
// outside [A-Za-z0-9_.-] are percent-encoded and values with blanks at their ends, quotes,
// backslashes or line breaks are quoted, so any key and text survive. Reading skips what it
// cannot use; keys of other sections come back as "section/key". Pure.
APPSETTINGS_EXPORT QByteArray writeSettingsText(const std::map<QString, QString> &values);
APPSETTINGS_EXPORT std::map<QString, QString> readSettingsText(const QByteArray &text);

// Defaults of the editor's own keys: language "en_US", update checks on, the new-project dialog
// shown, fast-track processing on; false, 0 and the empty text for any other key.
APPSETTINGS_EXPORT bool defaultBool(const std::string &key);
APPSETTINGS_EXPORT std::string defaultString(const std::string &key);

} // namespace Vantel::App
