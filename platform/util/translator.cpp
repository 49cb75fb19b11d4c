#include "util/translator.h"

#include <QCoreApplication>
#include <QHash>

#include <vector>

namespace Translator {

namespace {

struct Registry {
    QString locale = QStringLiteral("en_US");
    // context + '\x1f' + source + '\x1f' + locale -> translation
    QHash<QString, QString> texts;
    // Texts by key: one slot per locale, numbered in the order locales were first seen, so a
    // list's fifty thousand keys in fourteen locales cost one hash entry per key.
    std::vector<QString> keyedLocales;
    QHash<QString, std::vector<QString>> keyed;
    // The entry of the key registered last (nodes of a QHash stay put until removed).
    QString lastKey;
    std::vector<QString> *lastTexts = nullptr;
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

const QString *keyedText(const Registry &r, const QString &key, const QString &locale)
{
    const auto it = r.keyed.constFind(key);
    if (it == r.keyed.constEnd())
        return nullptr;
    for (std::size_t i = 0; i < r.keyedLocales.size() && i < it->size(); ++i)
        if (r.keyedLocales[i] == locale)
            return (*it)[i].isNull() ? nullptr : &(*it)[i];
    return nullptr;
}

} // namespace

void registerTranslation(const QString &key, QString &&text, const QString &locale)
{
    Registry &r = registry();
    const std::size_t slot = localeSlot(r, locale);
    // A list registers each key in every locale in turn: the same key again needs no lookup.
    if (!r.lastTexts || r.lastKey.constData() != key.constData()
        || r.lastKey.size() != key.size()) {
        r.lastTexts = &r.keyed[key];
        r.lastKey = key;
    }
    std::vector<QString> &texts = *r.lastTexts;
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

QString translation(const QString &key, const QString &locale)
{
    const Registry &r = registry();
    if (const QString *text = keyedText(r, key, locale))
        return *text;
    if (const QString *text = keyedText(r, key, QStringLiteral("en_US")))
        return *text;
    return {};
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
    r.lastTexts = nullptr;
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
