#pragma once

#include "collection/externalresourceinfo.h"
#include "collection/payloads.h"
#include "collection_export.h"

#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <utility>
#include <vector>

// One entry of a collection: something the user can preview, install and apply. Items are shared
// (the collection and whoever shows or installs one hold it); a change to an item that belongs to
// a collection is told to that collection's observers. Main thread only.
namespace EditorCollection {

class Collection;

class COLLECTION_EXPORT IItem {
public:
    virtual ~IItem();

    virtual const QString &uniqueId() const noexcept = 0;
    // The name of the collection the item is filed in ("Music", "Shader effects", ...).
    virtual const QString &collectionId() const noexcept = 0;
    virtual void setCollectionId(const QString &id) = 0;

    // Addresses are kept as the list gives them (a list names fifty thousand) and parsed when
    // asked for.
    virtual QUrl downloadUrl() const = 0;
    virtual const QString &downloadAddress() const noexcept = 0;
    virtual void setDownloadUrl(const QUrl &url) = 0;
    virtual void setDownloadAddress(const QString &address) = 0;
    // The size the list announces for the file behind downloadUrl; kept as given.
    virtual qint64 remoteSize() const noexcept = 0;
    virtual void setRemoteSize(qint64 bytes) = 0;
    // What the item reports as its size: the installed file's once installed, else remoteSize.
    virtual qint64 size() const noexcept = 0;
    virtual void setSize(qint64 bytes) = 0;

    // Preview addresses by kind ("image", "video", "audio"...), in the order they were set.
    virtual QUrl previewUrl(const QString &kind) const = 0;
    virtual const std::vector<std::pair<QString, QString>> &previewAddresses() const noexcept = 0;
    virtual void setPreviewUrl(const QString &kind, const QUrl &url) = 0;
    virtual void setPreviewAddress(const QString &kind, const QString &address) = 0;

    virtual const QStringList &categories() const noexcept = 0;
    virtual bool hasCategory(const QString &category) const = 0;
    virtual void addCategory(const QString &category) = 0;
    virtual void removeCategory(const QString &category) = 0;

    // The pack the item belongs to; empty when it belongs to none.
    virtual const QString &packName() const noexcept = 0;
    virtual void setPackName(const QString &name) = 0;
    // The group an item outside any pack is shown under; may be empty.
    virtual const QString &secondaryGroupName() const noexcept = 0;
    virtual void setSecondaryGroupName(const QString &name) = 0;

    // Attribution of items that do not ship with the editor; null for the rest.
    virtual std::shared_ptr<const ExternalResourceInfo> externalResourceInfo() const = 0;
    virtual void setExternalResourceInfo(std::shared_ptr<const ExternalResourceInfo> info) = 0;

    // Where the item's file is kept once installed (under the downloadable resources folder).
    virtual const QString &localPath() const noexcept = 0;
    virtual void setLocalPath(const QString &path) = 0;
    virtual bool isInstalled() const noexcept = 0;
    virtual void setInstalled(bool installed) = 0;
    virtual bool isFavorite() const noexcept = 0;
    virtual void setFavorite(bool favorite) = 0;

    virtual const Payload &payload() const noexcept = 0;

    // The collection holding the item, null while it is in none. Set by the collection.
    virtual Collection *owner() const noexcept = 0;

protected:
    IItem() = default;

private:
    friend class Collection;
    virtual void setOwner(Collection *collection) = 0;
};

using ItemPtr = std::shared_ptr<IItem>;

namespace ItemFactory {
// A new item holding `payload`; its local path is the payload's file path.
COLLECTION_EXPORT ItemPtr createItem(const QString &uniqueId, Payload payload);
} // namespace ItemFactory

} // namespace EditorCollection
