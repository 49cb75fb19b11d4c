// `config` and `links`: the remote settings the editor would use, with where each value came
// from, and the link keys with their addresses.

#include "Application/application.h"
#include "exitsignals.h"
#include "shellcontext.h"

#include "Constants/urlkeys.h"
#include "WebConfig/iwebconfigprovider.h"
#include "WebConfig/settings.h"

#include "customization/customization.h"
#include "util/format.h"
#include "webconfig/iconfigcontroller.h"
#include "webconfig/webconfigfactory.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace Shell {

namespace {

using namespace Vantel::App::WebConfig;

QString sourceText(std::optional<ValueSource> source)
{
    switch (source.value_or(ValueSource::Default)) {
    case ValueSource::Cached:
        return QStringLiteral("cached");
    case ValueSource::Fetched:
        return QStringLiteral("fetched");
    case ValueSource::Default:
        break;
    }
    return QStringLiteral("default");
}

QString resultText(FetchStatus::Result result)
{
    switch (result) {
    case FetchStatus::Result::Ok:
        return QStringLiteral("ok");
    case FetchStatus::Result::NotModified:
        return QStringLiteral("not-modified");
    case FetchStatus::Result::Failed:
        return QStringLiteral("failed");
    case FetchStatus::Result::None:
        break;
    }
    return QStringLiteral("none");
}

struct Row {
    QString section;
    QString key;
    QJsonValue value;
    QString text;
    QString source;
};

// One row per setting of the four objects: the three fixed keys with the value the object
// answers, and every key the AI-model section holds.
std::vector<Row> rows(IConfigController *controller)
{
    using namespace EditorWebConfig;
    std::vector<Row> result;
    auto sourceOf = [&](const char *section, const std::string &key) {
        const auto manager = controller ? controller->settingsManager(section) : nullptr;
        return sourceText(manager ? manager->source(key) : std::nullopt);
    };
    const bool effects = provideCollectionSettings()->needLoadExternalEffects();
    result.push_back({ QLatin1String(CollectionSettings::section),
                       QLatin1String(CollectionSettings::key), effects,
                       effects ? QStringLiteral("true") : QStringLiteral("false"),
                       sourceOf(CollectionSettings::section, CollectionSettings::key) });
    const bool gpu = provideCoreSettings()->fullGpuDecoders();
    result.push_back({ QLatin1String(CoreSettings::section), QLatin1String(CoreSettings::key), gpu,
                       gpu ? QStringLiteral("true") : QStringLiteral("false"),
                       sourceOf(CoreSettings::section, CoreSettings::key) });
    const bool util
        = provideFastTrackSettings()->fastTrackImplementation() == FastTrackImplementation::Util;
    const QString fastTrack = util ? QStringLiteral("Util") : QStringLiteral("Default");
    result.push_back({ QLatin1String(FastTrackSettings::section),
                       QLatin1String(FastTrackSettings::key), fastTrack, fastTrack,
                       sourceOf(FastTrackSettings::section, FastTrackSettings::key) });
    const auto models = provideAIModelSettings();
    const auto manager
        = controller ? controller->settingsManager(AIModelSettings::section) : nullptr;
    for (const std::string &key : manager ? manager->keys() : std::vector<std::string>()) {
        const QString url = models->getUrlFromKey(key);
        result.push_back({ QLatin1String(AIModelSettings::section), QString::fromStdString(key),
                           url, url, sourceOf(AIModelSettings::section, key) });
    }
    return result;
}

int runConfig(Context &context)
{
    const double seconds = context.options.number(QStringLiteral("wait"));
    const auto controller = activeController();
    if (!controller)
        return context.failure(QStringLiteral("the web configuration is not set up"));
    bool interrupted = false;
    const auto interrupts = ExitSignals::take([&interrupted] { interrupted = true; });
    const QDeadlineTimer limit(static_cast<qint64>(seconds * 1000));
    while (controller->fetchStatus().inFlight && !limit.hasExpired() && !interrupted)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);

    const FetchStatus fetch = controller->fetchStatus();
    const QString result = fetch.inFlight ? QStringLiteral("none") : resultText(fetch.result);
    const QString error = fetch.inFlight ? QStringLiteral("still in flight") : fetch.error;
    const std::vector<Row> settings = rows(controller.get());
    if (context.json()) {
        QJsonArray list;
        for (const Row &row : settings)
            list.append(QJsonObject { { QStringLiteral("section"), row.section },
                                      { QStringLiteral("key"), row.key },
                                      { QStringLiteral("value"), row.value },
                                      { QStringLiteral("source"), row.source } });
        QJsonObject fetchObject { { QStringLiteral("url"), fetch.url.toString() },
                                  { QStringLiteral("result"), result },
                                  { QStringLiteral("error"), error } };
        if (fetch.finishedAt.isValid())
            fetchObject.insert(QStringLiteral("time"),
                               fetch.finishedAt.toString(Qt::ISODateWithMs));
        context.out << QJsonDocument(QJsonObject { { QStringLiteral("settings"), list },
                                                   { QStringLiteral("fetch"), fetchObject } })
                           .toJson(QJsonDocument::Compact)
                    << '\n';
        return 0;
    }
    for (const Row &row : settings)
        context.out << row.section << '.' << Format::printable(row.key) << " = "
                    << Format::printable(row.text) << "  (" << row.source << ")\n";
    context.out << "fetch: " << result;
    if (!fetch.url.isEmpty())
        context.out << " from " << Format::printable(fetch.url.toDisplayString());
    if (fetch.finishedAt.isValid())
        context.out << " at " << fetch.finishedAt.toString(Qt::ISODate);
    if (!error.isEmpty())
        context.out << ": " << Format::printable(error);
    context.out << '\n';
    return 0;
}

int runLinks(Context &context)
{
    const QString config = Customization::productConfigPath();
    const bool json = context.json();
    const QHash<QString, QUrl> links = Customization::configuredLinks();
    QJsonArray list;
    for (const auto &[key, name] : Vantel::urlKeyTable()) {
        const QUrl url = links.value(name);
        if (json) {
            QJsonObject row { { QStringLiteral("key"), name },
                              { QStringLiteral("value"), static_cast<int>(key) },
                              { QStringLiteral("url"), url.toString() } };
            row.insert(QStringLiteral("from"), url.isEmpty() ? QJsonValue() : QJsonValue(config));
            list.append(row);
        } else if (!url.isEmpty()) {
            context.out << static_cast<int>(key) << ' ' << name << " = "
                        << Format::printable(url.toDisplayString()) << '\n';
        }
    }
    if (json) {
        context.out << QJsonDocument(list).toJson(QJsonDocument::Compact) << '\n';
        return 0;
    }
    context.out << "(from " << Format::printable(config)
                << "; keys without an address are not listed)\n";
    return 0;
}

} // namespace

Command configCommand()
{
    return tabledCommand(
        "config", QString(),
        QStringLiteral("The remote settings with their values and where each came from, and "
                       "the fetch's outcome."),
        { seconds(QStringLiteral("wait"),
                  QStringLiteral("Wait at most this long for the fetch in flight (Ctrl+C stops "
                                 "waiting)."),
                  0, 3600)
              .withDefault(QStringLiteral("5")) },
        runConfig);
}

Command linksCommand()
{
    return tabledCommand("links", QString(),
                         QStringLiteral("The link keys that have an address, and the product "
                                        "configuration they came from."),
                         {}, runLinks);
}

} // namespace Shell
