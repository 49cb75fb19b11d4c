#pragma once

#include "webconfig_export.h"

#include <string>

// The base of a typed settings object that reads one section of the remote configuration.
namespace Vantel::App::WebConfig {

class WEBCONFIG_EXPORT AbstractLimitationSettings {
public:
    virtual ~AbstractLimitationSettings();
    virtual std::string sectionName() const = 0;

protected:
    AbstractLimitationSettings() = default;
    AbstractLimitationSettings(const AbstractLimitationSettings &) = default;
    AbstractLimitationSettings &operator=(const AbstractLimitationSettings &) = default;
};

} // namespace Vantel::App::WebConfig
