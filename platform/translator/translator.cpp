#include "translator/translator.h"

#include <QCoreApplication>
#include <QHash>

#include <algorithm>
#include <vector>

namespace Translator {

namespace {

// A key's texts: those registered one at a time (by locale slot) take precedence over the table
// row it was last given.
struct Keyed {
    std::vector<QString> texts;
    std::shared_ptr<const TranslationTable> table;
    std::size_t row = 0;
};

struct Registry {
    QString locale = QStringLiteral("en_US");
    // context + '\x1f' + source + '\x1f' + locale -> translation
    QHash<QString, QString> texts;
    // Texts by key: one slot per locale, numbered in the order locales were first seen.
    std::vector<QString> keyedLocales;
    QHash<QString, Keyed> keyed;
    // The entry of the key registered last (nodes of a QHash stay put until removed).
    QString lastKey;
    Keyed *lastEntry = nullptr;
};

Registry &registry()
{
    static Registry r;
    return r;
}

QString keyOf(const QString &context, const QString &source, const QString &locale)
{
    return context + QChar(0x1f) + source + QChar(0x1f) + locale;
}

std::size_t localeSlot(Registry &r, const QString &locale)
{
    // Locales come in the same order for every key: try the one after the last first.
    static std::size_t next = 0;
    if (next < r.keyedLocales.size() && r.keyedLocales[next] == locale)
        return next++;
    for (std::size_t i = 0; i < r.keyedLocales.size(); ++i)
        if (r.keyedLocales[i] == locale) {
            next = i + 1;
            return i;
        }
    r.keyedLocales.push_back(locale);
    next = r.keyedLocales.size();
    return r.keyedLocales.size() - 1;
}

// Null when the key has no text in the locale.
QString keyedText(const Registry &r, const QString &key, const QString &locale)
{
    const auto it = r.keyed.constFind(key);
    if (it == r.keyed.constEnd())
        return {};
    for (std::size_t i = 0; i < r.keyedLocales.size() && i < it->texts.size(); ++i)
        if (r.keyedLocales[i] == locale && !it->texts[i].isNull())
            return it->texts[i];
    if (const TranslationTable *table = it->table.get())
        for (std::size_t c = 0; c < table->locales.size(); ++c)
            if (table->locales[c] == locale)
                return table->text(it->row, c);
    return {};
}

} // namespace

void registerTranslation(const QString &key, QString &&text, const QString &locale)
{
    Registry &r = registry();
    const std::size_t slot = localeSlot(r, locale);
    // A list registers each key in every locale in turn: the same key again needs no lookup.
    if (!r.lastEntry || r.lastKey.constData() != key.constData()
        || r.lastKey.size() != key.size()) {
        r.lastEntry = &r.keyed[key];
        r.lastKey = key;
    }
    std::vector<QString> &texts = r.lastEntry->texts;
    if (texts.size() <= slot)
        texts.resize(slot + 1);
    // Never null, so a registered empty text is told from a missing one.
    if (text.isNull())
        text = QString(QLatin1String(""));
    std::swap(texts[slot], text);
}

void registerTranslation(const QString &key, const QString &text, const QString &locale)
{
    QString copy = text;
    registerTranslation(key, std::move(copy), locale);
}

QString TranslationTable::text(std::size_t row, std::size_t column) const
{
    const auto [offset, length] = spans.at(row * locales.size() + column);
    // Never null, so a registered empty text is told from a missing one.
    if (length == 0 || offset + static_cast<quint64>(length) > static_cast<quint64>(utf8.size()))
        return QString(QLatin1String(""));
    return QString::fromUtf8(utf8.constData() + offset, static_cast<int>(length));
}

void registerTranslations(std::shared_ptr<const TranslationTable> table)
{
    if (!table || table->locales.empty())
        return;
    Registry &r = registry();
    const std::size_t rows
        = std::min(table->keys.size(), table->spans.size() / table->locales.size());
    r.keyed.reserve(r.keyed.size() + static_cast<int>(rows));
    for (std::size_t row = 0; row < rows; ++row) {
        Keyed &entry = r.keyed[table->keys[row]];
        entry.texts.clear();
        entry.table = table;
        entry.row = row;
    }
    r.lastKey.clear();
    r.lastEntry = nullptr;
}

QString translation(const QString &key, const QString &locale)
{
    const Registry &r = registry();
    QString text = keyedText(r, key, locale);
    if (text.isNull())
        text = keyedText(r, key, QStringLiteral("en_US"));
    return text;
}

QString translation(const QString &key)
{
    return translation(key, registry().locale);
}

bool hasTranslation(const QString &key)
{
    return registry().keyed.contains(key);
}

void clearTranslations()
{
    Registry &r = registry();
    r.keyed.clear();
    r.keyedLocales.clear();
    r.lastKey.clear();
    r.lastEntry = nullptr;
}

void registerTranslation(const QString &context,
                         const QString &source,
                         const QString &locale,
                         const QString &translation)
{
    registry().texts.insert(keyOf(context, source, locale), translation);
}

QString translate(const QString &context, const QString &source)
{
    const Registry &r = registry();
    const auto it = r.texts.constFind(keyOf(context, source, r.locale));
    if (it != r.texts.constEnd())
        return *it;
    return QCoreApplication::translate(context.toUtf8().constData(), source.toUtf8().constData());
}

QString translate(const char *context, const char *source)
{
    return translate(QString::fromUtf8(context), QString::fromUtf8(source));
}

QString locale()
{
    return registry().locale;
}

void setLocale(const QString &locale)
{
    registry().locale = locale;
}

} // namespace Translator
