// `census`: what the export button does before the export dialog opens: "EXPORT_CLICKED" with the
// census of the whole project, printed as it was sent.

#include "Application/application.h"
#include "editing.h"

#include "Statistics/exportstatistics.h"
#include "Statistics/istatistics.h"

#include "export/exportstate.h"
#include "project/project.h"
#include "tracking/generalvanteltracker.h"

#include <QJsonObject>

#include <memory>

namespace Shell {

namespace {

const QCommandLineOption
    partialOption(QStringLiteral("partial"),
                  QStringLiteral("Export only from FROM to TO seconds (TO follows the project)."),
                  QStringLiteral("FROM"));
const QCommandLineOption magnetOption(QStringLiteral("magnet"),
                                      QStringLiteral("The timeline's magnet is on."));

// Keeps the census as the tracker sent it, fillers included.
class CensusCatcher : public Vantel::Tracking::IEventSink {
public:
    void consume(const Vantel::Tracking::TrackedEvent &event) override
    {
        if (event.name == "EXPORT_CLICKED")
            params = event.params;
    }
    std::map<std::string, std::string> params;
};

int run(Context &context)
{
    const QStringList &args = context.arguments;
    const bool partial = context.parser.isSet(partialOption);
    if (args.size() != (partial ? 2 : 1)) {
        context.err << "Usage: editor-shell census PROJECT [--partial FROM TO] [--magnet] "
                       "[--json]\n";
        return 2;
    }
    Export::ExportRange range;
    if (partial) {
        bool fromOk = false;
        bool toOk = false;
        const double from = context.parser.value(partialOption).toDouble(&fromOk);
        const double to = args.at(1).toDouble(&toOk);
        if (!fromOk || !toOk || !(from >= 0) || !(to > from) || to > 1e9) {
            context.err << "editor-shell: --partial needs FROM and TO seconds with FROM < TO\n";
            return 2;
        }
        range = Export::ExportRange::partial(MTime::fromSec(from), MTime::fromSec(to));
    }
    if (!openForEditing(context))
        return 1;

    auto catcher = std::make_shared<CensusCatcher>();
    context.app.tracker().addSink(catcher);
    Statistics::statistics()->exportStatistics()->exportClicked(
        &context.app.project().timeline(), range, context.parser.isSet(magnetOption));
    context.app.tracker().removeSink(catcher);

    QJsonObject params;
    QString text = QStringLiteral("EXPORT_CLICKED\n");
    for (const auto &[key, value] : catcher->params) {
        params.insert(QString::fromStdString(key), QString::fromStdString(value));
        text += QStringLiteral("  %1  %2\n")
                    .arg(QString::fromStdString(key), -30)
                    .arg(QString::fromStdString(value));
    }
    printResult(context,
                { { QStringLiteral("event"), QStringLiteral("EXPORT_CLICKED") },
                  { QStringLiteral("params"), params } },
                text);
    return 0;
}

} // namespace

Command censusCommand()
{
    return { "census",
             "census PROJECT [--partial FROM TO] [--magnet] [--json]  the export click's census",
             [](QCommandLineParser &parser) {
                 parser.addOption(partialOption);
                 parser.addOption(magnetOption);
                 parser.addOption(jsonOutputOption);
             },
             run };
}

} // namespace Shell
