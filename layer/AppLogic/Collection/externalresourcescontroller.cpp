#include "Collection/externalresourcescontroller.h"

#include "Collection/catalogueprotocol.h"
#include "Collection/externallist.h"
#include "Constants/resourcecategories.h"
#include "Constants/urlkeys.h"
#include "WebConfig/iwebconfigprovider.h"

#include "collection/collection.h"
#include "downloader/resourcedownloader.h"
#include "downloader/resourcemanager.h"
#include "translator/translator.h"
#include "util/fs.h"
#include "util/settingspaths.h"

#include <glog/logging.h>

#include <QDir>
#include <QSet>

namespace EditorCollection {

namespace {

// A list is text and one entry is a few hundred bytes: this holds hundreds of thousands of
// entries, and a hostile server or a broken file cannot make the editor read more.
constexpr qint64 maxListBytes = 128LL * 1024 * 1024;

Payload payloadOf(const ExternalListEntry &entry, const QString &root)
{
    Payload payload;
    const QString path = externalItemFilePath(entry, root);
    if (entry.collectionId == ResourceCategories::ShaderEffects) {
        auto effect = std::make_shared<Effect::ShaderISF>(entry.uniqueId);
        effect->tag = entry.tag;
        effect->description = entry.description;
        effect->shaderPath = path;
        payload.effect = std::move(effect);
    } else if (entry.collectionId == ResourceCategories::Transitions) {
        auto transition = std::make_shared<Transition::ShaderISF>(entry.uniqueId);
        transition->tag = entry.tag;
        transition->description = entry.description;
        transition->shaderPath = path;
        payload.transition = std::move(transition);
    } else if (!path.isEmpty()) {
        auto import = std::make_shared<Import::Object>();
        import->mimeType = Import::Object::MIME;
        import->kind = Import::Object::Media;
        import->mediaKind = ResourceCategories::mediaKindForCollection(entry.collectionId);
        import->tag = entry.tag;
        import->description = entry.description;
        import->filePath = path;
        payload.import = std::move(import);
    }
    return payload;
}

// Addresses in a list may be relative to the list's own address, so a bundled list can name the
// files beside it. A list fetched from a server may not name files on this machine. Absolute web
// addresses are kept as text; the item parses one when it is needed.
QString resolved(const QUrl &list, const QString &address)
{
    if (address.isEmpty())
        return {};
    if (address.startsWith(QLatin1String("https://"))
        || address.startsWith(QLatin1String("http://")))
        return address;
    const QUrl url = list.resolved(QUrl(address));
    if (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https")
        || (url.isLocalFile() && list.isLocalFile()))
        return url.toString(QUrl::FullyEncoded);
    return {};
}

} // namespace

CatalogueProtocol::~CatalogueProtocol() = default;

class ExternalResourcesController::Impl : public QObject {
public:
    explicit Impl(CatalogueProtocol &catalogue)
    {
        connect(&catalogue, &CatalogueProtocol::catalogueListRetrieved, this, &Impl::start);
        connect(&catalogue, &CatalogueProtocol::catalogueListRequestFailed, this, &Impl::start);
        connect(&m_downloader, &Downloader::ResourceDownloader::finished, this, &Impl::finished);
    }

    void start()
    {
        m_audioUrl = Vantel::appUrl(Vantel::URLKeys::COLLECTIONS_EXTERNAL_AUDIO_URL);
        m_audioLoaded
            = load(Settings::externalAudioCachePath(), m_audioUrl, m_audioTexts, m_audioItems);
        download(m_audioUrl, Settings::externalAudioCachePath());
        const auto settings = EditorWebConfig::provideCollectionSettings();
        if (!settings || !settings->needLoadExternalEffects())
            return;
        m_effectsUrl = Vantel::appUrl(Vantel::URLKeys::COLLECTIONS_EXTERNAL_EFFECTS_URL);
        m_effectsLoaded = load(Settings::externalEffectsCachePath(), m_effectsUrl, m_effectsTexts,
                               m_effectsItems);
        download(m_effectsUrl, Settings::externalEffectsCachePath());
    }

    void finished(const Downloader::DownloadParams &params, Downloader::ResultCode code)
    {
        if (code != Downloader::Success) {
            // One arg() for both: a second pass would read a "%2F" in the address as a marker.
            LOG(WARNING) << QStringLiteral(
                                "Failed to download external audio list with errorCode `%2`, "
                                "url='%1'")
                                .arg(params.url.toString(), QString::number(static_cast<int>(code)))
                                .toStdString();
            return;
        }
        if (!m_audioUrl.isEmpty() && params.url == m_audioUrl) {
            if (m_audioLoaded)
                return;
            m_audioLoaded
                = load(Settings::externalAudioCachePath(), m_audioUrl, m_audioTexts, m_audioItems);
            if (!m_audioLoaded)
                LOG(WARNING) << "Failed to parse external audio cache, file doesn't exist";
        } else if (!m_effectsUrl.isEmpty() && params.url == m_effectsUrl) {
            if (m_effectsLoaded)
                return;
            m_effectsLoaded = load(Settings::externalEffectsCachePath(), m_effectsUrl,
                                   m_effectsTexts, m_effectsItems);
            if (!m_effectsLoaded)
                LOG(WARNING) << "Failed to parse external effects cache, file doesn't exist";
        }
    }

private:
    void download(const QUrl &url, const QString &cache)
    {
        Downloader::DownloadParams params;
        params.url = url;
        params.destination = cache;
        params.flags = Downloader::Revalidate | Downloader::Compressed;
        params.maxBytes = maxListBytes;
        // Whatever the server answered, only a list replaces the list in the cache.
        params.check = [](const QString &path) {
            try {
                return externalListRefusal(
                    FS::readRegularFile(path, maxListBytes, FS::LinkPolicy::Refuse));
            } catch (const FS::Error &error) {
                return QString::fromUtf8(error.what());
            }
        };
        m_downloader.download(params, 1, 0);
    }

