// editor-shell: constructs the logic layer's controllers once, on the real platform, the way the
// editor does, and drives them from the command line.

#include "Application/application.h"
#include "exitsignals.h"
#include "shellcontext.h"
#include "terminallog.h"

#include "tracking/eventstore.h"
#include "tracking/generalvanteltracker.h"
#include "tracking/sessiontracker.h"
#include "util/format.h"
#include "util/settingspaths.h"

#include <QApplication>
#include <QDir>
#include <QJsonDocument>

#include <glog/logging.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include <memory>

namespace {

QString usage()
{
    QString text = QStringLiteral("Usage: editor-shell [--data-dir DIR] [--events-out FILE] "
                                  "[--yes|--no] [--verbose] COMMAND [ARGS]\n\nCommands:\n");
    for (const Shell::Command &command : Shell::commands()) {
        const Shell::CommandHelp help = command.help();
        text += QStringLiteral("  %1  %2\n").arg(help.name.leftJustified(12), help.summary);
    }
    text += QStringLiteral("\n'editor-shell help COMMAND' (or COMMAND --help) explains a command "
                           "and its options.\n");
    return text;
}

const Shell::Command *findCommand(const QString &name)
{
    for (const Shell::Command &c : Shell::commands()) {
        if (name == QLatin1String(c.name))
            return &c;
    }
    return nullptr;
}

int unknownCommand(QTextStream &err, const QString &name)
{
    err << Shell::errorPrefix << "unknown command \"" << Format::printable(name)
        << "\"\nTry 'editor-shell --help'.\n";
    return Shell::usageExit;
}

// `help [COMMAND]`, and `help --markdown`: the README's table of every command's options.
int help(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    if (arguments.isEmpty()) {
        out << usage();
        return 0;
    }
    if (arguments == QStringList { QStringLiteral("--markdown") }) {
        out << "| command | what it does | options |\n|---|---|---|\n";
        for (const Shell::Command &command : Shell::commands())
            out << Shell::markdownRow(command.help()) << '\n';
        return 0;
    }
    const Shell::Command *command = findCommand(arguments.first());
    if (arguments.size() != 1 || !command)
        return unknownCommand(err, arguments.join(QLatin1Char(' ')));
    out << Shell::helpText(command->help(), Shell::globalOptions());
    return 0;
}

QCommandLineOption mirrored(const Shell::Option &option)
{
    return option.type == Shell::ValueType::Flag
        ? QCommandLineOption(option.name, option.help)
        : QCommandLineOption(option.name, option.help, option.shownValueName(),
                             option.defaultValue);
}

} // namespace

