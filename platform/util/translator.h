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
// The interface locale ("en_US" unless set).
UTIL_EXPORT QString locale();
UTIL_EXPORT void setLocale(const QString &locale);

} // namespace Translator