    // True when the file exists; a file that is no list still counts, with nothing added.
    bool load(const QString &path,
              const QUrl &listUrl,
              std::shared_ptr<const Translator::TranslationTable> &texts,
              QSet<QString> &own)
    {
        QByteArray bytes;
        try {
            bytes = FS::readRegularFile(path, maxListBytes, FS::LinkPolicy::Refuse,
                                        externalListPadding);
        } catch (const FS::Error &error) {
            if (error.notFound())
                return false;
            LOG(WARNING) << "External list cache not read: " << error.what();
            return true;
        }
        auto list = std::make_shared<ExternalList>(parseExternalList(bytes));
        bytes = QByteArray();
        for (const QString &warning : list->warnings)
            LOG(WARNING) << warning.toStdString() << " (" << path.toStdString() << ")";
        apply(*list, listUrl, texts, own);
        // What the items did not take over is still tens of megabytes of strings at most.
        releaseElsewhere(std::move(list));
        return true;
    }

    // `own`: the items this list added, at this load or an earlier one; it may replace those,
    // and no other.
    void apply(ExternalList &list,
               const QUrl &listUrl,
               std::shared_ptr<const Translator::TranslationTable> &texts,
               QSet<QString> &own)
    {
        // The registry lets go of the texts a fresh copy replaces; the last hold on them is
        // dropped on the release thread.
        auto fresh
            = std::make_shared<const Translator::TranslationTable>(std::move(list.translations));
        Translator::registerTranslations(fresh);
        releaseElsewhere(std::exchange(texts, std::move(fresh)));

        ItemStorage &storage = CollectionProvider::itemStorage();
        const QString root = Settings::downloadableResourcesPath();
        // Every part of an item's path was checked to be one plain path component; the prefix
        // check stays as the last word.
        const QString rootPrefix = QDir::cleanPath(QDir(root).absolutePath()) + QLatin1Char('/');
        std::vector<QString> batched;
        std::shared_ptr<Collection> collection;
        int taken = 0;
        QString firstTaken;
        for (ExternalListEntry &entry : list.items) {
            Payload payload = payloadOf(entry, root);
            if (payload.isNull())
                continue;
            const QString path = payload.filePath();
            const bool inside = path.startsWith(rootPrefix) ? !path.contains(QLatin1String("/.."))
                                                            : FS::isInside(root, path);
            if (!inside) {
                LOG(WARNING) << "External list item \"" << entry.uniqueId.toStdString()
                             << "\" skipped: its file would be outside the resources folder";
                continue;
            }
            if (!collection || collection->name() != entry.collectionId)
                collection = CollectionProvider::collection(entry.collectionId);
            const QString identity = entry.collectionId + QLatin1Char('/') + entry.uniqueId;
            if (!own.contains(identity) && collection->item(entry.uniqueId)) {
                // Another list (or the editor) has an item of that name: the first stays.
                if (taken++ == 0)
                    firstTaken = identity;
                continue;
            }
            own.insert(identity);
            ItemPtr item = ItemFactory::createItem(entry.uniqueId, std::move(payload));
            item->setCollectionId(entry.collectionId);
            item->setDownloadAddress(resolved(listUrl, entry.downloadUrl));
            item->setRemoteSize(entry.remoteSize);
            item->setExternalResourceInfo(std::move(entry.info));
            if (std::find(batched.begin(), batched.end(), entry.collectionId) == batched.end()) {
                storage.setBatchUpdateMode(entry.collectionId, true);
                batched.push_back(entry.collectionId);
            }
            for (const QString &category : qAsConst(entry.categories)) {
                if (!collection->hasCategory(category))
                    collection->addCategory(
                        category, CategoriesConfig::thematicCategoryInfo(entry.collectionId));
                item->addCategory(category);
            }
            for (const auto &[kind, address] : entry.previewUrls)
                item->setPreviewAddress(kind, resolved(listUrl, address));
            collection->addItem(item);
        }
        for (const QString &name : batched)
            storage.setBatchUpdateMode(name, false);
        if (taken > 0)
            LOG(WARNING) << "External list " << listUrl.toString().toStdString() << ": " << taken
                         << " items skipped: the collection already holds an item of the same id "
                            "from elsewhere (first: \""
                         << firstTaken.left(120).toStdString() << "\")";
    }

    Downloader::ResourceDownloader m_downloader { Downloader::ResourceManager::instance() };
    QUrl m_audioUrl;
    QUrl m_effectsUrl;
    bool m_audioLoaded = false;
    bool m_effectsLoaded = false;
    // Each list's texts as last registered.
    std::shared_ptr<const Translator::TranslationTable> m_audioTexts;
    std::shared_ptr<const Translator::TranslationTable> m_effectsTexts;
    // "collection/uniqueId" of the items each list added.
    QSet<QString> m_audioItems;
    QSet<QString> m_effectsItems;
};

ExternalResourcesController::ExternalResourcesController(CatalogueProtocol &catalogue)
    : d(std::make_unique<Impl>(catalogue))
{
}

ExternalResourcesController::~ExternalResourcesController() = default;

} // namespace EditorCollection
