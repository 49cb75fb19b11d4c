#pragma once

#include "util_export.h"

#include <QString>

// Translation of user-visible texts by context. Texts registered at run time (names that arrive
// with downloaded lists) are looked up first, then the application's Qt translators.
namespace Translator {

UTIL_EXPORT void registerTranslation(const QString &context,
                                     const QString &source,
                                     const QString &locale,
                                     const QString &translation);
UTIL_EXPORT QString translate(const char *context, const char *source);
UTIL_EXPORT QString translate(const QString &context, const QString &source);
// Display texts that arrive with downloaded lists, by key and locale. Registering a key again
// replaces its text in that locale.
UTIL_EXPORT void
registerTranslation(const QString &key, const QString &text, const QString &locale);
// The key's text in `locale`, else its "en_US" text, else the empty string.
UTIL_EXPORT QString translation(const QString &key, const QString &locale);
// The same in the interface locale.
UTIL_EXPORT QString translation(const QString &key);
UTIL_EXPORT bool hasTranslation(const QString &key);
// Forgets every text registered by key (a data folder switched, a test begun).
UTIL_EXPORT void clearTranslations();

// The interface locale ("en_US" unless set).
UTIL_EXPORT QString locale();
UTIL_EXPORT void setLocale(const QString &locale);

} // namespace Translator
