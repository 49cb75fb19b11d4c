#pragma once

#include "translator_export.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <utility>
#include <vector>

// Translation of user-visible texts by context. Texts registered at run time (names that arrive
// with downloaded lists) are looked up first, then the application's Qt translators.
namespace Translator {

TRANSLATOR_EXPORT void registerTranslation(const QString &context,
                                           const QString &source,
                                           const QString &locale,
                                           const QString &translation);
TRANSLATOR_EXPORT QString translate(const char *context, const char *source);
TRANSLATOR_EXPORT QString translate(const QString &context, const QString &source);
// Display texts that arrive with downloaded lists, by key and locale. Registering a key again
// replaces its text in that locale.
TRANSLATOR_EXPORT void
registerTranslation(const QString &key, const QString &text, const QString &locale);
// Many keys' texts in a fixed set of locales, as a downloaded list brings them: one UTF-8 block
// and the span of each text in it, so fifty thousand keys in fourteen locales cost a handful of
// allocations instead of seven hundred thousand strings. A text is decoded when looked up.
struct TranslationTable {
    std::vector<QString> locales; // the columns
    std::vector<QString> keys; // the rows
    QByteArray utf8;
    // Row r's text in column c is spans[r * locales.size() + c]: offset and length in utf8.
    std::vector<std::pair<quint32, quint32>> spans;

    TRANSLATOR_EXPORT QString text(std::size_t row, std::size_t column) const;
};
// Registers every key of the table in all its locales, replacing what those keys had. The
// registry holds the table while any of its keys still point at it.
TRANSLATOR_EXPORT void registerTranslations(std::shared_ptr<const TranslationTable> table);
// The key's text in `locale`, else its "en_US" text, else the empty string.
TRANSLATOR_EXPORT QString translation(const QString &key, const QString &locale);
// The same in the interface locale.
TRANSLATOR_EXPORT QString translation(const QString &key);
TRANSLATOR_EXPORT bool hasTranslation(const QString &key);
// Forgets every text registered by key (a data folder switched, a test begun).
TRANSLATOR_EXPORT void clearTranslations();

// The interface locale ("en_US" unless set).
TRANSLATOR_EXPORT QString locale();
TRANSLATOR_EXPORT void setLocale(const QString &locale);

} // namespace Translator
