// editor-shell: constructs the logic layer's controllers once, on the real platform, the way the
// editor does, and drives them from the command line.

#include "Application/application.h"
#include "exitsignals.h"
#include "shellcontext.h"
#include "terminallog.h"

#include "tracking/eventstore.h"
#include "tracking/generalvanteltracker.h"
#include "tracking/sessiontracker.h"
#include "util/settingspaths.h"

#include <QApplication>
#include <QDir>

#include <glog/logging.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include <memory>

namespace {

const QCommandLineOption dataDirOption(QStringLiteral("data-dir"),
                                       QStringLiteral("Keep all state under DIR."),
                                       QStringLiteral("DIR"));
const QCommandLineOption
    eventsOutOption(QStringLiteral("events-out"),
                    QStringLiteral("Write every usage event of this run to FILE as JSON lines."),
                    QStringLiteral("FILE"));
const QCommandLineOption yesOption(QStringLiteral("yes"),
                                   QStringLiteral("Answer every question with yes."));
const QCommandLineOption noOption(QStringLiteral("no"),
                                  QStringLiteral("Answer every question with no."));
const QCommandLineOption
    verboseOption(QStringLiteral("verbose"),
                  QStringLiteral("Log informational messages to the terminal."));

void addGlobalOptions(QCommandLineParser &parser)
{
    parser.addOption(dataDirOption);
    parser.addOption(eventsOutOption);
    parser.addOption(yesOption);
    parser.addOption(noOption);
    parser.addOption(verboseOption);
    parser.addHelpOption();
}

QString usage()
{
    QString text = QStringLiteral("Usage: editor-shell [--data-dir DIR] [--events-out FILE] "
                                  "[--yes|--no] COMMAND [ARGS]\n\nCommands:\n");
    for (const Shell::Command &command : Shell::commands())
        text += QStringLiteral("  %1\n").arg(QString::fromUtf8(command.synopsis));
    return text;
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

    QCommandLineParser global;
    addGlobalOptions(global);
    global.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    global.addPositionalArgument(QStringLiteral("command"), QStringLiteral("What to do."));
    if (!global.parse(QApplication::arguments())) {
        err << global.errorText() << "\n" << usage();
        return 2;
    }
    QStringList rest = global.positionalArguments();
    if (global.isSet(QStringLiteral("help")) && rest.isEmpty()) {
        out << usage();
        return 0;
    }
    const QString name = rest.isEmpty() ? QStringLiteral("status") : rest.takeFirst();
    const Shell::Command *command = nullptr;
    for (const Shell::Command &c : Shell::commands()) {
        if (name == QLatin1String(c.name))
            command = &c;
    }
    if (!command) {
        err << "Unknown command: " << name << "\n" << usage();
        return 2;
    }

    // The command's own parser also takes the global options, so they may follow the command.
    QCommandLineParser parser;
    addGlobalOptions(parser);
    if (command->declareOptions)
        command->declareOptions(parser);
    if (!parser.parse(QStringList { QApplication::arguments().first() } + rest)) {
        err << parser.errorText() << "\n" << usage();
        return 2;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << "editor-shell " << command->synopsis << "\n\n" << parser.helpText();
        return 0;
    }
    auto globalValue = [&](const QCommandLineOption &option) {
        return parser.isSet(option) ? parser.value(option) : global.value(option);
    };
    auto globalSet = [&](const QCommandLineOption &option) {
        return parser.isSet(option) || global.isSet(option);
    };

    google::InitGoogleLogging(argv[0]);
    Shell::TerminalLog terminalLog(globalSet(verboseOption));

    try {
        Settings::setDataFolder(globalSet(dataDirOption) ? globalValue(dataDirOption)
                                                         : Settings::dataFolder());
    } catch (const std::exception &e) {
        err << "editor-shell: " << e.what() << "\n";
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
        err << "editor-shell: " << e.what() << "\n";
        return 1;
    }

    exitSignals.setCleanUp(
        [&app = *application, session = Vantel::Tracking::getSessionTrackerInstance()] {
            app.tracker().sendEvent(Vantel::Tracking::GeneralVantelTracker::APP_EXIT, {});
            app.eventStore()->flush();
            if (session)
                session->endSession();
        });

    Shell::Context context { *application,       parser, parser.positionalArguments(),
                             Shell::Answer::Ask, out,    err };
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
        err << "editor-shell: " << e.what() << "\n";
    }
    // From here the application is taken apart: a signal now only waits for that to finish.
    exitSignals.setCleanUp([session = Vantel::Tracking::getSessionTrackerInstance()] {
        if (session)
            session->endSession();
    });
    application.reset();
    return status;
}
