#include "collection/item.h"

#include "collection/collection.h"

#include <algorithm>

namespace EditorCollection {

IItem::~IItem() = default;

namespace {

class Item final : public IItem {
public:
    Item(const QString &uniqueId, Payload payload)
        : m_uniqueId(uniqueId)
        , m_payload(std::move(payload))
        , m_localPath(m_payload.filePath())
    {
    }

    const QString &uniqueId() const noexcept override { return m_uniqueId; }
    const QString &collectionId() const noexcept override { return m_collectionId; }
    void setCollectionId(const QString &id) override { m_collectionId = id; }

    QUrl downloadUrl() const override { return QUrl(m_downloadAddress); }
    const QString &downloadAddress() const noexcept override { return m_downloadAddress; }
    void setDownloadUrl(const QUrl &url) override
    {
        m_downloadAddress = url.toString(QUrl::FullyEncoded);
    }
    void setDownloadAddress(const QString &address) override { m_downloadAddress = address; }
    qint64 remoteSize() const noexcept override { return m_remoteSize; }
    void setRemoteSize(qint64 bytes) override { m_remoteSize = bytes; }
    qint64 size() const noexcept override { return m_size >= 0 ? m_size : m_remoteSize; }
    void setSize(qint64 bytes) override
    {
        m_size = bytes;
        changed();
    }

    QUrl previewUrl(const QString &kind) const override
    {
        for (const auto &[k, address] : m_previews)
            if (k == kind)
                return QUrl(address);
        return {};
    }
    const std::vector<std::pair<QString, QString>> &previewAddresses() const noexcept override
    {
        return m_previews;
    }
    void setPreviewUrl(const QString &kind, const QUrl &url) override
    {
        setPreviewAddress(kind, url.toString(QUrl::FullyEncoded));
    }
    void setPreviewAddress(const QString &kind, const QString &address) override
    {
        for (auto &[k, a] : m_previews)
            if (k == kind) {
                a = address;
                return;
            }
        if (m_previews.empty())
            m_previews.reserve(3); // image, video, audio at most
        m_previews.emplace_back(kind, address);
    }

    const QStringList &categories() const noexcept override { return m_categories; }
    bool hasCategory(const QString &category) const override
    {
        return m_categories.contains(category);
    }
    void addCategory(const QString &category) override
    {
        if (hasCategory(category))
            return;
        m_categories.append(category);
        changed();
    }
    void removeCategory(const QString &category) override
    {
        if (m_categories.removeAll(category) > 0)
            changed();
    }

    const QString &packName() const noexcept override { return m_packName; }
    void setPackName(const QString &name) override { m_packName = name; }
    const QString &secondaryGroupName() const noexcept override { return m_secondaryGroup; }
    void setSecondaryGroupName(const QString &name) override { m_secondaryGroup = name; }

    std::shared_ptr<const ExternalResourceInfo> externalResourceInfo() const override
    {
        return m_info;
    }
    void setExternalResourceInfo(std::shared_ptr<const ExternalResourceInfo> info) override
    {
        m_info = std::move(info);
    }

    const QString &localPath() const noexcept override { return m_localPath; }
    void setLocalPath(const QString &path) override
    {
        m_localPath = path;
        changed();
    }
    bool isInstalled() const noexcept override { return m_installed; }
    void setInstalled(bool installed) override
    {
        if (m_installed == installed)
            return;
        m_installed = installed;
        changed();
    }
    bool isFavorite() const noexcept override { return m_favorite; }
    void setFavorite(bool favorite) override
    {
        if (m_favorite == favorite)
            return;
        m_favorite = favorite;
        changed();
    }

    const Payload &payload() const noexcept override { return m_payload; }
    Collection *owner() const noexcept override { return m_owner; }

private:
    void setOwner(Collection *collection) override { m_owner = collection; }
    void changed()
    {
        if (m_owner)
            m_owner->itemChanged(*this);
    }

    QString m_uniqueId;
    QString m_collectionId;
    QString m_downloadAddress;
    qint64 m_remoteSize = 0;
    qint64 m_size = -1;
    std::vector<std::pair<QString, QString>> m_previews;
    QStringList m_categories;
    QString m_packName;
    QString m_secondaryGroup;
    std::shared_ptr<const ExternalResourceInfo> m_info;
    Payload m_payload;
    QString m_localPath;
    bool m_installed = false;
    bool m_favorite = false;
    Collection *m_owner = nullptr;
};

} // namespace

ItemPtr ItemFactory::createItem(const QString &uniqueId, Payload payload)
{
    return std::make_shared<Item>(uniqueId, std::move(payload));
}

} // namespace EditorCollection
