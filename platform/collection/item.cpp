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

    const QUrl &downloadUrl() const noexcept override { return m_downloadUrl; }
    void setDownloadUrl(const QUrl &url) override { m_downloadUrl = url; }
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
        for (const auto &[k, url] : m_previews)
            if (k == kind)
                return url;
        return {};
    }
    const std::vector<std::pair<QString, QUrl>> &previewUrls() const noexcept override
    {
        return m_previews;
    }
    void setPreviewUrl(const QString &kind, const QUrl &url) override
    {
        for (auto &[k, u] : m_previews)
            if (k == kind) {
                u = url;
                return;
            }
        m_previews.emplace_back(kind, url);
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
    QUrl m_downloadUrl;
    qint64 m_remoteSize = 0;
    qint64 m_size = -1;
    std::vector<std::pair<QString, QUrl>> m_previews;
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
