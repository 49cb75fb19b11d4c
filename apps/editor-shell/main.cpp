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
#include <optional>

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

// Headless unless the user asked for a display: the shell drives the layer, it draws nothing but
// `record --window`, which needs the desktop when there is one.
void chooseDisplay(int argc, char **argv)
{
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
}

// A command's line, parsed: its option values (the global ones included), its positional
// arguments, and the same on a toolkit parser for code that still asks one.
struct CommandLine {
    QCommandLineParser parser;
    Shell::OptionValues values;
    QStringList positional;
};

// Parses what follows the command's name; nothing when the command is to run, else the status
// to end with (a usage error, or the help printed).
std::optional<int> parseCommandLine(const Shell::Command &command,
                                    const QString &name,
                                    const QStringList &rest,
                                    bool helpAsked,
                                    CommandLine &line,
                                    QTextStream &out,
                                    QTextStream &err)
{
    const QString hint = QStringLiteral("\nTry 'editor-shell help %1'.\n").arg(name);
    const QString program = QApplication::arguments().first();
    // The command's own options and the global ones, which may also follow the command's name.
    Shell::OptionTable table = command.options;
    table.insert(table.end(), Shell::globalOptions().begin(), Shell::globalOptions().end());
    if (command.tabled) {
        const Shell::ParsedLine parsed = Shell::parseLine(table, rest);
        if (!parsed.error.isEmpty()) {
            err << Shell::errorPrefix << parsed.error << hint;
            if (command.refusedJson && rest.contains(QStringLiteral("--json")))
                out << QJsonDocument(command.refusedJson(parsed.error))
                           .toJson(QJsonDocument::Compact)
                    << '\n';
            return Shell::usageExit;
        }
        if (parsed.help || helpAsked) {
            out << Shell::helpText(command.help(), Shell::globalOptions());
            return 0;
        }
        line.values = parsed.options;
        line.positional = parsed.arguments;
        for (const Shell::Option &option : table)
            line.parser.addOption(mirrored(option));
        line.parser.parse(QStringList { program } + rest);
        return std::nullopt;
    }
    for (const Shell::Option &option : Shell::globalOptions())
        line.parser.addOption(mirrored(option));
    line.parser.addHelpOption();
    if (command.declareOptions)
        command.declareOptions(line.parser);
    if (!line.parser.parse(QStringList { program } + rest)) {
        err << Shell::errorPrefix << line.parser.errorText() << hint;
        return Shell::usageExit;
    }
    if (line.parser.isSet(QStringLiteral("help")) || helpAsked) {
        out << "Usage: editor-shell " << command.synopsis << "\n\n" << line.parser.helpText();
        return 0;
    }
    for (const Shell::Option &option : Shell::globalOptions()) {
        if (line.parser.isSet(option.name))
            line.values.given[option.name] = line.parser.values(option.name);
    }
    line.positional = line.parser.positionalArguments();
    return std::nullopt;
}

// Makes `folder` the data folder and keeps the run's log in it. False, with the reason told, when
// it cannot be used.
bool openDataFolder(const QString &folder, QTextStream &err)
{
    try {
        Settings::setDataFolder(folder);
    } catch (const std::exception &e) {
        err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what())) << "\n";
        return false;
    }
    FLAGS_log_dir = QDir(Settings::dataFolder()).filePath(QStringLiteral("logs")).toStdString();
    QDir().mkpath(QString::fromStdString(FLAGS_log_dir));
    // However much a run has to say, its log goes to a new file every 8 MB, and files older than
    // three days go: the logs folder stays bounded run after run.
    FLAGS_max_log_size = 8;
    google::EnableLogCleaner(3);
    return true;
}

// The application the command runs in, its tracking begun; null, with the reason told, when it
// cannot start.
std::unique_ptr<App::Application>
startApplication(const QString &eventsOut, bool collection, QTextStream &err)
{
    try {
        App::Options options;
        options.eventsOut = eventsOut;
        options.services.setFlag(App::Service::Collection, collection);
        auto application = std::make_unique<App::Application>(std::move(options));
        application->startTracking();
        return application;
    } catch (const std::exception &e) {
        err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what())) << "\n";
        return nullptr;
    }
}

// Runs the command; a failure it throws is logged and told, and ends the run with 1.
int runCommand(const Shell::Command &command, Shell::Context &context, const QString &name)
{
    try {
        return command.run(context);
    } catch (const std::exception &e) {
        const Shell::TerminalLog::Told told;
        LOG(ERROR) << name.toStdString() << " failed: " << e.what();
        context.err << Shell::errorPrefix << Format::printable(QString::fromLocal8Bit(e.what()))
                    << "\n";
        return 1;
    }
}

} // namespace

int main(int argc, char **argv)
{
    chooseDisplay(argc, argv);
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
    CommandLine line;
    if (const std::optional<int> status
        = parseCommandLine(*command, name, rest, leading.help, line, out, err))
        return *status;
    // Global options may stand before the command's name or after it.
    auto globalSet = [&](const char *option) {
        return line.values.isSet(QLatin1String(option))
            || leading.options.isSet(QLatin1String(option));
    };
    auto globalValue = [&](const char *option) {
        return line.values.isSet(QLatin1String(option))
            ? line.values.text(QLatin1String(option))
            : leading.options.text(QLatin1String(option));
    };

    google::InitGoogleLogging(argv[0]);
    Shell::TerminalLog terminalLog(globalSet("verbose"));
    if (!openDataFolder(globalSet("data-dir") ? globalValue("data-dir") : Settings::dataFolder(),
                        err))
        return 1;

    // Before the application: a signal during its start-up is a clean exit too.
    Shell::ExitSignals exitSignals;
    std::unique_ptr<App::Application> application
        = startApplication(globalValue("events-out"), command->collection, err);
    if (!application)
        return 1;
    exitSignals.setCleanUp(
        [&app = *application, session = Vantel::Tracking::getSessionTrackerInstance()] {
            app.tracker().sendEvent(Vantel::Tracking::GeneralVantelTracker::APP_EXIT, {});
            app.eventStore()->flush();
            if (session)
                session->endSession();
        });

    Shell::Context context { *application, line.parser, line.positional, Shell::Answer::Ask,
                             out,          err,         line.values };
    if (globalSet("yes"))
        context.answer = Shell::Answer::Yes;
    else if (globalSet("no"))
        context.answer = Shell::Answer::No;
    const int status = runCommand(*command, context, name);
    // From here the application is taken apart: a signal now only waits for that to finish.
    exitSignals.setCleanUp([session = Vantel::Tracking::getSessionTrackerInstance()] {
        if (session)
            session->endSession();
    });
    application.reset();
    return status;
}
