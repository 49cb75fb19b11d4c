#pragma once

#include "collection/categories.h"
#include "collection/item.h"
#include "collection_export.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <memory>
#include <utility>
#include <vector>

// The editor's content collections: one per name ("Music", "Transitions", ...), made on first use
// and kept by the item storage for the process. Main thread only. While a collection is in batch
// mode its observers hear nothing; when the batch ends they hear every change of it in order and
// then one collectionChanged, so a view refreshes once for a list of fifty thousand items.
namespace EditorCollection {

class Collection;
class ItemStorage;

class COLLECTION_EXPORT ICollectionObserver {
public:
    virtual ~ICollectionObserver();
    virtual void itemAdded(Collection &collection, const ItemPtr &item);
    virtual void itemRemoved(Collection &collection, const ItemPtr &item);
    virtual void itemChanged(Collection &collection, const ItemPtr &item);
    // After a single change, or after all the changes of a batch.
    virtual void collectionChanged(Collection &collection);
};

class COLLECTION_EXPORT Collection {
public:
    explicit Collection(QString name);
    ~Collection();
    Collection(const Collection &) = delete;
    Collection &operator=(const Collection &) = delete;

    const QString &name() const noexcept { return m_name; }

    // In the order they were added; an item replaced by one of the same identifier keeps its place.
    const std::vector<ItemPtr> &items() const noexcept { return m_items; }
    ItemPtr item(const QString &uniqueId) const;
    std::size_t size() const noexcept { return m_items.size(); }

    bool hasCategory(const QString &category) const;
    void addCategory(const QString &category, const CategoryInfo &info);
    // Names in the order they were added, with their information.
    const std::vector<std::pair<QString, CategoryInfo>> &categories() const noexcept
    {
        return m_categories;
    }

    // Adds the item, or replaces the one with the same identifier (observers hear it removed and
    // the new one added). The replacement keeps the user's marks: installed and favourite.
    void addItem(const ItemPtr &item);
    // False when no item has the identifier.
    bool removeItem(const QString &uniqueId);
    // Removes every item (observers hear each removed).
    void clear();

    void registerObserver(ICollectionObserver *observer);
    void unregisterObserver(ICollectionObserver *observer);
    bool isObserverRegistered(const ICollectionObserver *observer) const;

    // Told by an item of this collection after it changed.
    void itemChanged(IItem &item);

private:
    friend class ItemStorage;
    enum class Change { Added, Removed, Changed };
    void publish(Change change, const ItemPtr &item);
    void setBatch(bool on);
    void deliver(Change change, const ItemPtr &item);

    QString m_name;
    ItemStorage *m_storage = nullptr; // the storage that made it, whose observers hear it too
    std::vector<ItemPtr> m_items;
    QHash<QString, std::size_t> m_index; // unique id -> place in m_items
    std::vector<std::pair<QString, CategoryInfo>> m_categories;
    QSet<QString> m_categoryNames; // asked twice per item of a list
    std::vector<ICollectionObserver *> m_observers;
    int m_delivering = 0; // observers unregistered meanwhile are nulled, then swept
    int m_batchDepth = 0;
    std::vector<std::pair<Change, ItemPtr>> m_pending;
    // Items replaced or removed during a batch; released off the main thread when it ends.
    std::vector<ItemPtr> m_released;
};

// Owns the collections. Observers registered here hear every collection, including those made
// later (the layer's bridge to the bus uses this).
class COLLECTION_EXPORT ItemStorage {
public:
    ItemStorage();
    ~ItemStorage();
    ItemStorage(const ItemStorage &) = delete;
    ItemStorage &operator=(const ItemStorage &) = delete;

    // Made on first use; the same object for the storage's life.
    std::shared_ptr<Collection> collection(const QString &name);
    // Names in the order the collections were made.
    std::vector<QString> collectionNames() const;

    // Batches nest: the collection publishes when the outermost one ends.
    void setBatchUpdateMode(const QString &collection, bool on);
    bool isBatchUpdateMode(const QString &collection) const;

    void registerObserver(ICollectionObserver *observer);
    void unregisterObserver(ICollectionObserver *observer);

    // Empties every collection (observers hear the removals) and forgets them.
    void reset();

    // Waits for the releases handed to other threads; for tests and orderly shutdown.
    static void waitForReleases();

private:
    friend class Collection;
    struct Impl;
    std::unique_ptr<Impl> d;
};

// Drops the last reference to `bundle` on the collections' release thread: what a replaced list
// leaves behind (tens of thousands of strings) is freed without holding up the main thread.
COLLECTION_EXPORT void releaseElsewhere(std::shared_ptr<const void> bundle);

namespace CollectionProvider {
COLLECTION_EXPORT ItemStorage &itemStorage();
COLLECTION_EXPORT std::shared_ptr<Collection> collection(const QString &name);
} // namespace CollectionProvider

} // namespace EditorCollection
