#pragma once

#include "webconfig_export.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <string>
#include <variant>

// The remote configuration's format: a JSON object of sections, each an object of key to a bool,
// an integer or a string. Read strictly: one wrong thing anywhere refuses the whole document, so a
// half-understood configuration never mixes with a good one.
namespace Vantel::App::WebConfig {

using ConfigValue = std::variant<bool, int, std::string>;
using Section = std::map<std::string, ConfigValue>;
using Config = std::map<std::string, Section>;

// Larger documents are refused unread; the configuration is a few kilobytes.
inline constexpr int maxConfigBytes = 1024 * 1024;

struct ParseResult {
    Config config;
    QString error; // empty when the document was accepted; otherwise what and where
    bool ok() const { return error.isEmpty(); }
};

// Pure: bytes in, sections or the first problem out. Refuses, naming the place: anything that is
// not an object of objects, a value other than true, false, an integer in 32 bits or a string, a
// key given twice in one object, invalid UTF-8, a NUL byte, trailing content and documents over
// maxConfigBytes.
WEBCONFIG_EXPORT ParseResult parseWebConfig(const QByteArray &bytes);

// The value as the configuration would spell it (true, 12, "text").
WEBCONFIG_EXPORT std::string formatValue(const ConfigValue &value);
// The whole configuration in the format parseWebConfig reads back to the same sections.
WEBCONFIG_EXPORT QByteArray serializeWebConfig(const Config &config);

} // namespace Vantel::App::WebConfig
