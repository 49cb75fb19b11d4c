// `prefs`: the user's preferences, shown or changed the way the preferences dialog does. Changes
// made in one call are reported as one "PREF_CHANGED", once the event loop has had its pass.

#include "Application/application.h"
#include "shellcontext.h"

#include "appsettings/applicationsettingsmanager.h"
#include "util/scheduler.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

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

void show(Context &context, const ApplicationSettingsManager &settings)
{
    std::set<std::string> keys(booleanKeys());
    keys.insert(SettingKeys::language);
    for (const std::string &key : settings.storedKeys())
        keys.insert(key);
    for (const std::string &key : keys) {
        const QString value = booleanKeys().count(key)
            ? QString::fromLatin1(settings.boolValue(key) ? "true" : "false")
            : QString::fromStdString(settings.stringValue(key));
        context.out << QString::fromStdString(key) << " = " << value << '\n';
    }
    context.out << "(" << settings.path() << ")\n";
}

int run(Context &context)
{
    ApplicationSettingsManager &settings = context.app.settings();
    const QStringList &args = context.arguments;
    if (args.isEmpty()) {
        show(context, settings);
        return 0;
    }
    if (args.size() % 2 != 0) {
        context.err << "Usage: editor-shell prefs [KEY VALUE ...]\n";
        return 2;
    }
    // Check every pair first, so a typo in the last one changes nothing.
    for (int i = 0; i < args.size(); i += 2) {
        const std::string key = args.at(i).toStdString();
        const QString value = args.at(i + 1);
        if (key.empty()) {
            context.err << "editor-shell: a preference needs a name\n";
            return 2;
        }
        if (booleanKeys().count(key) && value != QLatin1String("true")
            && value != QLatin1String("false")) {
            context.err << "editor-shell: " << args.at(i) << " is true or false, not " << value
                        << '\n';
            return 2;
        }
    }
    int status = 0;
    for (int i = 0; i < args.size() && status == 0; i += 2) {
        const std::string key = args.at(i).toStdString();
        const QString value = args.at(i + 1);
        bool isNumber = false;
        const int number = value.toInt(&isNumber);
        try {
            if (booleanKeys().count(key) || value == QLatin1String("true")
                || value == QLatin1String("false"))
                settings.setBool(key, value == QLatin1String("true"));
            else if (isNumber && key != SettingKeys::language)
                settings.setInt(key, number);
            else
                settings.setString(key, value.toStdString());
            context.out << args.at(i) << " = " << value << '\n';
        } catch (const std::exception &e) {
            // What was saved before the failure stays saved, and is reported as changed.
            context.err << "editor-shell: " << e.what() << '\n';
            status = 1;
        }
    }
    letDeferredWorkRun();
    return status;
}

} // namespace

Command prefsCommand()
{
    return { "prefs", "prefs [KEY VALUE ...]  show or change preferences", {}, run };
}

} // namespace Shell
