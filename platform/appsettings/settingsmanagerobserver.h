#pragma once

#include "appsettings_export.h"

#include <optional>
#include <string>

// Observers of an application settings manager. The manager calls them on the thread that made
// the change (the main thread in practice), after the new value is stored, once per key whose
// value really changed. `previous` is empty when the key had no stored value before.
namespace Vantel::App {

class APPSETTINGS_EXPORT ISettingsManagerObserver {
public:
    virtual ~ISettingsManagerObserver() = default;
    virtual void
    SettingChangedBool(const std::string &key, bool value, const std::optional<bool> &previous)
        = 0;
    virtual void
    SettingChangedInt(const std::string &key, int value, const std::optional<int> &previous)
        = 0;
    virtual void SettingChangedString(const std::string &key,
                                      const std::string &value,
                                      const std::optional<std::string> &previous)
        = 0;
};

// For observers that care about one or two value types: the rest do nothing.
class APPSETTINGS_EXPORT AbstractSettingsManagerObserver : public ISettingsManagerObserver {
public:
    void SettingChangedBool(const std::string &, bool, const std::optional<bool> &) override { }
    void SettingChangedInt(const std::string &, int, const std::optional<int> &) override { }
    void SettingChangedString(const std::string &,
                              const std::string &,
                              const std::optional<std::string> &) override
    {
    }
};

} // namespace Vantel::App
