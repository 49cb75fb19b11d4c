#pragma once

#include <QString>

// Translation of user-visible texts by context. Texts registered at run time (names that arrive
// with downloaded lists) are looked up first, then the application's Qt translators.
namespace Translator {

void registerTranslation(const QString &context,
                         const QString &source,
                         const QString &locale,
                         const QString &translation);
QString translate(const char *context, const char *source);
QString translate(const QString &context, const QString &source);
// The interface locale ("en_US" unless set).
QString locale();
void setLocale(const QString &locale);

} // namespace Translator
