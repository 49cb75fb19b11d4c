// `project`: make, open and save project files the way the editor's File menu does, with the
// reports the editor sends ("PROJECT_OPENED", "PROJECT_SAVED").

#include "Application/application.h"
#include "outputguard.h"
#include "projectactions.h"
#include "shellcontext.h"

#include "project/project.h"
#include "util/settingspaths.h"

namespace Shell {

namespace {

const QCommandLineOption asOption(QStringLiteral("as"),
                                  QStringLiteral("Save under FILE instead."),
                                  QStringLiteral("FILE"));
const QCommandLineOption
    portableOption(QStringLiteral("portable"),
                   QStringLiteral("Save with media paths relative to the project file."));

bool checkProjectPath(Context &context, const QString &path)
{
    if (Settings::isProjectFilePath(path))
        return true;
    context.err << "editor-shell: " << path << " does not end in ."
                << Settings::projectFileExtension() << '\n';
    return false;
}

int run(Context &context)
{
    const QStringList &args = context.arguments;
    const QString verb = args.value(0);
    if (args.size() != 2
        || (verb != QLatin1String("new") && verb != QLatin1String("open")
            && verb != QLatin1String("save"))) {
        context.err << "Usage: editor-shell project new|open|save FILE [--as OTHER] [--portable]\n";
        return 2;
    }
    const QString file = args.at(1);
    const bool portable = context.parser.isSet(portableOption);

    if (verb == QLatin1String("new")) {
        if (!checkProjectPath(context, file))
            return 2;
        if (!lockProject(context, file))
            return 1;
        context.app.setProject(Project::Object::createNew());
        return saveProject(context, file, portable) ? 0 : 1;
    }
    if (verb == QLatin1String("open"))
        return openProject(context, file, true) ? 0 : 1;

    const QString target = context.parser.isSet(asOption) ? context.parser.value(asOption) : file;
    if (!checkProjectPath(context, target))
        return 2;
    if (!lockProject(context, target) || !openProject(context, file, false))
        return 1;
    return saveProject(context, target, portable) ? 0 : 1;
}

} // namespace

Command projectCommand()
{
    return {
        "project",
        "project new|open|save FILE [--as OTHER] [--portable]  make, show or save a project file",
        [](QCommandLineParser &parser) {
            parser.addOption(asOption);
            parser.addOption(portableOption);
        },
        run
    };
}

} // namespace Shell
