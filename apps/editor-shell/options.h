#pragma once

// The shell's option layer: a command states each of its options once, typed, in a table, and
// the same table parses the command line, checks every value before the command runs, writes
// `COMMAND --help`, `help COMMAND` and the README's command table. Pure functions of their
// arguments, so a command's parsing is tested without starting the program.

#include "util/mtime.h"

#include <QString>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

namespace Shell {

// Every usage error and every failure the shell reports starts so.
inline constexpr char errorPrefix[] = "editor-shell: ";
// The exit status of a usage error: the command line was wrong, nothing ran.
inline constexpr int usageExit = 2;

enum class ValueType {
    Flag, // no value
    Seconds, // a decimal number of seconds in [min, max], kept to the millisecond
    Percent, // a whole percent in [min, max]
    Integer, // a whole number in [min, max]
    Range, // FROM-TO: two numbers of seconds in [min, max], FROM before TO
    Choice, // one of `choices`, exactly as spelled
    Path, // a file name, taken as given
    Text, // any text
};

struct Option {
    QString name; // without the dashes
    ValueType type = ValueType::Flag;
    QString help;
    QString valueName; // what the synopsis shows for the value; by type when empty
    double min = 0;
    double max = 0;
    QStringList choices;
    QString defaultValue; // used when the option is not given; empty: none
    bool repeatable = false;
    bool required = false;

    // The value's name as help and synopsis show it.
    QString shownValueName() const;
    // What a value must be, as a sentence part: "a number of seconds from 0 to 86400".
    QString expected() const;

    Option &withDefault(const QString &value);
    Option &withValueName(const QString &name);
    Option &many(); // may be given more than once
    Option &needed(); // the command cannot run without it
};

Option flag(const QString &name, const QString &help);
Option seconds(const QString &name, const QString &help, double min, double max);
// A position on the timeline, in seconds: every command takes the same range.
Option position(const QString &name, const QString &help);
// A length in seconds, from 0 to a day.
Option duration(const QString &name, const QString &help);
Option percent(const QString &name, const QString &help, int min, int max);
Option integer(const QString &name, const QString &help, int min, int max);
Option range(const QString &name, const QString &help);
Option choice(const QString &name, const QString &help, const QStringList &choices);
Option path(const QString &name, const QString &help, const QString &valueName);
Option text(const QString &name, const QString &help, const QString &valueName);

using OptionTable = std::vector<Option>;

// The longest timeline position an option takes, in seconds.
double maxPositionSeconds();
// A number of seconds as the timeline holds it: rounded, not cut, to the millisecond, so a time
// copied from the shell's own output names that very millisecond.
MTime timeFromSeconds(double seconds);

struct TimeRange {
    MTime from;
    MTime to;
};

// The options of one parsed command line, checked against their table.
class OptionValues {
public:
    bool isSet(const QString &name) const;
    // The last value given, else the default; empty for a flag.
    QString text(const QString &name) const;
    // Every value given, in order (repeatable options).
    QStringList texts(const QString &name) const;
    // Seconds, Percent and Integer options; 0 when neither given nor defaulted.
    double number(const QString &name) const;
    int integer(const QString &name) const;
    MTime time(const QString &name) const;
    TimeRange range(const QString &name) const;

    std::map<QString, QStringList> given; // name -> values as typed (a flag holds one empty)
    std::map<QString, QString> defaults;
};

struct ParsedLine {
    OptionValues options;
    QStringList arguments; // the positional ones
    bool help = false; // --help or -h was asked for
    QString error; // a usage error, one line, without the prefix; empty when the line is good
};

// Parses `arguments` (everything after the command name) against `table`. The first problem
// found is the error: an unknown option, a missing or unexpected value, a value out of range or
// a required option missing. An option given once takes its last value. "--" ends the options.
// With `stopAtArgument` the first positional argument and all after it are left unparsed in
// `arguments` (the options before a command name).
ParsedLine
parseLine(const OptionTable &table, const QStringList &arguments, bool stopAtArgument = false);

// The message for a value an option cannot take, in the one form every command uses.
QString valueError(const Option &option, const QString &value);

// A command's description for help and the README.
struct CommandHelp {
    QString name;
    QString arguments; // the positional part of the synopsis, e.g. "PROJECT"
    QString summary; // one sentence
    const OptionTable *options = nullptr;
    QString details; // further lines for `help COMMAND`, may be empty
};

// "cut PROJECT --at SECONDS [--wide] [--json]"
QString synopsis(const CommandHelp &command);
// What `COMMAND --help` and `help COMMAND` print.
QString helpText(const CommandHelp &command, const OptionTable &globalOptions);
// The README's row of a command: "| `synopsis` | summary; options |".
QString markdownRow(const CommandHelp &command);

} // namespace Shell
