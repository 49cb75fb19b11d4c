#pragma once

#include "applogicexport.h"

#include "downloader/downloadparams.h"
#include "tracking/generalvanteltracker.h"
#include "util/mtime.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

#include <cstdint>

namespace EditorCollection {

class IItem;

// The collection panel's availability filter.
enum class AvailabilityFilter : int { All = 0, Free = 1, Paid = 2 };
// Why an item was installed.
enum class ImportReason : int { Silent = 0, Click = 1, Drag = 2, Batch = 3 };

} // namespace EditorCollection

// Usage events of the content collection: categories, filters and searches, previews, installs,
// deletions and favourites, the load time and the featured list's download. Stateless; sends
// straight to the tracker.
namespace Statistics {

enum class ItemPreviewMethod : int { Click = 0, Hover = 1 };

// How an item's install ended. 1 is the one success; 2 and 3 are the user's cancels.
enum class ItemInstallResult : int {
    Unknown = 0,
    Ok = 1,
    DownloadCancelled = 2,
    InstallCancelled = 3,
    ConnectionError = 4,
    CantCreateFile = 5,
    CantMoveFile = 6,
    MismatchedResourceSize = 7,
    CorruptedFile = 8,
    NotEnoughSpace = 9,
    UsedByAnotherProcess = 10,
};

// The words on the wire. Filter, reason, preview method and download result give the empty text
// outside their tables; an install gives "FAIL" as its result and "UNKNOWN" as its error.
APPLOGIC_EXPORT const char *availabilityFilterText(EditorCollection::AvailabilityFilter filter);
APPLOGIC_EXPORT const char *importReasonText(EditorCollection::ImportReason reason);
APPLOGIC_EXPORT const char *itemPreviewMethodText(ItemPreviewMethod method);
APPLOGIC_EXPORT const char *itemInstallResultText(ItemInstallResult result);
APPLOGIC_EXPORT const char *itemInstallErrorText(ItemInstallResult result);
// "FAILED", not an install's "FAIL": the two reports have always differed.
APPLOGIC_EXPORT const char *downloadResultText(Downloader::ResultCode code);

class APPLOGIC_EXPORT ICollectionStatistics {
public:
    virtual ~ICollectionStatistics();

    virtual void
    itemPreviewed(const EditorCollection::IItem *item, ItemPreviewMethod method, MTime loadingTime)
        = 0;
    virtual void itemFavoriteAdded(const EditorCollection::IItem *item) = 0;
    virtual void itemDeleted(const EditorCollection::IItem *item) = 0;
    virtual void itemRenameClicked(const QString &text) = 0;
    virtual void itemInstallFinished(const EditorCollection::IItem *item,
                                     ItemInstallResult result,
                                     EditorCollection::ImportReason reason,
                                     MTime downloadTime)
        = 0;
    // `titlesPage`: the button sits on the titles page, which names no collection.
    virtual void
    serviceButtonClicked(const QString &name, const QString &collection, bool titlesPage)
        = 0;
    virtual void categoryChanged(const QString &category, const QString &collection) = 0;
    virtual void categoryDownloadClicked(const QString &category, const QString &collection) = 0;
    virtual void loadFinished(MTime totalTime, std::uint64_t itemCount) = 0;
    // Reported from the third character on: the first letters of a query are not a search.
    virtual void searched(const QString &collection, const QString &text) = 0;
    virtual void filteredByUser(EditorCollection::AvailabilityFilter filter,
                                const QString &collection,
                                const QString &category,
                                bool searchApplied)
        = 0;
    virtual void trendingListRequested(Downloader::ResultCode code, int assetCount) = 0;
};

class APPLOGIC_EXPORT CollectionStatistics : public ICollectionStatistics {
public:
    explicit CollectionStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);

    void itemPreviewed(const EditorCollection::IItem *item,
                       ItemPreviewMethod method,
                       MTime loadingTime) override;
    void itemFavoriteAdded(const EditorCollection::IItem *item) override;
    void itemDeleted(const EditorCollection::IItem *item) override;
    void itemRenameClicked(const QString &text) override;
    void itemInstallFinished(const EditorCollection::IItem *item,
                             ItemInstallResult result,
                             EditorCollection::ImportReason reason,
                             MTime downloadTime) override;
    void
    serviceButtonClicked(const QString &name, const QString &collection, bool titlesPage) override;
    void categoryChanged(const QString &category, const QString &collection) override;
    void categoryDownloadClicked(const QString &category, const QString &collection) override;
    void loadFinished(MTime totalTime, std::uint64_t itemCount) override;
    void searched(const QString &collection, const QString &text) override;
    void filteredByUser(EditorCollection::AvailabilityFilter filter,
                        const QString &collection,
                        const QString &category,
                        bool searchApplied) override;
    void trendingListRequested(Downloader::ResultCode code, int assetCount) override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics
