#include "util/translator.h"

#include <QCoreApplication>
#include <QHash>

namespace Translator {

namespace {

struct Registry {
    QString locale = QStringLiteral("en_US");
    // context + '\x1f' + source + '\x1f' + locale -> translation
    QHash<QString, QString> texts;
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

} // namespace

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
