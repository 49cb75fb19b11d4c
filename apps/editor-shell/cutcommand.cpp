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

const QCommandLineOption atOption(QStringLiteral("at"),
                                  QStringLiteral("Where to cut, in seconds."),
                                  QStringLiteral("SECONDS"));
const QCommandLineOption wideOption(QStringLiteral("wide"),
                                    QStringLiteral("Cut the clips of every track there."));

int run(Context &context)
{
    double seconds = 0;
    if (context.arguments.size() != 1 || !context.parser.isSet(atOption)) {
        context.err << "Usage: editor-shell cut PROJECT --at SECONDS [--wide] [--json]\n";
        return 2;
    }
    if (!secondsOption(context, atOption, &seconds) || !openForEditing(context))
        return 1;
    const MTime at = MTime::fromSec(seconds);
    const bool wide = context.parser.isSet(wideOption);
    Timeline::Model &timeline = context.app.project().timeline();

    QJsonArray cuts;
    QString text;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        Timeline::Clip *clip = timeline.clipAt(t, at);
        // A position on a clip's first frame is already a cut.
        if (!clip || clip->position() == at)
            continue;
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
        context.err << "editor-shell: no clip to cut at " << at.toClockString() << '\n';
        return 1;
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
    return { "cut", "cut PROJECT --at SECONDS [--wide] [--json]  split the clips under a position",
             [](QCommandLineParser &parser) {
                 parser.addOptions({ atOption, wideOption, jsonOutputOption });
             },
             run };
}

} // namespace Shell
