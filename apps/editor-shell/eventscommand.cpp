// Commands about usage statistics: the stored events, the user's switch, and the run's status.

#include "Application/application.h"
#include "exitsignals.h"
#include "shellcontext.h"

#include "tracking/eventstore.h"
#include "tracking/sessiontracker.h"
#include "util/format.h"
#include "util/settingspaths.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <glog/logging.h>
#include <sys/stat.h>

#include <limits>
#include <utility>

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

int runStatistics(Context &c)
{
    Vantel::Tracking::EventStore &store = *c.app.eventStore();
    if (c.arguments.size() != 1
        || (c.arguments[0] != QLatin1String("on") && c.arguments[0] != QLatin1String("off")))
        return c.usageError(QStringLiteral("statistics takes on or off"));
    const bool on = c.arguments[0] == QLatin1String("on");
    if (storeMissing(store))
        return 1;
    store.flush();
    store.setEnabled(on);
    c.out << (on ? "Usage statistics are on: events are stored on this machine.\n"
                 : "Usage statistics are off: stored events were deleted and none will be kept.\n");
    return 0;
}

int runStatus(Context &c)
{
    Vantel::Tracking::EventStore &store = *c.app.eventStore();
    store.flush();
    const auto session = Vantel::Tracking::getSessionTrackerInstance();
    c.out << "Data folder:        " << Settings::dataFolder() << '\n'
          << "Session:            "
          << QString::fromStdString(session ? session->sessionId() : std::string()) << '\n'
          << "Usage statistics:   " << (store.isEnabled() ? "on" : "off") << '\n';
    if (storeMissing(store)) {
        c.out << "Events stored:      none, the store cannot be used\n"
              << "Event store:        " << store.path() << '\n';
        return 0;
    }
    c.out << "Events stored:      " << store.count() << '\n'
          << "Events dropped:     " << store.droppedCount() << '\n'
          << "Event store:        " << store.path() << '\n';
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
    return tabledCommand("statistics", QStringLiteral("on|off"),
                         QStringLiteral("Turn usage statistics on or off."), {}, runStatistics,
                         false);
}

Command statusCommand()
{
    return tabledCommand("status", QString(),
                         QStringLiteral("The data folder, the session and the event store."), {},
                         runStatus, false);
}

} // namespace Shell