int main(int argc, char **argv)
{
    // Headless unless the user asked for a display: the shell drives the layer, it draws nothing
    // but `record --window`, which needs the desktop when there is one.
    const bool wantsWindow = std::any_of(
        argv, argv + argc, [](const char *arg) { return std::strcmp(arg, "--window") == 0; });
    const bool hasDisplay = !qEnvironmentVariableIsEmpty("DISPLAY")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && !(wantsWindow && hasDisplay))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt wants a private runtime folder and complains on every start without one (a bare ssh or CI
    // session); make the one it would fall back to, quietly.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QByteArray runtime
            = QDir::tempPath().toUtf8() + "/runtime-" + QByteArray::number(getuid());
        QDir().mkpath(QString::fromUtf8(runtime));
        QFile::setPermissions(QString::fromUtf8(runtime),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", runtime);
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("editor-shell"));
    QApplication::setOrganizationName(QStringLiteral("editor"));

    QTextStream out(stdout);
    QTextStream err(stderr);

    const QStringList all = QApplication::arguments().mid(1);
    const Shell::ParsedLine leading = Shell::parseLine(Shell::globalOptions(), all, true);
    if (!leading.error.isEmpty()) {
        err << Shell::errorPrefix << leading.error << "\nTry 'editor-shell --help'.\n";
        return Shell::usageExit;
    }
    QStringList rest = leading.arguments;
    if (leading.help && rest.isEmpty()) {
        out << usage();
        return 0;
    }
    const QString name = rest.isEmpty() ? QStringLiteral("status") : rest.takeFirst();
    if (name == QLatin1String("help"))
        return help(rest, out, err);
    const Shell::Command *command = findCommand(name);
    if (!command)
        return unknownCommand(err, name);
    const QString hint = QStringLiteral("\nTry 'editor-shell help %1'.\n").arg(name);

    // The command's own options and the global ones, which may also follow the command's name.
    Shell::OptionTable table = command->options;
    table.insert(table.end(), Shell::globalOptions().begin(), Shell::globalOptions().end());
    QCommandLineParser parser;
    Shell::OptionValues values;
    QStringList positional;
    if (command->tabled) {
        const Shell::ParsedLine line = Shell::parseLine(table, rest);
        if (!line.error.isEmpty()) {
            err << Shell::errorPrefix << line.error << hint;
            if (command->refusedJson && rest.contains(QStringLiteral("--json")))
                out << QJsonDocument(command->refusedJson(line.error))
                           .toJson(QJsonDocument::Compact)
                    << '\n';
            return Shell::usageExit;
        }
        if (line.help || leading.help) {
            out << Shell::helpText(command->help(), Shell::globalOptions());
            return 0;
        }
        values = line.options;
        positional = line.arguments;
        // The same options on a toolkit parser, for code that still asks one.
        for (const Shell::Option &option : table)
            parser.addOption(mirrored(option));
        parser.parse(QStringList { QApplication::arguments().first() } + rest);
    } else {
        for (const Shell::Option &option : Shell::globalOptions())
            parser.addOption(mirrored(option));
        parser.addHelpOption();
        if (command->declareOptions)
            command->declareOptions(parser);
        if (!parser.parse(QStringList { QApplication::arguments().first() } + rest)) {
            err << Shell::errorPrefix << parser.errorText() << hint;
            return Shell::usageExit;
        }
        if (parser.isSet(QStringLiteral("help")) || leading.help) {
            out << "Usage: editor-shell " << command->synopsis << "\n\n" << parser.helpText();
            return 0;
        }
        for (const Shell::Option &option : Shell::globalOptions()) {
            if (parser.isSet(option.name))
                values.given[option.name] = parser.values(option.name);
        }
        positional = parser.positionalArguments();
    }
    auto globalSet = [&](const QString &option) {
        return values.isSet(option) || leading.options.isSet(option);
    };
    auto globalValue = [&](const QString &option) {
        return values.isSet(option) ? values.text(option) : leading.options.text(option);
    };
    const QString dataDirOption = QStringLiteral("data-dir");
    const QString eventsOutOption = QStringLiteral("events-out");
    const QString verboseOption = QStringLiteral("verbose");
    const QString yesOption = QStringLiteral("yes");
    const QString noOption = QStringLiteral("no");

    google::InitGoogleLogging(argv[0]);
    Shell::TerminalLog terminalLog(globalSet(verboseOption));

    try {
        Settings::setDataFolder(globalSet(dataDirOption) ? globalValue(dataDirOption)
                                                         : Settings::dataFolder());
    } catch (const std::exception &e) {
        err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what())) << "\n";
        return 1;
    }
    FLAGS_log_dir = QDir(Settings::dataFolder()).filePath(QStringLiteral("logs")).toStdString();
    QDir().mkpath(QString::fromStdString(FLAGS_log_dir));
    // However much a run has to say, its log goes to a new file every 8 MB, and files older than
    // three days go: the logs folder stays bounded run after run.
    FLAGS_max_log_size = 8;
    google::EnableLogCleaner(3);

    // Before the application: a signal during its start-up is a clean exit too.
    Shell::ExitSignals exitSignals;
    std::unique_ptr<App::Application> application;
    try {
        App::Options options;
        options.eventsOut = globalValue(eventsOutOption);
        options.services.setFlag(App::Service::Collection, command->collection);
        application = std::make_unique<App::Application>(std::move(options));
        application->startTracking();
    } catch (const std::exception &e) {
        err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what())) << "\n";
        return 1;
    }

    exitSignals.setCleanUp(
        [&app = *application, session = Vantel::Tracking::getSessionTrackerInstance()] {
            app.tracker().sendEvent(Vantel::Tracking::GeneralVantelTracker::APP_EXIT, {});
            app.eventStore()->flush();
            if (session)
                session->endSession();
        });

    Shell::Context context {
        *application, parser, positional, Shell::Answer::Ask, out, err, values
    };
    if (globalSet(yesOption))
        context.answer = Shell::Answer::Yes;
    else if (globalSet(noOption))
        context.answer = Shell::Answer::No;

    int status = 1;
    try {
        status = command->run(context);
    } catch (const std::exception &e) {
        const Shell::TerminalLog::Told told;
        LOG(ERROR) << name.toStdString() << " failed: " << e.what();
        err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what())) << "\n";
    }
    // From here the application is taken apart: a signal now only waits for that to finish.
    exitSignals.setCleanUp([session = Vantel::Tracking::getSessionTrackerInstance()] {
        if (session)
            session->endSession();
    });
    application.reset();
    return status;
}
