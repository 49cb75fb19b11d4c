// Commands about usage statistics: the stored events, the user's switch, the upload to a
// collector, and the run's status.

#include "Application/application.h"
#include "exitsignals.h"
#include "shellcontext.h"
#include "statisticsrequest.h"

#include "tracking/eventstore.h"
#include "tracking/sessiontracker.h"
#include "tracking/uploader.h"
#include "util/format.h"
#include "util/settingspaths.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <glog/logging.h>
#include <sys/stat.h>

#include <chrono>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

namespace Shell {

namespace {

QString paramsText(const std::map<std::string, std::string> &params)
{
    QStringList parts;
    for (const auto &[key, value] : params)
        parts << QString::fromStdString(key) + QLatin1Char('=')
                + Format::printable(QString::fromStdString(value));
    return parts.join(QStringLiteral(", "));
}

void printEvent(QTextStream &out, const Vantel::Tracking::StoredEvent &e, bool json)
{
    if (json) {
        QJsonObject params;
        for (const auto &[key, value] : e.params)
            params.insert(QString::fromStdString(key), QString::fromStdString(value));
        const QJsonObject line { { QStringLiteral("id"), e.id },
                                 { QStringLiteral("event"), QString::fromStdString(e.name) },
                                 { QStringLiteral("params"), params },
                                 { QStringLiteral("time"), e.timeMs },
                                 { QStringLiteral("session"), QString::fromStdString(e.session) } };
        out << QJsonDocument(line).toJson(QJsonDocument::Compact) << '\n';
        return;
    }
    const QString when = QDateTime::fromMSecsSinceEpoch(e.timeMs).toString(Qt::ISODate);
    out << QStringLiteral("%1  %2  %3  %4")
               .arg(e.id, 6)
               .arg(when)
               .arg(QString::fromStdString(e.session).left(8))
               .arg(QString::fromStdString(e.name), -28)
        << paramsText(e.params) << '\n';
}

// The store's warning at start-up already said why; nothing to add but the failure.
bool storeMissing(const Vantel::Tracking::EventStore &store)
{
    return !store.isAvailable();
}

int runEvents(Context &c)
{
    Vantel::Tracking::EventStore &store = *c.app.eventStore();
    if (storeMissing(store))
        return 1;
    // This run's own start events are part of the record.
    store.flush();
    const bool json = c.json();
    const std::size_t limit = c.options.isSet(QStringLiteral("limit"))
        ? static_cast<std::size_t>(c.options.integer(QStringLiteral("limit")))
        : std::numeric_limits<std::size_t>::max();
    const auto stored = store.events();
    qint64 after = stored.empty() ? 0 : stored.back().id;
    for (std::size_t i = stored.size() > limit ? stored.size() - limit : 0; i < stored.size(); ++i)
        printEvent(c.out, stored[i], json);
    c.out.flush();
    if (!c.options.isSet(QStringLiteral("follow")))
        return 0;

    // Another editor may set a damaged store aside and start a new one, whose ids begin again:
    // a new file is followed from its first event.
    const QByteArray storePath = QFile::encodeName(store.path());
    const auto fileIdentity = [&] {
        struct stat info { };
        return ::stat(storePath.constData(), &info) == 0 ? std::make_pair(info.st_dev, info.st_ino)
                                                         : std::make_pair(dev_t(0), ino_t(0));
    };
    auto identity = fileIdentity();
    while (!ExitSignals::exitRequested()) {
        QThread::msleep(200);
        const auto now = fileIdentity();
        if (now != identity) {
            identity = now;
            after = 0;
        }
        try {
            for (const auto &e : store.events(after)) {
                printEvent(c.out, e, json);
                after = e.id;
            }
        } catch (const std::exception &e) {
            // Between a file set aside and its successor there is a moment without a store.
            VLOG(1) << e.what();
        }
        c.out.flush();
    }
    // Interrupted, as every command that Ctrl+C or SIGTERM ends.
    return 128 + ExitSignals::receivedSignal();
}

QJsonValue textOrNull(const std::string &text)
{
    return text.empty() ? QJsonValue() : QJsonValue(QString::fromStdString(text));
}

QJsonObject uploadJson(const Vantel::Tracking::UploadStatus &status)
{
    return { { QStringLiteral("collector"), textOrNull(status.collector) },
             { QStringLiteral("pending"), status.pending },
             { QStringLiteral("sent"), status.sent },
             { QStringLiteral("rejected"), status.rejected },
             { QStringLiteral("result"), QString::fromStdString(status.result) },
             { QStringLiteral("error"), QString::fromStdString(status.error) },
             { QStringLiteral("retryIn"),
               status.retryIn ? QJsonValue(double(status.retryIn->count()) / 1000.0)
                              : QJsonValue() } };
}

int runStatistics(Context &c)
{
    const auto parsed
        = parseStatisticsRequest(c.arguments, c.json(),
                                 c.options.isSet(QStringLiteral("wait"))
                                     ? std::optional(c.options.text(QStringLiteral("wait")))
                                     : std::nullopt);
    if (const auto *usage = std::get_if<QString>(&parsed))
        return c.usageError(*usage);
    const StatisticsRequest &request = std::get<StatisticsRequest>(parsed);
    Vantel::Tracking::EventStore &store = *c.app.eventStore();
    if (storeMissing(store))
        return 1;
    Vantel::Tracking::Uploader &uploader = *c.app.uploader();
    switch (request.action) {
    case StatisticsRequest::Action::On:
    case StatisticsRequest::Action::Off: {
        const bool on = request.action == StatisticsRequest::Action::On;
        c.app.setStatisticsEnabled(on);
        c.out << (on ? "Usage statistics are on: events are stored on this machine.\n"
                     : "Usage statistics are off: stored events were deleted and none will be "
                       "kept.\n");
        return 0;
    }
    case StatisticsRequest::Action::Upload:
        try {
            uploader.setCollector(request.collector);
        } catch (const std::invalid_argument &e) {
            return c.usageError(QString::fromUtf8(e.what()));
        }
        c.out << "Usage events are sent to " << QString::fromStdString(uploader.status().collector)
              << " as OpenTelemetry logs" << (store.isEnabled() ? "" : " once statistics are on")
              << ".\n";
        return 0;
    case StatisticsRequest::Action::UploadOff:
        uploader.clearCollector();
        c.out << "Usage events are no longer sent; " << uploader.status().pending
              << " unsent stay on this machine.\n";
        return 0;
    case StatisticsRequest::Action::Flush:
        break;
    }
    Vantel::Tracking::UploadStatus status
        = uploader.flush(request.wait, [] { return ExitSignals::exitRequested(); });
    const bool off = status.collector.empty() || status.result == "off";
    const QString result = off ? QStringLiteral("off")
        : status.pending == 0  ? QStringLiteral("ok")
                               : QStringLiteral("failed");
    if (request.json) {
        const QJsonObject line { { QStringLiteral("collector"), textOrNull(status.collector) },
                                 { QStringLiteral("sent"), status.sent },
                                 { QStringLiteral("pending"), status.pending },
                                 { QStringLiteral("rejected"), status.rejected },
                                 { QStringLiteral("result"), result },
                                 { QStringLiteral("error"),
                                   QString::fromStdString(status.error) } };
        c.out << QJsonDocument(line).toJson(QJsonDocument::Compact) << '\n';
    } else {
        c.out << "Collector: "
              << (status.collector.empty() ? QStringLiteral("none")
                                           : QString::fromStdString(status.collector))
              << "\nSent: " << status.sent << "  pending: " << status.pending
              << "  rejected: " << status.rejected << "\nResult: " << result << '\n';
        if (!status.error.empty())
            c.out << "Error: " << QString::fromStdString(status.error) << '\n';
    }
    return status.pending == 0 ? 0 : 1;
}

int runStatus(Context &c)
{
    Vantel::Tracking::EventStore &store = *c.app.eventStore();
    store.flush();
    const auto session = Vantel::Tracking::getSessionTrackerInstance();
    const QString sessionId
        = QString::fromStdString(session ? session->sessionId() : std::string());
    const bool json = c.json();
    const bool available = !storeMissing(store);
    const qint64 stored = available ? store.count() : 0;
    std::optional<Vantel::Tracking::UploadStatus> upload;
    if (c.app.uploader())
        upload = c.app.uploader()->status();
    if (json) {
        QJsonObject object { { QStringLiteral("dataFolder"), Settings::dataFolder() },
                             { QStringLiteral("session"), sessionId },
                             { QStringLiteral("statistics"), store.isEnabled() ? "on" : "off" },
                             { QStringLiteral("store"), store.path() },
                             { QStringLiteral("storeProblem"), textOrNull(store.problem()) },
                             { QStringLiteral("stored"), stored },
                             { QStringLiteral("dropped"), store.droppedCount() },
                             { QStringLiteral("upload"),
                               upload ? QJsonValue(uploadJson(*upload)) : QJsonValue() } };
        c.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
        return 0;
    }
    c.out << "Data folder:        " << Settings::dataFolder() << '\n'
          << "Session:            " << sessionId << '\n'
          << "Usage statistics:   " << (store.isEnabled() ? "on" : "off") << '\n';
    if (!available) {
        c.out << "Events stored:      none, the store cannot be used\n"
              << "Event store:        " << store.path() << '\n';
        return 0;
    }
    c.out << "Events stored:      " << stored << '\n'
          << "Events dropped:     " << store.droppedCount() << '\n'
          << "Event store:        " << store.path() << '\n';
    if (!upload)
        return 0;
    if (upload->collector.empty()) {
        c.out << "Upload:             off (statistics upload URL names a collector)\n";
    } else {
        c.out << "Upload:             to " << QString::fromStdString(upload->collector) << '\n'
              << "Upload counts:      pending " << upload->pending << ", sent " << upload->sent
              << ", rejected " << upload->rejected << '\n'
              << "Last upload:        " << QString::fromStdString(upload->result);
        if (upload->retryIn)
            c.out << ", next try in " << (upload->retryIn->count() + 999) / 1000 << " s";
        c.out << '\n';
        if (!upload->error.empty())
            c.out << "Upload error:       " << QString::fromStdString(upload->error) << '\n';
    }
    return 0;
}

} // namespace

Command eventsCommand()
{
    return tabledCommand(
        "events", QString(),
        QStringLiteral("The usage events stored on this machine, newest last."),
        { flag(QStringLiteral("follow"),
               QStringLiteral("Keep printing new events until interrupted (exit 128 + the "
                              "signal's number).")),
          integer(QStringLiteral("limit"), QStringLiteral("Only the newest N events."), 0,
                  std::numeric_limits<int>::max()) },
        runEvents);
}

Command statisticsCommand()
{
    return tabledCommand(
        "statistics", QStringLiteral("on|off|upload URL|upload off|flush"),
        QStringLiteral("Turn usage statistics on or off, name the collector they are sent to, or "
                       "send what is pending now."),
        { seconds(QStringLiteral("wait"),
                  QStringLiteral("flush: wait at most this long for the collector (default 10)."),
                  0, 3600) },
        runStatistics);
}

Command statusCommand()
{
    return tabledCommand(
        "status", QString(),
        QStringLiteral("The data folder, the session, the event store and the upload."), {},
        runStatus);
}

} // namespace Shell
