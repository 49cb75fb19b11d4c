// `prefs`: the user's preferences, shown or changed the way the preferences dialog does. Changes
// made in one call are reported as one "PREF_CHANGED", once the event loop has had its pass.

#include "Application/application.h"
#include "Constants/locales.h"
#include "editing.h"
#include "shellcontext.h"

#include "appsettings/applicationsettingsmanager.h"
#include "util/format.h"
#include "util/scheduler.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QJsonObject>

#include <algorithm>
#include <set>

namespace Shell {

namespace {

using namespace Vantel::App;

const std::set<std::string> &booleanKeys()
{
    static const std::set<std::string> keys
        = { SettingKeys::autoUpdate, SettingKeys::dontShowNewProjectDialog,
            SettingKeys::fastTrackEnabled };
    return keys;
}

// The statistics coalesce preference reports on a later pass of the event loop; a scheduler of
// our own, asked last, runs after theirs, so when it has run the report is out.
void letDeferredWorkRun()
{
    struct Marker {
        void reached() { done = true; }
        bool done = false;
        Vantel::Util::Scheduler<Marker> scheduler { this, &Marker::reached };
    } marker;
    marker.scheduler.schedule();
    const QDeadlineTimer limit(5000);
    while (!marker.done && !limit.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
}

const std::vector<std::string> &knownKeys()
{
    static const std::vector<std::string> keys
        = { SettingKeys::autoUpdate, SettingKeys::dontShowNewProjectDialog,
            SettingKeys::fastTrackEnabled, SettingKeys::language };
    return keys;
}

QStringList localeNames()
{
    QStringList names;
    for (const Locales::Locale &locale : Locales::supportedLocales())
        names << locale.name;
    return names;
}

QString valueOf(const ApplicationSettingsManager &settings, const std::string &key)
{
    return booleanKeys().count(key)
        ? QString::fromLatin1(settings.boolValue(key) ? "true" : "false")
        : QString::fromStdString(settings.stringValue(key));
}

// Why `value` cannot be `key`'s, or empty when it can.
QString refusal(const QString &key, const QString &value)
{
    const std::string k = key.toStdString();
    if (std::find(knownKeys().begin(), knownKeys().end(), k) == knownKeys().end()) {
        QStringList names;
        for (const std::string &known : knownKeys())
            names << QString::fromStdString(known);
        return QStringLiteral("unknown preference \"%1\"; the preferences are %2")
            .arg(Format::printable(key), names.join(QStringLiteral(", ")));
    }
    if (value.isNull())
        return {};
    if (booleanKeys().count(k) && value != QLatin1String("true") && value != QLatin1String("false"))
        return QStringLiteral("%1 is true or false, not \"%2\"").arg(key, Format::printable(value));
    if (k == SettingKeys::language && !localeNames().contains(value))
        return QStringLiteral("language \"%1\" is not one of %2")
            .arg(Format::printable(value), localeNames().join(QStringLiteral(", ")));
    return {};
}

void show(Context &context, const ApplicationSettingsManager &settings)
{
    std::set<std::string> keys(knownKeys().begin(), knownKeys().end());
    for (const std::string &key : settings.storedKeys())
        keys.insert(key);
    QJsonObject values;
    QString text;
    for (const std::string &key : keys) {
        const QString value = valueOf(settings, key);
        if (booleanKeys().count(key))
            values.insert(QString::fromStdString(key), value == QLatin1String("true"));
        else
            values.insert(QString::fromStdString(key), value);
        text += QStringLiteral("%1 = %2\n")
                    .arg(Format::printable(QString::fromStdString(key)), Format::printable(value));
    }
    text += QStringLiteral("(%1)\n").arg(Format::printable(settings.path()));
    printResult(
        context,
        { { QStringLiteral("prefs"), values }, { QStringLiteral("path"), settings.path() } }, text);
}

int run(Context &context)
{
    ApplicationSettingsManager &settings = context.app.settings();
    const QStringList &args = context.arguments;
    if (args.isEmpty()) {
        show(context, settings);
        return 0;
    }
    if (args.size() == 1) {
        // As `git config KEY`: the value alone, so a script can take it as it is.
        if (const QString why = refusal(args.first(), QString()); !why.isEmpty())
            return context.usageError(why);
        const std::string key = args.first().toStdString();
        const QString value = valueOf(settings, key);
        if (context.json())
            printResult(context,
                        { { args.first(),
                            booleanKeys().count(key) ? QJsonValue(value == QLatin1String("true"))
                                                     : QJsonValue(value) } },
                        {});
        else
            context.out << Format::printable(value) << '\n';
        return 0;
    }
    if (args.size() % 2 != 0)
        return context.usageError(QStringLiteral("prefs takes KEY VALUE pairs"));
    // Check every pair first, so a typo in the last one changes nothing.
    for (int i = 0; i < args.size(); i += 2) {
        if (const QString why = refusal(args.at(i), args.at(i + 1)); !why.isEmpty())
            return context.usageError(why);
    }
    int status = 0;
    QJsonObject changed;
    QString text;
    for (int i = 0; i < args.size() && status == 0; i += 2) {
        const std::string key = args.at(i).toStdString();
        const QString value = args.at(i + 1);
        try {
            if (booleanKeys().count(key)) {
                settings.setBool(key, value == QLatin1String("true"));
                changed.insert(args.at(i), value == QLatin1String("true"));
            } else {
                settings.setString(key, value.toStdString());
                changed.insert(args.at(i), value);
            }
            text += QStringLiteral("%1 = %2\n").arg(args.at(i), value);
        } catch (const std::exception &e) {
            // What was saved before the failure stays saved, and is reported as changed.
            status = context.failure(QString::fromStdString(e.what()));
        }
    }
    printResult(context, { { QStringLiteral("changed"), changed } }, text);
    letDeferredWorkRun();
    return status;
}

} // namespace

Command prefsCommand()
{
    Command command = tabledCommand(
        "prefs", QStringLiteral("[KEY [VALUE] ...]"),
        QStringLiteral("Show the preferences, one preference's value, or change them as the "
                       "preferences dialog does."),
        {}, run);
    command.details = QStringLiteral("Preferences: autoUpdate, dontShowNewProjectDialog and "
                                     "fastTrackEnabled (true or false); language (%1).")
                          .arg(localeNames().join(QStringLiteral(", ")));
    return command;
}

} // namespace Shell
