#pragma once

#include <QCommandLineParser>
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
};

struct Command {
    const char *name;
    const char *synopsis; // one line for the help text
    // Declares the command's own options on the parser before the arguments are parsed.
    std::function<void(QCommandLineParser &)> declareOptions;
    std::function<int(Context &)> run;
    // Whether the command works on the content collection. The others start without it, so they
    // neither read the lists nor fetch fresh copies they would never show.
    bool collection = false;
};

// Every command of the shell, in the order the help lists them.
const std::vector<Command> &commands();

} // namespace Shell
