#pragma once

#include "options.h"

#include <QCommandLineParser>
#include <QJsonObject>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <vector>

namespace App {
class Application;
}

namespace Shell {

// How a scripted run answers the layer's questions.
enum class Answer { Ask, Yes, No };

// What every command gets: its own parsed options and arguments, the global choices, and the
// terminal. The application-wide objects (tracker, controllers) are set up by main before a
// command runs and live until it returns.
struct Context {
    App::Application &app;
    QCommandLineParser &parser; // already holds the global options and the command's own
    QStringList arguments; // positional arguments after the command name
    Answer answer = Answer::Ask;
    QTextStream &out;
    QTextStream &err;
    // The command's options, checked against its table before it runs.
    OptionValues options {};

    // Whether the result is wanted as JSON (--json).
    bool json() const { return options.isSet(QStringLiteral("json")); }
    // A usage error found while running (a clip id the project lacks, options that exclude each
    // other): the message in the one form every usage error has, and the status to return.
    int usageError(const QString &message);
    // A failure: the message with the shell's prefix on the error stream; returns 1.
    int failure(const QString &message);
};

struct Command {
    const char *name;
    const char *synopsis; // one line for the help text
    // Declares the command's own options on the parser before the arguments are parsed. Only a
    // command without a table declares them so.
    std::function<void(QCommandLineParser &)> declareOptions;
    std::function<int(Context &)> run;
    // Whether the command works on the content collection. The others start without it, so they
    // neither read the lists nor fetch fresh copies they would never show.
    bool collection = false;
    // The option table: parsing, checks and help follow from it (`--json` is added when `json`).
    OptionTable options {}; // `--json` included when the command takes it
    QString arguments {}; // the positional part of the synopsis
    QString summary {}; // one sentence for help and the README
    QString details {}; // further lines for `help COMMAND`
    bool json = false; // takes --json
    bool tabled = false; // parsed by the option layer from `options`
    // For a command whose --json answers with an object every time: the object a script gets
    // when the command line is refused before the command runs.
    std::function<QJsonObject(const QString &error)> refusedJson {};

    // The command as help and the README describe it.
    CommandHelp help() const;
};

// A command parsed by its option table.
Command tabledCommand(const char *name,
                      const QString &arguments,
                      const QString &summary,
                      OptionTable options,
                      std::function<int(Context &)> run,
                      bool json = true);

// The options every command takes, before or after its name.
const OptionTable &globalOptions();

// The `--json` option as every command that takes it declares it.
Option jsonOption();

// Every command of the shell, in the order the help lists them.
const std::vector<Command> &commands();

} // namespace Shell
