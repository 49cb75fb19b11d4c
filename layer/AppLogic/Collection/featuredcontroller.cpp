#include "Collection/featuredcontroller.h"

#include "Collection/featuredconfig.h"
#include "Constants/resourcecategories.h"
#include "Constants/urlkeys.h"
#include "Statistics/collectionstatistics.h"
#include "Statistics/istatistics.h"

#include "collection/categories.h"
#include "collection/collection.h"
#include "downloader/resourcedownloader.h"
#include "util/fs.h"
#include "util/settingspaths.h"

#include <QObject>

#include <glog/logging.h>

#include <vector>

namespace EditorCollection {

namespace {

// The configuration in the cache file; empty when there is none or it cannot be read.
FeaturedConfigParse readCache(bool logSkipped)
{
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(Settings::collectionsTrendingConfigCachePath(),
                                    maxFeaturedConfigBytes);
    } catch (const FS::Error &) {
        return {};
    }
    FeaturedConfigParse parse = parseFeaturedConfig(bytes);
    // Only collections the editor has: a hostile list must not make a collection per name. The
    // asset count stays that of the whole configuration, as the report describes what came.
    for (auto it = parse.collections.begin(); it != parse.collections.end();) {
        if (ResourceCategories::all().contains(it.key())) {
            ++it;
            continue;
        }
        parse.warnings << QStringLiteral("no collection is named \"") + it.key().left(80)
                + QStringLiteral("\"; skipped");
        it = parse.collections.erase(it);
    }
    if (logSkipped) {
        for (const QString &warning : qAsConst(parse.warnings))
            LOG(WARNING) << "Featured configuration "
                         << Settings::collectionsTrendingConfigCachePath().toStdString() << ": "
                         << warning.toStdString();
    }
    return parse;
}

bool names(const FeaturedConfig &config, const IItem &item, const QString &pack)
{
    const auto collection = config.constFind(item.collectionId());
    if (collection == config.cend())
        return false;
    const auto assets = collection->constFind(pack);
    return assets != collection->cend() && assets->contains(item.uniqueId());
}

} // namespace

class FeaturedController::Impl final
    : public QObject
    , public ICollectionObserver {
public:
    Impl()
    {
        m_featured = readCache(true).collections;
        for (auto it = m_featured.cbegin(); it != m_featured.cend(); ++it) {
            const std::shared_ptr<Collection> collection = CollectionProvider::collection(it.key());
            if (collection->isObserverRegistered(this))
                continue;
            collection->registerObserver(this);
            m_registered.push_back(collection);
        }
        connect(&m_downloader, &Downloader::ResourceDownloader::finished, this,
                &Impl::downloadFinished);
        Downloader::DownloadParams params;
        params.url = Vantel::appUrl(Vantel::COLLECTIONS_TRENDING_REQUEST_URL);
        params.destination = Settings::collectionsTrendingConfigCachePath();
        params.flags = Downloader::Revalidate | Downloader::Compressed;
        params.maxBytes = maxFeaturedConfigBytes;
        // Only a configuration replaces the cached one: an error page or a cut body would empty
        // the featured shelf until the server mends.
        params.check = [](const QString &path) {
            try {
                const FeaturedConfigParse parse = parseFeaturedConfig(
                    FS::readRegularFile(path, maxFeaturedConfigBytes, FS::LinkPolicy::Refuse));
                return parse.valid ? QString() : parse.warnings.value(0);
            } catch (const FS::Error &error) {
                return QString::fromUtf8(error.what());
            }
        };
        m_downloader.download(params, 1, 0);
    }

    ~Impl() override
    {
        for (const std::weak_ptr<Collection> &weak : m_registered) {
            if (const auto collection = weak.lock())
                collection->unregisterObserver(this);
        }
    }

    void itemAdded(Collection &, const ItemPtr &item) override
    {
        if (item)
            applyFeaturedRule(*item);
    }

private:
    void applyFeaturedRule(IItem &item)
    {
        QString pack = item.packName();
        if (pack.isEmpty())
            pack = item.secondaryGroupName();
        if (pack.isEmpty())
            pack = stockPackName;
        if (m_featured.contains(item.collectionId())) {
            if (names(m_featured, item, pack))
                feature(item);
            else
                item.removeCategory(CategoryID::FEATURED);
        } else if (names(m_fromElsewhere, item, pack)) {
            feature(item);
        }
    }

    static void feature(IItem &item)
    {
        if (Collection *owner = item.owner(); owner && !owner->hasCategory(CategoryID::FEATURED))
            owner->addCategory(CategoryID::FEATURED,
                               CategoryInfo { CategoryType::Service, owner->name() });
        item.addCategory(CategoryID::FEATURED);
    }

    void downloadFinished(const Downloader::DownloadParams &params, Downloader::ResultCode code)
    {
        // What is on disk now, fresh or the old copy after a failure; it is applied next run.
        const int assets = readCache(false).assetCount;
        if (code != Downloader::Success)
            LOG(WARNING) << "Download for url `" << params.url.toString().toStdString()
                         << "` failed with errorCode `" << static_cast<int>(code) << "`";
        if (Statistics::IStatistics *statistics = Statistics::statistics())
            statistics->collectionStatistics()->trendingListRequested(code, assets);
    }

    Downloader::ResourceDownloader m_downloader;
    FeaturedConfig m_featured;
    // Consulted for collections the configuration above does not name; nothing fills it yet.
    FeaturedConfig m_fromElsewhere;
    std::vector<std::weak_ptr<Collection>> m_registered;
};

FeaturedController::FeaturedController()
    : d(std::make_unique<Impl>())
{
}

FeaturedController::~FeaturedController() = default;

} // namespace EditorCollection
