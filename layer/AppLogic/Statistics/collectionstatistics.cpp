#include "Statistics/collectionstatistics.h"

#include "Messages/statistics.h"
#include "Statistics/eventparams.h"

#include "collection/categories.h"
#include "collection/item.h"
#include "customization/customization.h"
#include "pubsub/subscriber.h"

namespace Statistics {

namespace {

const char *const filterTexts[] = { "ALL", "FREE", "PAID" };
const char *const reasonTexts[] = { "SILENT", "CLICK", "DRAG", "BATCH" };
const char *const previewTexts[] = { "CLICK", "HOVER" };
const char *const installResultTexts[] = { nullptr, "SUCCESS", "CANCEL", "CANCEL" };
const char *const installErrorTexts[] = {
    nullptr,
    "OK",
    "DOWNLOAD_CANCELLED",
    "INSTALL_CANCELLED",
    "CONNECTION_ERROR",
    "CANT_CREATE_FILE",
    "CANT_MOVE_FILE",
    "MISMATCHED_RESOURCE_SIZE",
    "CORRUPTED_FILE",
    "NOT_ENOUGH_SPACE",
    "USED_BY_ANOTHER_PROCESS",
};
const char *const downloadResultTexts[] = { "SUCCESS", "CANCEL", "FAILED" };

template<class Enum> long long ordinal(Enum value)
{
    return static_cast<long long>(value);
}

std::string collectionId(const QString &collection)
{
    return utf8(convertCollectionId(collection));
}

std::string uniqueIdOf(const EditorCollection::IItem *item)
{
    return item ? utf8(item->uniqueId()) : std::string();
}

} // namespace

const char *availabilityFilterText(EditorCollection::AvailabilityFilter filter)
{
    return wordOf(filterTexts, ordinal(filter), "");
}
const char *importReasonText(EditorCollection::ImportReason reason)
{
    return wordOf(reasonTexts, ordinal(reason), "");
}
const char *itemPreviewMethodText(ItemPreviewMethod method)
{
    return wordOf(previewTexts, ordinal(method), "");
}
const char *itemInstallResultText(ItemInstallResult result)
{
    return wordOf(installResultTexts, ordinal(result), "FAIL");
}
const char *itemInstallErrorText(ItemInstallResult result)
{
    return wordOf(installErrorTexts, ordinal(result));
}
const char *downloadResultText(Downloader::ResultCode code)
{
    return wordOf(downloadResultTexts, ordinal(code), "");
}

ICollectionStatistics::~ICollectionStatistics() = default;

CollectionStatistics::CollectionStatistics(
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker)
    : m_tracker(std::move(tracker))
{
}

void CollectionStatistics::itemPreviewed(const EditorCollection::IItem *item,
                                         ItemPreviewMethod method,
                                         MTime loadingTime)
{
    m_tracker->sendEvent("ITEM_PREVIEWED",
                         { { "PREVIEW_LOADING_TIME_MS", decimal(loadingTime.ticks()) },
                           { "ITEM_UNIQUE_ID", uniqueIdOf(item) },
                           { "METHOD", itemPreviewMethodText(method) } });
}

void CollectionStatistics::itemFavoriteAdded(const EditorCollection::IItem *)
{
    m_tracker->sendEvent("FAVORITE_ITEM_ADDED", {});
}

void CollectionStatistics::itemDeleted(const EditorCollection::IItem *)
{
    m_tracker->sendEvent("ITEM_DELETED", {});
}

void CollectionStatistics::itemRenameClicked(const QString &text)
{
    PubSub::publish(InteractionNotification(QStringLiteral("ITEM_RENAME_CLICKED"), text));
}

void CollectionStatistics::itemInstallFinished(const EditorCollection::IItem *item,
                                               ItemInstallResult result,
                                               EditorCollection::ImportReason reason,
                                               MTime downloadTime)
{
    Params params { { "RESULT", itemInstallResultText(result) },
                    { "SIZE", decimal(item ? static_cast<std::int64_t>(item->size()) : 0) },
                    { "ITEM_UNIQUE_ID", uniqueIdOf(item) },
                    { "REASON", importReasonText(reason) } };
    if (result == ItemInstallResult::Ok)
        params.emplace("DOWNLOAD_TIME", decimal(downloadTime.ticks()));
    else
        params.emplace("ERROR", itemInstallErrorText(result));
    m_tracker->sendEvent("ITEM_INSTALL_RESULT", params);
}

void CollectionStatistics::serviceButtonClicked(const QString &name,
                                                const QString &collection,
                                                bool titlesPage)
{
    // "METOD" is the key this event has always carried; dashboards read it so spelled.
    m_tracker->sendEvent(utf8(name) + "_CLICKED",
                         titlesPage ? Params { { "METOD", "TITLES_PAGE" } }
                                    : Params { { "COLLECTION", collectionId(collection) } });
}

void CollectionStatistics::categoryChanged(const QString &category, const QString &collection)
{
    m_tracker->sendEvent(
        "COLLECTION_CATEGORY_CHANGED",
        { { "COLLECTION", collectionId(collection) }, { "CATEGORY", utf8(category) } });
}

void CollectionStatistics::categoryDownloadClicked(const QString &category,
                                                   const QString &collection)
{
    m_tracker->sendEvent(
        "CATEGORY_DOWNLOAD_CLICKED",
        { { "COLLECTION", collectionId(collection) }, { "CATEGORY", utf8(category) } });
}

void CollectionStatistics::loadFinished(MTime totalTime, std::uint64_t itemCount)
{
    const bool firstStart
        = Customization::applicationLaunchType() == Vantel::App::LaunchType::FirstLaunch;
    m_tracker->sendEvent("COLLECTION_LOAD_FINISHED",
                         { { "TOTAL_TIME", decimal(totalTime.ticks()) },
                           { "ITEMS_LOADED", decimal(itemCount) },
                           { "IS_FIRST_START", flag(firstStart) } });
}

void CollectionStatistics::searched(const QString &collection, const QString &text)
{
    // Characters, not UTF-16 units: one emoji is one character typed.
    qsizetype characters = 0;
    for (const QChar c : text)
        characters += c.isLowSurrogate() ? 0 : 1;
    if (characters <= 2)
        return;
    m_tracker->sendEvent(
        "COLLECTION_SEARCH",
        { { "COLLECTION", collectionId(collection) }, { "SEARCH_BAR", utf8(text) } });
}

void CollectionStatistics::filteredByUser(EditorCollection::AvailabilityFilter filter,
                                          const QString &collection,
                                          const QString &category,
                                          bool searchApplied)
{
    // This event's own words, not the shared boolean ones.
    m_tracker->sendEvent("COLLECTION_FILTERED",
                         { { "COLLECTION", collectionId(collection) },
                           { "CATEGORY", utf8(category) },
                           { "SEARCH_APPLIED", searchApplied ? "TRUE" : "FALSE" },
                           { "FILTER_NAME", availabilityFilterText(filter) } });
}

void CollectionStatistics::trendingListRequested(Downloader::ResultCode code, int assetCount)
{
    m_tracker->sendEvent(
        "TRENDING_CONTENT_LIST_REQUESTED",
        { { "RESULT", downloadResultText(code) }, { "ITEMS_COUNT", decimal(assetCount) } });
}

} // namespace Statistics
