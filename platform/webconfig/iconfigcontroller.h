#pragma once

#include "appsettings/settingsmanagerobserver.h"
#include "webconfig/webconfigparser.h"
#include "webconfig_export.h"

#include <QDateTime>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// The remote configuration as the application sees it: one settings manager per section, with
// typed getters that fall back to the caller's default, and observers told of every value a newer
// configuration changes. Main thread only.
namespace Vantel::App::WebConfig {

// Where a value in effect came from: the bundled default file, the last good copy kept from an
// earlier run, or a fetch of this run.
enum class ValueSource { Default, Cached, Fetched };

class WEBCONFIG_EXPORT ISettingsManager {
public:
    virtual ~ISettingsManager();

    virtual void addObserver(ISettingsManagerObserver *observer) = 0;
    virtual void removeObserver(ISettingsManagerObserver *observer) = 0;

    // The value in effect, or `defaultValue` when the key is missing or holds another type.
    virtual bool getBool(const std::string &key, bool defaultValue) const = 0;
    virtual int getInt(const std::string &key, int defaultValue) const = 0;
    virtual std::string getString(const std::string &key,
                                  const std::string &defaultValue) const = 0;

    // Whether the section takes `value` for `key`: a key no configuration gives another type.
    virtual bool accept(const std::string &key, const std::string &value) const = 0;
    // Puts an accepted value in effect for this run; observers hear of it if it differs.
    virtual void update(const std::string &key, const std::string &value) = 0;

    virtual std::string section() const = 0;
    // Every key with a value in effect, sorted.
    virtual std::vector<std::string> keys() const = 0;
    virtual std::optional<ConfigValue> value(const std::string &key) const = 0;
    virtual std::optional<ValueSource> source(const std::string &key) const = 0;
};

struct FetchStatus {
    enum class Result { None, Ok, NotModified, Failed };
    QUrl url; // empty when the product configuration names no address
    Result result = Result::None;
    QString error;
    QDateTime finishedAt; // UTC; invalid until a fetch ended
    bool inFlight = false;
};

class WEBCONFIG_EXPORT IConfigController {
public:
    virtual ~IConfigController();
    // The manager of a section some configuration (default, last good or fetched) names;
    // empty for a section none of them knows.
    virtual std::shared_ptr<ISettingsManager> settingsManager(const std::string &section) = 0;
    // Every section some configuration names, sorted.
    virtual std::vector<std::string> sections() const = 0;
    virtual FetchStatus fetchStatus() const = 0;
};

} // namespace Vantel::App::WebConfig
