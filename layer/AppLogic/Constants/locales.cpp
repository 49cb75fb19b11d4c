#include "Constants/locales.h"

namespace Locales {

const QString FallbackLocale = QStringLiteral("en_US");

namespace {
// Namespace-scope, so each table is built once at library load by its own initialiser.
const std::vector<Locale> locales = {
    { QStringLiteral("en_US"), QString::fromUtf8("English") },
    { QStringLiteral("ru_RU"), QString::fromUtf8("Русский") },
    { QStringLiteral("de_DE"), QString::fromUtf8("Deutsch") },
    { QStringLiteral("fr_FR"), QString::fromUtf8("Français") },
    { QStringLiteral("es_ES"), QString::fromUtf8("Español") },
    { QStringLiteral("it_IT"), QString::fromUtf8("Italiano") },
    { QStringLiteral("ja_JP"), QString::fromUtf8("日本語") },
    { QStringLiteral("nl_NL"), QString::fromUtf8("Nederlands") },
    { QStringLiteral("pl_PL"), QString::fromUtf8("Polski") },
    { QStringLiteral("pt_BR"), QString::fromUtf8("Português Brasileiro") },
    { QStringLiteral("tr_TR"), QString::fromUtf8("Türkçe") },
    { QStringLiteral("zh_CN"), QString::fromUtf8("简体中文") },
    { QStringLiteral("ko_KR"), QString::fromUtf8("한국어") },
    { QStringLiteral("zh_TW"), QString::fromUtf8("繁體中文") },
};
} // namespace

const std::vector<Locale> &supportedLocales()
{
    return locales;
}

QString nativeName(const QString &locale)
{
    for (const Locale &candidate : supportedLocales()) {
        if (candidate.name == locale)
            return candidate.nativeName;
    }
    return {};
}

namespace {
const std::map<QString, QString> names = {
    { QStringLiteral("ara"), QString::fromUtf8("Arabic") },
    { QStringLiteral("bel"), QString::fromUtf8("Belarusian") },
    { QStringLiteral("cat"), QString::fromUtf8("Catalan") },
    { QStringLiteral("chi"), QString::fromUtf8("Chinese") },
    { QStringLiteral("dan"), QString::fromUtf8("Danish") },
    { QStringLiteral("dut"), QString::fromUtf8("Dutch") },
    { QStringLiteral("eng"), QString::fromUtf8("English") },
    { QStringLiteral("fin"), QString::fromUtf8("Finnish") },
    { QStringLiteral("fre"), QString::fromUtf8("French") },
    { QStringLiteral("ger"), QString::fromUtf8("German") },
    { QStringLiteral("heb"), QString::fromUtf8("Hebrew") },
    { QStringLiteral("hin"), QString::fromUtf8("Hindi") },
    { QStringLiteral("hun"), QString::fromUtf8("Hungarian") },
    { QStringLiteral("ita"), QString::fromUtf8("Italian") },
    { QStringLiteral("jpn"), QString::fromUtf8("Japanese") },
    { QStringLiteral("nno"), QString::fromUtf8("Norwegian Nynorsk") },
    { QStringLiteral("nob"), QString::fromUtf8("Norwegian Bokmål") },
    { QStringLiteral("pol"), QString::fromUtf8("Polish") },
    { QStringLiteral("por"), QString::fromUtf8("Portuguese") },
    { QStringLiteral("rus"), QString::fromUtf8("Russian") },
    { QStringLiteral("slv"), QString::fromUtf8("Slovenian") },
    { QStringLiteral("spa"), QString::fromUtf8("Spanish") },
    { QStringLiteral("swe"), QString::fromUtf8("Swedish") },
    { QStringLiteral("tur"), QString::fromUtf8("Turkish") },
    { QStringLiteral("ukr"), QString::fromUtf8("Ukrainian") },
    { QStringLiteral("und"), QString::fromUtf8("") },
};
} // namespace

const std::map<QString, QString> &languageNames()
{
    return names;
}

QString languageName(const QString &code)
{
    const auto it = languageNames().find(code);
    return it == languageNames().end() ? QString() : it->second;
}

} // namespace Locales

namespace ProductInformation {
const QString ProductVersionKey = QStringLiteral("PRODUCT_VERSION");
const QString UserIdKey = QStringLiteral("USER_ID");
} // namespace ProductInformation
