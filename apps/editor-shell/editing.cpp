#include "editing.h"

#include "Application/application.h"
#include "outputguard.h"
#include "projectactions.h"

#include "project/project.h"
#include "timeline/timeline.h"

#include <QJsonDocument>

#include <cmath>

namespace Shell {

const QCommandLineOption jsonOutputOption(QStringLiteral("json"),
                                          QStringLiteral("Print the result as one JSON object."));
const QCommandLineOption clipsOption(QStringLiteral("clips"),
                                     QStringLiteral("The clips to change, by id: N,M,..."),
                                     QStringLiteral("IDS"));

std::vector<Timeline::Clip *>
selectedClips(Context &context, Timeline::Model &timeline, const QString &list)
{
    std::vector<Timeline::Clip *> clips;
    std::set<Timeline::ClipId> seen;
    for (const QString &part : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qulonglong id = part.trimmed().toULongLong(&ok);
        Timeline::Clip *clip = ok ? timeline.findClip(id) : nullptr;
        if (!clip) {
            context.err << "editor-shell: no clip \"" << part << "\" on the timeline\n";
            return {};
        }
        if (seen.insert(id).second)
            clips.push_back(clip);
    }
    if (clips.empty())
        context.err << "editor-shell: --clips names no clip\n";
    return clips;
}

namespace {

Context quietContext(Context &context)
{
    return { context.app,    context.parser, context.arguments,
             context.answer, context.err,    context.err };
}

} // namespace

bool openForEditing(Context &context)
{
    return lockProject(context, context.arguments.value(0)) && openForReading(context);
}

bool openForReading(Context &context)
{
    if (!context.parser.isSet(jsonOutputOption))
        return openProject(context, context.arguments.value(0), false);
    Context quiet = quietContext(context);
    return openProject(quiet, context.arguments.value(0), false);
}

bool saveForEditing(Context &context)
{
    if (!context.parser.isSet(jsonOutputOption))
        return saveProject(context, context.arguments.value(0));
    Context quiet = quietContext(context);
    return saveProject(quiet, context.arguments.value(0));
}

void printResult(Context &context, const QJsonObject &json, const QString &text)
{
    if (context.parser.isSet(jsonOutputOption))
        context.out << QJsonDocument(json).toJson(QJsonDocument::Compact) << '\n';
    else
        context.out << text;
}

bool secondsOption(Context &context, const QCommandLineOption &option, double *seconds)
{
    bool ok = false;
    const QString text = context.parser.value(option);
    *seconds = text.toDouble(&ok);
    if (ok && std::isfinite(*seconds) && *seconds >= 0 && *seconds < 86400)
        return true;
    context.err << "editor-shell: --" << option.names().first() << " \"" << text
                << "\" is not a number of seconds from 0 to 86400\n";
    return false;
}

} // namespace Shell
