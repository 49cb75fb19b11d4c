// `cut`: the blade on a saved project. The normal blade cuts the topmost track that has a clip
// under the position; the wide blade cuts every track there.

#include "Application/application.h"
#include "editing.h"

#include "Statistics/bladestatistics.h"
#include "Statistics/istatistics.h"

#include "project/project.h"
#include "timeline/timeline.h"

#include <QJsonArray>
#include <QJsonObject>

namespace Shell {

namespace {

int run(Context &context)
{
    if (context.arguments.size() != 1)
        return context.usageError(QStringLiteral("cut takes one PROJECT"));
    if (!openForEditing(context))
        return 1;
    const MTime at = context.options.time(QStringLiteral("at"));
    const bool wide = context.options.isSet(QStringLiteral("wide"));
    Timeline::Model &timeline = context.app.project().timeline();

    QJsonArray cuts;
    QString text;
    QStringList edges;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        Timeline::Clip *clip = timeline.clipAt(t, at);
        if (!clip)
            continue;
        // A position on a clip's first frame is already a cut; cutting there would leave a piece
        // with no length.
        if (clip->position() == at) {
            edges << QStringLiteral("clip %1 on track %2").arg(clip->id()).arg(t);
            if (!wide)
                break;
            continue;
        }
        const Timeline::Clip &right = timeline.splitClip(clip->id(), at);
        cuts.append(QJsonObject { { QStringLiteral("track"), t },
                                  { QStringLiteral("clip"), static_cast<qint64>(clip->id()) },
                                  { QStringLiteral("newClip"), static_cast<qint64>(right.id()) } });
        text += QStringLiteral("Cut clip %1 on track %2 at %3; the rest is clip %4\n")
                    .arg(clip->id())
                    .arg(t)
                    .arg(at.toClockString())
                    .arg(right.id());
        if (!wide)
            break;
    }
    if (cuts.isEmpty()) {
        if (!edges.isEmpty())
            return context.failure(QStringLiteral("%1 is the edge of %2: nothing to cut there")
                                       .arg(at.toClockString(), edges.join(QStringLiteral(", "))));
        return context.failure(QStringLiteral("no clip to cut at ") + at.toClockString());
    }
    Statistics::statistics()->bladeStatistics()->bladeApplied(wide ? Statistics::BladeMode::Wide
                                                                   : Statistics::BladeMode::Normal);
    if (!saveForEditing(context))
        return 1;
    printResult(context, { { QStringLiteral("cuts"), cuts } }, text);
    return 0;
}

} // namespace

Command cutCommand()
{
    return tabledCommand(
        "cut", QStringLiteral("PROJECT"),
        QStringLiteral("Split the clips under a position (the blade)."),
        { position(QStringLiteral("at"),
                   QStringLiteral("Where to cut, as `project open` shows times; kept to the "
                                  "millisecond."))
              .needed(),
          flag(QStringLiteral("wide"), QStringLiteral("Cut the clips of every track there.")) },
        run);
}

} // namespace Shell
