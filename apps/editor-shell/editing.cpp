#include "editing.h"

#include "Application/application.h"
#include "outputguard.h"
#include "projectactions.h"

#include "project/project.h"
#include "timeline/timeline.h"
#include "util/format.h"

#include <QJsonDocument>

namespace Shell {

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
            context.usageError(
                QStringLiteral("no clip \"%1\" on the timeline").arg(Format::printable(part)));
            return {};
        }
        if (seen.insert(id).second)
            clips.push_back(clip);
    }
    if (clips.empty())
        context.usageError(QStringLiteral("--clips names no clip"));
    return clips;
}

namespace {

Context quietContext(Context &context)
{
    return { context.app, context.parser, context.arguments, context.answer,
             context.err, context.err,    context.options };
}

} // namespace

bool openForEditing(Context &context)
{
    return lockProject(context, context.arguments.value(0)) && openForReading(context);
}

bool openForReading(Context &context)
{
    if (!context.json())
        return openProject(context, context.arguments.value(0), false);
    Context quiet = quietContext(context);
    return openProject(quiet, context.arguments.value(0), false);
}

bool saveForEditing(Context &context)
{
    if (!context.json())
        return saveProject(context, context.arguments.value(0));
    Context quiet = quietContext(context);
    return saveProject(quiet, context.arguments.value(0));
}

void printResult(Context &context, const QJsonObject &json, const QString &text)
{
    if (context.json())
        context.out << QJsonDocument(json).toJson(QJsonDocument::Compact) << '\n';
    else
        context.out << text;
}

} // namespace Shell
