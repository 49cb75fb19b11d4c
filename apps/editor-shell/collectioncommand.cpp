// `collection`: the content collection as the editor fills it at start (cached lists, fresh
// downloads, the featured shelf), and what the collection panel does with it: install, search,
// filter, delete and favour items, each sending the panel's events.

#include "exitsignals.h"
#include "shellcontext.h"

#include "Application/application.h"
#include "Collection/catalogueprotocol.h"
#include "Collection/iteminstaller.h"
#include "Collection/usermarks.h"
#include "Constants/locales.h"
#include "Constants/urlkeys.h"
#include "Statistics/collectionstatistics.h"
#include "Statistics/istatistics.h"

#include "collection/categories.h"
#include "collection/collection.h"
#include "dialogs/terminalprogress.h"
#include "downloader/localfile.h"
#include "downloader/resourcemanager.h"
#include "translator/translator.h"
#include "util/format.h"
#include "util/fs.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <map>
#include <optional>
#include <vector>

namespace Shell {

namespace {

using namespace EditorCollection;
using Statistics::ItemInstallResult;

// The options by name; the command's table declares them.
const QString jsonOption = QStringLiteral("json");
const QString localeOption = QStringLiteral("locale");
const QString inOption = QStringLiteral("in");

struct Download {
    QString url;
    int result;
};

Statistics::ICollectionStatistics *reporter()
{
    Statistics::IStatistics *statistics = Statistics::statistics();
    return statistics ? statistics->collectionStatistics() : nullptr;
}

bool isFree(const IItem &item)
{
    const auto info = item.externalResourceInfo();
    return !info || info->status == ExternalResourceStatus::Free;
}

// Lets the content controllers start as the editor does once it has settled, and waits for the
// downloads they start (Ctrl+C stops waiting). Items deleted by the user are taken out, except
// those named in `spared` (an install brings a deleted item back); the rest get their favourite
// and installed marks.
std::vector<Download>
loadCollection(Context &context, const UserMarks &marks, const QStringList &spared)
{
    std::vector<Download> downloads;
    CatalogueProtocol *catalogue = context.app.catalogue();
    if (!catalogue)
        return downloads;
    Downloader::ResourceManager &manager = Downloader::ResourceManager::instance();
    // The collection's own lists; the remote configuration fetches beside them.
    const QList<QUrl> lists = { Vantel::appUrl(Vantel::COLLECTIONS_EXTERNAL_AUDIO_URL),
                                Vantel::appUrl(Vantel::COLLECTIONS_EXTERNAL_EFFECTS_URL),
                                Vantel::appUrl(Vantel::COLLECTIONS_TRENDING_REQUEST_URL) };
    QObject guard;
    QObject::connect(
        &manager, &Downloader::ResourceManager::transferFinished, &guard,
        [&](const Downloader::DownloadParams &params, const Downloader::DownloadReport &report) {
            if (lists.contains(params.url))
                downloads.push_back({ params.url.toString(), report.code });
        });
    QElapsedTimer clock;
    clock.start();
    // The application starts the collection on the loop's first pass, as the editor does once
    // it has settled; the downloads it queues start on the pass after.
    bool started = false;
    QObject::connect(catalogue, &CatalogueProtocol::catalogueListRetrieved, &guard,
                     [&] { started = true; });
    const QDeadlineTimer startLimit(5000);
    while (!started && !startLimit.hasExpired() && !ExitSignals::exitRequested())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    QCoreApplication::processEvents();
    while ((manager.activeCount() > 0 || manager.queuedCount() > 0)
           && !ExitSignals::exitRequested())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    QCoreApplication::processEvents();

    std::uint64_t count = 0;
    ItemStorage &storage = CollectionProvider::itemStorage();
    for (const QString &name : storage.collectionNames()) {
        const std::shared_ptr<Collection> collection = storage.collection(name);
        std::vector<QString> deleted;
        for (const ItemPtr &item : collection->items()) {
            if (marks.isDeleted(name, item->uniqueId()) && !spared.contains(item->uniqueId())) {
                deleted.push_back(item->uniqueId());
                continue;
            }
            if (marks.isFavorite(name, item->uniqueId()))
                item->setFavorite(true);
            if (!item->isInstalled() && installedOnDisk(*item))
                item->setInstalled(true);
        }
        for (const QString &id : deleted)
            collection->removeItem(id);
        count += collection->size();
    }
    if (auto *statistics = reporter())
        statistics->loadFinished(MTime::fromMSec(clock.elapsed()), count);
    return downloads;
}

// Collections to show: the one named by --in, else every one that has items.
std::vector<std::shared_ptr<Collection>> chosenCollections(Context &context, bool *unknown)
{
    std::vector<std::shared_ptr<Collection>> result;
    ItemStorage &storage = CollectionProvider::itemStorage();
    const QString only = context.parser.value(inOption);
    for (const QString &name : storage.collectionNames()) {
        const auto collection = storage.collection(name);
        if (only.isEmpty() ? collection->size() > 0 : name == only)
            result.push_back(collection);
    }
    *unknown = !only.isEmpty() && result.empty();
    return result;
}

// The collections a listing shows; none after saying so when --in names no collection.
std::optional<std::vector<std::shared_ptr<Collection>>> listedCollections(Context &context)
{
    bool unknown = false;
    auto collections = chosenCollections(context, &unknown);
    if (unknown) {
        context.err << "editor-shell: no collection "
                    << Format::printable(context.parser.value(inOption)) << '\n';
        return std::nullopt;
    }
    return collections;
}

QString title(const IItem &item, const QString &locale)
{
    const auto info = item.externalResourceInfo();
    const QString tag = info ? info->tag : QString();
    const QString text = Translator::translation(tag, locale);
    return text.isEmpty() ? tag : text;
}

QJsonObject itemJson(const IItem &item, const QString &locale)
{
    const auto info = item.externalResourceInfo();
    return QJsonObject {
        { QStringLiteral("uniqueId"), item.uniqueId() },
        { QStringLiteral("tag"), info ? info->tag : QString() },
        { QStringLiteral("title"), title(item, locale) },
        { QStringLiteral("categories"), QJsonArray::fromStringList(item.categories()) },
        { QStringLiteral("featured"), item.hasCategory(CategoryID::FEATURED) },
        { QStringLiteral("favorite"), item.isFavorite() },
        { QStringLiteral("localPath"), item.localPath() },
        { QStringLiteral("installed"), item.isInstalled() },
        { QStringLiteral("remoteSize"), static_cast<double>(item.remoteSize()) },
        { QStringLiteral("status"),
          isFree(item) ? QStringLiteral("free") : QStringLiteral("paid") },
        { QStringLiteral("author"), info ? info->author : QString() },
        { QStringLiteral("licenseName"), info ? info->licenseName : QString() },
    };
}

void printItem(QTextStream &out, const IItem &item, const QString &locale)
{
    const auto info = item.externalResourceInfo();
    out << "  " << Format::printable(item.uniqueId()) << "  "
        << Format::printable(title(item, locale));
    if (item.hasCategory(CategoryID::FEATURED))
        out << "  [featured]";
    if (item.isFavorite())
        out << "  [favourite]";
    out << "\n    " << (isFree(item) ? "free" : "paid");
    if (info && !info->licenseName.isEmpty())
        out << ", " << Format::printable(info->licenseName);
    if (info && !info->author.isEmpty())
        out << ", by " << Format::printable(info->author);
    out << ", " << item.remoteSize() << " bytes";
    QStringList categories = item.categories();
    categories.removeAll(CategoryID::FEATURED);
    if (!categories.isEmpty())
        out << ", " << Format::printable(categories.join(QStringLiteral(", ")));
    out << "\n    " << (item.isInstalled() ? "installed at " : "not installed; would go to ")
        << Format::printable(item.localPath()) << '\n';
}

// The listing shared by the plain command, search and filter: the collections with the items
// `keep` accepts.
template<class Keep>
void printCollections(Context &context,
                      const std::vector<std::shared_ptr<Collection>> &collections,
                      const std::vector<Download> &downloads,
                      Keep keep)
{
    const QString locale = context.parser.isSet(localeOption) ? context.parser.value(localeOption)
                                                              : Locales::FallbackLocale;
    if (context.parser.isSet(jsonOption)) {
        QJsonArray list;
        for (const auto &collection : collections) {
            QJsonArray items;
            for (const ItemPtr &item : collection->items()) {
                if (keep(*item))
                    items.append(itemJson(*item, locale));
            }
            list.append(QJsonObject { { QStringLiteral("name"), collection->name() },
                                      { QStringLiteral("items"), items } });
        }
        QJsonArray fetched;
        for (const Download &d : downloads)
            fetched.append(QJsonObject { { QStringLiteral("url"), d.url },
                                         { QStringLiteral("result"), d.result } });
        context.out << QJsonDocument(QJsonObject { { QStringLiteral("collections"), list },
                                                   { QStringLiteral("downloads"), fetched } })
                           .toJson(QJsonDocument::Compact)
                    << '\n';
        return;
    }
    for (const auto &collection : collections) {
        int shown = 0;
        for (const ItemPtr &item : collection->items()) {
            if (!keep(*item))
                continue;
            if (shown++ == 0)
                context.out << Format::printable(collection->name()) << '\n';
            printItem(context.out, *item, locale);
        }
    }
    for (const Download &d : downloads) {
        static const char *const words[] = { "ok", "cancelled", "failed" };
        context.out << "download " << Format::printable(d.url) << ": "
                    << (d.result >= 0 && d.result <= 2 ? words[d.result] : "?") << '\n';
    }
}

// The item with that identifier; with several collections holding one, --in must choose.
ItemPtr findItem(Context &context, const QString &uniqueId)
{
    bool unknown = false;
    ItemPtr found;
    for (const auto &collection : chosenCollections(context, &unknown)) {
        if (ItemPtr item = collection->item(uniqueId)) {
            if (found) {
                context.err << "editor-shell: several collections hold "
                            << Format::printable(uniqueId) << "; name one with --in\n";
                return nullptr;
            }
            found = item;
        }
    }
    if (!found)
        context.err << "editor-shell: no item " << Format::printable(uniqueId)
                    << " in the collection\n";
    return found;
}

// The items `collection ACTION UNIQUE_ID` names (`several`: UNIQUE_ID...), in that order; on a
// wrong count or an unknown item, says why and leaves the exit code in `refused`.
std::vector<ItemPtr> namedItems(Context &context, const QString &action, bool several, int *refused)
{
    const QStringList ids = context.arguments.mid(1);
    if (several ? ids.isEmpty() : ids.size() != 1) {
        context.err << "editor-shell: collection " << action
                    << (several ? " takes UNIQUE_ID...\n" : " takes one UNIQUE_ID\n");
        *refused = 2;
        return {};
    }
    std::vector<ItemPtr> items;
    for (const QString &id : ids) {
        ItemPtr item = findItem(context, id);
        if (!item) {
            *refused = 1;
            return {};
        }
        items.push_back(std::move(item));
    }
    return items;
}

// "12.0 MB of 200.0 MB, 4.0 MB/s, 47 s left": speed and time left once a second of this run
// has given something to go on.
QString progressText(qint64 received, qint64 total, qint64 thisRun, qint64 elapsedMs)
{
    QString text = Format::fileSize(received);
    if (total > 0)
        text += QStringLiteral(" of ") + Format::fileSize(total);
    if (elapsedMs >= 1000 && thisRun > 0) {
        const double perSecond = thisRun * 1000.0 / static_cast<double>(elapsedMs);
        text += QStringLiteral(", ") + Format::fileSize(static_cast<qint64>(perSecond))
            + QStringLiteral("/s");
        if (total > received) {
            const auto left = static_cast<qint64>((total - received) / perSecond + 0.5);
            text += QStringLiteral(", ");
            if (left >= 60)
                text += QString::number(left / 60) + QStringLiteral(" min ");
            text += QString::number(left % 60) + QStringLiteral(" s left");
        }
    }
    return text;
}

void printJson(Context &context, const QJsonObject &object)
{
    context.out << QJsonDocument(object).toJson(QJsonDocument::Compact) << '\n';
}

// Draws the installs' bytes as one bar with the bytes so far, the speed and the time left;
// Ctrl+C presses its cancel.
class InstallProgress : private Report::IProgressListener {
public:
    InstallProgress(ItemInstaller &installer, qint64 total)
        : m_installer(installer)
        , m_factory(stderr, &ExitSignals::take)
        , m_total(total)
        , m_scale(total > 1000000000 ? 1024 : 1)
        , m_progress(m_factory.create(QStringLiteral("Installing"),
                                      QStringLiteral("Cancel"),
                                      static_cast<int>(std::max<qint64>(1, total / m_scale)),
                                      this))
    {
        m_clock.start();
    }
    void update(const QString &id, qint64 received)
    {
        // The first figure of an install may be what an earlier, cut-off one kept: the speed is
        // of what came in this run.
        m_first.emplace(id, received);
        m_received[id] = received;
        qint64 sum = 0;
        qint64 fresh = 0;
        for (const auto &[key, bytes] : m_received) {
            sum += bytes;
            fresh += bytes - m_first[key];
        }
        m_progress->setText(Format::printable(id) + QStringLiteral("  ")
                            + progressText(sum, m_total, fresh, m_clock.elapsed()));
        m_progress->setValue(
            static_cast<int>(std::min<qint64>(sum / m_scale, m_progress->maximum())));
    }
    bool cancelled() const { return m_cancelled; }

private:
    void progressCancelled(Report::IProgress &) override
    {
        m_cancelled = true;
        m_installer.cancel();
    }

