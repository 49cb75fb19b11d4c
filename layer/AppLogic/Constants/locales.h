#pragma once

#include "applogicexport.h"

#include <QString>

#include <map>
#include <vector>

// The interface locales the editor ships, in the order translations are registered; language
// codes with their English names; the product-information keys. Built at library load,
// read-only afterwards.
namespace Locales {

struct Locale {
    QString name; // "en_US"
    QString nativeName; // as its speakers write it
};

// Every missing translation falls back to this locale.
APPLOGIC_EXPORT extern const QString FallbackLocale;

// The fourteen locales, in their fixed order.
APPLOGIC_EXPORT const std::vector<Locale> &supportedLocales();
// The native name of a supported locale; empty for any other.
APPLOGIC_EXPORT QString nativeName(const QString &locale);

// ISO 639-2 (bibliographic) code to English name; "und" maps to the empty text.
APPLOGIC_EXPORT const std::map<QString, QString> &languageNames();
// The English name of a code; empty for an unknown one.
APPLOGIC_EXPORT QString languageName(const QString &code);

} // namespace Locales

namespace ProductInformation {
APPLOGIC_EXPORT extern const QString ProductVersionKey; // "PRODUCT_VERSION"
APPLOGIC_EXPORT extern const QString UserIdKey; // "USER_ID"
} // namespace ProductInformation
