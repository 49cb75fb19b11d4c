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
    if (context.arguments.size() != 1)
        return context.usageError(QStringLiteral("census takes one PROJECT"));
    Export::ExportRange range;
    if (context.options.isSet(QStringLiteral("partial"))) {
        const TimeRange partial = context.options.range(QStringLiteral("partial"));
        range = Export::ExportRange::partial(partial.from, partial.to);
    }
    if (!openForEditing(context))
        return 1;

    auto catcher = std::make_shared<CensusCatcher>();
    context.app.tracker().addSink(catcher);
    Statistics::statistics()->exportStatistics()->exportClicked(
        &context.app.project().timeline(), range, context.options.isSet(QStringLiteral("magnet")));
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
    return tabledCommand(
        "census", QStringLiteral("PROJECT"),
        QStringLiteral("What the export button does first: sends \"EXPORT_CLICKED\" with the "
                       "project's census, and prints it."),
        { range(QStringLiteral("partial"), QStringLiteral("The census of a part export.")),
          flag(QStringLiteral("magnet"), QStringLiteral("The timeline's magnet is on.")) },
        run);
}

} // namespace Shell