    ItemInstaller &m_installer;
    Report::TerminalProgressFactory m_factory;
    qint64 m_total;
    qint64 m_scale;
    std::unique_ptr<Report::IProgress> m_progress;
    std::map<QString, qint64> m_received;
    std::map<QString, qint64> m_first;
    QElapsedTimer m_clock;
    bool m_cancelled = false;
};

int runInstall(Context &context, UserMarks &marks, const std::vector<ItemPtr> &items)
{
    qint64 total = 0;
    for (const ItemPtr &item : items)
        total += std::max<qint64>(0, item->remoteSize());
    ItemInstaller installer;
    InstallProgress progress(installer, total);
    QObject::connect(
        &installer, &ItemInstaller::progress, &installer,
        [&](const QString &id, qint64 received, qint64) { progress.update(id, received); });
    struct Outcome {
        ItemPtr item;
        ItemInstallResult result;
        QString error;
    };
    std::vector<Outcome> outcomes;
    QObject::connect(&installer, &ItemInstaller::finished, &installer,
                     [&](const ItemPtr &item, ItemInstallResult result, const QString &error) {
                         outcomes.push_back({ item, result, error });
                     });
    const ImportReason reason = items.size() > 1 ? ImportReason::Batch : ImportReason::Click;
    for (const ItemPtr &item : items)
        installer.install(item, reason);
    bool stopAsked = false;
    while (installer.pending() > 0) {
        if (ExitSignals::exitRequested() && !stopAsked) {
            stopAsked = true;
            installer.cancel();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    }

    bool allInstalled = true;
    QJsonArray list;
    for (const Outcome &o : outcomes) {
        const bool ok = o.result == ItemInstallResult::Ok;
        allInstalled = allInstalled && ok;
        if (ok) {
            try {
                marks.setDeleted(o.item->collectionId(), o.item->uniqueId(), false);
            } catch (const std::exception &e) {
                LOG(WARNING) << "Cannot keep the collection marks: " << e.what();
            }
        }
        if (context.parser.isSet(jsonOption)) {
            list.append(QJsonObject { { QStringLiteral("uniqueId"), o.item->uniqueId() },
                                      { QStringLiteral("result"),
                                        QLatin1String(Statistics::itemInstallErrorText(o.result)) },
                                      { QStringLiteral("error"), o.error },
                                      { QStringLiteral("localPath"), o.item->localPath() },
                                      { QStringLiteral("installed"), o.item->isInstalled() } });
        } else if (ok) {
            context.out << "installed " << Format::printable(o.item->uniqueId()) << " at "
                        << Format::printable(o.item->localPath()) << '\n';
        } else {
            context.out << "not installed " << Format::printable(o.item->uniqueId()) << ": "
                        << Statistics::itemInstallErrorText(o.result) << ", "
                        << Format::printable(o.error) << '\n';
        }
    }
    if (context.parser.isSet(jsonOption))
        printJson(context, QJsonObject { { QStringLiteral("installs"), list } });
    if (progress.cancelled() || stopAsked)
        return 130;
    return allInstalled ? 0 : 1;
}

int runSearch(Context &context)
{
    if (context.arguments.size() != 2) {
        context.err << "editor-shell: collection search takes one TEXT\n";
        return 2;
    }
    const QString text = context.arguments.at(1);
    const auto collections = listedCollections(context);
    if (!collections)
        return 1;
    const QString locale = context.parser.isSet(localeOption) ? context.parser.value(localeOption)
                                                              : Locales::FallbackLocale;
    // The panel searches the collection it shows: one report per collection searched.
    if (auto *statistics = reporter()) {
        for (const auto &collection : *collections)
            statistics->searched(collection->name(), text);
    }
    printCollections(context, *collections, {}, [&](const IItem &item) {
        const auto info = item.externalResourceInfo();
        return title(item, locale).contains(text, Qt::CaseInsensitive)
            || item.uniqueId().contains(text, Qt::CaseInsensitive)
            || (info && info->tag.contains(text, Qt::CaseInsensitive));
    });
    return 0;
}

int runFilter(Context &context)
{
    static const std::map<QString, AvailabilityFilter> filters
        = { { QStringLiteral("all"), AvailabilityFilter::All },
            { QStringLiteral("free"), AvailabilityFilter::Free },
            { QStringLiteral("paid"), AvailabilityFilter::Paid } };
    const auto filter = filters.find(context.arguments.value(1));
    if (context.arguments.size() != 2 || filter == filters.end()) {
        context.err << "editor-shell: collection filter takes free, paid or all\n";
        return 2;
    }
    const auto collections = listedCollections(context);
    if (!collections)
        return 1;
    if (auto *statistics = reporter()) {
        for (const auto &collection : *collections)
            statistics->filteredByUser(filter->second, collection->name(), {}, false);
    }
    printCollections(context, *collections, {}, [&](const IItem &item) {
        return filter->second == AvailabilityFilter::All
            || isFree(item) == (filter->second == AvailabilityFilter::Free);
    });
    return 0;
}

int runDelete(Context &context, UserMarks &marks, const ItemPtr &item)
{
    // Only a file the collection put there: never through a link, never outside its folder.
    const QString path = item->localPath();
    bool removed = false;
    if (installedOnDisk(*item)) {
        removed = QFile::remove(path);
        if (!removed) {
            context.err << "editor-shell: cannot remove " << Format::printable(path) << '\n';
            return 1;
        }
    }
    // A part kept from a cut-off install goes too: the item is no longer wanted.
    Downloader::discardPartial(path + QStringLiteral(".download"));
    marks.setDeleted(item->collectionId(), item->uniqueId(), true);
    item->setInstalled(false);
    if (auto *statistics = reporter())
        statistics->itemDeleted(item.get());
    if (Collection *owner = item->owner())
        owner->removeItem(item->uniqueId());
    if (context.parser.isSet(jsonOption)) {
        printJson(context,
                  QJsonObject { { QStringLiteral("deleted"), item->uniqueId() },
                                { QStringLiteral("fileRemoved"), removed } });
    } else {
        context.out << "deleted " << Format::printable(item->uniqueId());
        if (removed)
            context.out << " and its file " << Format::printable(path);
        context.out << '\n';
    }
    return 0;
}

int runFavorite(Context &context, UserMarks &marks, const ItemPtr &item)
{
    const bool added = marks.setFavorite(item->collectionId(), item->uniqueId(), true);
    item->setFavorite(true);
    if (added) {
        if (auto *statistics = reporter())
            statistics->itemFavoriteAdded(item.get());
    }
    if (context.parser.isSet(jsonOption))
        printJson(context,
                  QJsonObject { { QStringLiteral("favorite"), item->uniqueId() },
                                { QStringLiteral("added"), added } });
    else
        context.out << (added ? "added to favourites: " : "already a favourite: ")
                    << Format::printable(item->uniqueId()) << '\n';
    return 0;
}

int run(Context &context)
{
    const QString action = context.arguments.value(0);
    static const QStringList actions = { QString(),
                                         QStringLiteral("install"),
                                         QStringLiteral("search"),
                                         QStringLiteral("filter"),
                                         QStringLiteral("delete"),
                                         QStringLiteral("favorite") };
    if (!actions.contains(action))
        return context.usageError(QStringLiteral("collection takes install, search, filter, "
                                                 "delete or favorite, not \"%1\"")
                                      .arg(Format::printable(action)));
    if (!context.app.catalogue()) {
        context.err << "editor-shell: the content collection is not set up\n";
        return 1;
    }
    std::unique_ptr<UserMarks> marks;
    try {
        marks = std::make_unique<UserMarks>();
    } catch (const std::exception &e) {
        context.err << "editor-shell: the collection marks cannot be read: " << e.what() << '\n';
        return 1;
    }
    const QStringList spared
        = action == QLatin1String("install") ? context.arguments.mid(1) : QStringList();
    const std::vector<Download> downloads = loadCollection(context, *marks, spared);
    if (ExitSignals::exitRequested())
        return 130;
    if (action == QLatin1String("search"))
        return runSearch(context);
    if (action == QLatin1String("filter"))
        return runFilter(context);
    if (!action.isEmpty()) {
        // install, delete and favorite: the items named
        const bool install = action == QLatin1String("install");
        int refused = 0;
        const std::vector<ItemPtr> items = namedItems(context, action, install, &refused);
        if (items.empty())
            return refused;
        if (install)
            return runInstall(context, *marks, items);
        return action == QLatin1String("delete") ? runDelete(context, *marks, items.front())
                                                 : runFavorite(context, *marks, items.front());
    }
    const auto collections = listedCollections(context);
    if (!collections)
        return 1;
    printCollections(context, *collections, downloads, [](const IItem &) { return true; });
    return 0;
}

} // namespace

Command collectionCommand()
{
    Command command = tabledCommand(
        "collection",
        QStringLiteral("[install UNIQUE_ID...|search TEXT|filter free|paid|all|delete "
                       "UNIQUE_ID|favorite UNIQUE_ID]"),
        QStringLiteral("The content collection as the editor fills it at start; install, "
                       "search, filter, delete or mark its items."),
        { text(localeOption, QStringLiteral("Titles in this locale."), QStringLiteral("LOCALE"))
              .withDefault(QStringLiteral("en_US")),
          text(inOption, QStringLiteral("Only the collection of this name."),
               QStringLiteral("COLLECTION")) },
        run);
    command.collection = true;
    return command;
}

} // namespace Shell
