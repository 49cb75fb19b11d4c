// `project`: make, open and save project files the way the editor's File menu does, with the
// reports the editor sends ("PROJECT_OPENED", "PROJECT_SAVED").

#include "Application/application.h"
#include "editing.h"
#include "outputguard.h"
#include "projectactions.h"
#include "shellcontext.h"

#include "project/project.h"
#include "util/format.h"
#include "util/settingspaths.h"

namespace Shell {

namespace {

bool checkProjectPath(Context &context, const QString &path)
{
    if (Settings::isProjectFilePath(path))
        return true;
    context.usageError(QStringLiteral("%1 does not end in .%2")
                           .arg(Format::printable(path), Settings::projectFileExtension()));
    return false;
}

int run(Context &context)
{
    const QStringList &args = context.arguments;
    const QString verb = args.value(0);
    if (args.size() != 2
        || (verb != QLatin1String("new") && verb != QLatin1String("open")
            && verb != QLatin1String("save"))) {
        return context.usageError(QStringLiteral("project takes new, open or save and one FILE"));
    }
    const QString file = args.at(1);
    const bool portable = context.options.isSet(QStringLiteral("portable"));
    if (context.options.isSet(QStringLiteral("as")) && verb != QLatin1String("save"))
        return context.usageError(QStringLiteral("--as goes with project save"));
    if (verb == QLatin1String("open"))
        return openProject(context, file, true) ? 0 : 1;

    // With --json the lines for people go to the error stream; the output says what was saved.
    Context quiet { context.app, context.parser, context.arguments, context.answer,
                    context.err, context.err,    context.options };
    Context &report = context.json() ? quiet : context;
    auto save = [&](const QString &target) {
        if (!saveProject(report, target, portable))
            return 1;
        printResult(context, { { QStringLiteral("saved"), target } }, {});
        return 0;
    };
    if (verb == QLatin1String("new")) {
        if (!checkProjectPath(context, file))
            return 2;
        if (!lockProject(context, file))
            return 1;
        context.app.setProject(Project::Object::createNew());
        return save(file);
    }

    const QString target = context.options.isSet(QStringLiteral("as"))
        ? context.options.text(QStringLiteral("as"))
        : file;
    if (!checkProjectPath(context, target))
        return 2;
    if (!lockProject(context, target) || !openProject(report, file, false))
        return 1;
    return save(target);
}

} // namespace

Command projectCommand()
{
    return tabledCommand(
        "project", QStringLiteral("new|open|save FILE"),
        QStringLiteral("Make, show or save a project file, as the File menu does."),
        { path(QStringLiteral("as"), QStringLiteral("With save: save under OTHER instead."),
               QStringLiteral("OTHER")),
          flag(QStringLiteral("portable"),
               QStringLiteral("Save with media paths relative to the project file.")) },
        run);
}

} // namespace Shell
