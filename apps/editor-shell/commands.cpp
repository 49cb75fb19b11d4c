#include "shellcontext.h"

#include "util/format.h"

namespace Shell {

Command censusCommand();
Command clipCommand();
Command collectionCommand();
Command cutCommand();
Command configCommand();
Command eventsCommand();
Command exportCommand();
Command frameCommand();
Command importCommand();
Command linksCommand();
Command prefsCommand();
Command projectCommand();
Command recordCommand();
Command statisticsCommand();
Command statusCommand();
Command transitionsCommand();

const std::vector<Command> &commands()
{
    static const std::vector<Command> all = {
        statusCommand(), eventsCommand(),      statisticsCommand(), projectCommand(),
        importCommand(), prefsCommand(),       censusCommand(),     clipCommand(),
        cutCommand(),    transitionsCommand(), configCommand(),     linksCommand(),
        recordCommand(), collectionCommand(),  exportCommand(),     frameCommand(),
    };
    return all;
}

Option jsonOption()
{
    return flag(QStringLiteral("json"), QStringLiteral("Print the result as JSON."));
}

const OptionTable &globalOptions()
{
    static const OptionTable table = {
        path(QStringLiteral("data-dir"), QStringLiteral("Keep all state under DIR."),
             QStringLiteral("DIR")),
        path(QStringLiteral("events-out"),
             QStringLiteral("Write every usage event of this run to FILE as JSON lines."),
             QStringLiteral("FILE")),
        flag(QStringLiteral("yes"), QStringLiteral("Answer every question with yes.")),
        flag(QStringLiteral("no"), QStringLiteral("Answer every question with no.")),
        flag(QStringLiteral("verbose"),
             QStringLiteral("Log informational messages to the terminal.")),
    };
    return table;
}

Command tabledCommand(const char *name,
                      const QString &arguments,
                      const QString &summary,
                      OptionTable options,
                      std::function<int(Context &)> run,
                      bool json)
{
    Command command { name, nullptr, {}, std::move(run) };
    if (json)
        options.push_back(jsonOption());
    command.options = std::move(options);
    command.arguments = arguments;
    command.summary = summary;
    command.json = json;
    command.tabled = true;
    return command;
}

CommandHelp Command::help() const
{
    if (tabled)
        return { QString::fromLatin1(name), arguments, summary, &options, details };
    // A command without a table has only its one-line synopsis: "NAME ARGS  what it does".
    const QString line = QString::fromUtf8(synopsis);
    const int gap = line.indexOf(QStringLiteral("  "));
    const QString head = gap < 0 ? line : line.left(gap);
    return { QString::fromLatin1(name), head.mid(static_cast<int>(qstrlen(name))).trimmed(),
             gap < 0 ? QString() : line.mid(gap).trimmed(), nullptr, details };
}

int Context::usageError(const QString &message)
{
    err << errorPrefix << message << '\n';
    return usageExit;
}

int Context::failure(const QString &message)
{
    err << errorPrefix << message << '\n';
    return 1;
}

} // namespace Shell
