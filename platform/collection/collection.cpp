#include "collection/collection.h"

#include <QThreadPool>

#include <algorithm>

namespace EditorCollection {

namespace {

// One thread frees what the collections let go of: a replaced list of fifty thousand items takes
// hundreds of milliseconds to destroy, which the main thread should not spend.
QThreadPool &releasePool()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(1);
        p->setExpiryTimeout(-1);
        return p;
    }();
    return *pool;
}

template<class T> void releaseVector(T &&bundle)
{
    if (!bundle.empty())
        releaseElsewhere(std::make_shared<std::decay_t<T>>(std::forward<T>(bundle)));
}

// Calls `f` on each live observer; observers unregistered meanwhile are left out and swept after.
template<class F>
void forEachObserver(std::vector<ICollectionObserver *> &observers, int &delivering, F &&f)
{
    ++delivering;
    for (std::size_t i = 0; i < observers.size(); ++i)
        if (observers[i])
            f(observers[i]);
    if (--delivering == 0)
        observers.erase(std::remove(observers.begin(), observers.end(), nullptr), observers.end());
}

void removeObserver(std::vector<ICollectionObserver *> &observers,
                    int delivering,
                    const ICollectionObserver *observer)
{
    for (auto &o : observers)
        if (o == observer)
            o = nullptr;
    if (delivering == 0)
        observers.erase(std::remove(observers.begin(), observers.end(), nullptr), observers.end());
}

} // namespace

ICollectionObserver::~ICollectionObserver() = default;
void ICollectionObserver::itemAdded(Collection &, const ItemPtr &) { }
void ICollectionObserver::itemRemoved(Collection &, const ItemPtr &) { }
void ICollectionObserver::itemChanged(Collection &, const ItemPtr &) { }
void ICollectionObserver::collectionChanged(Collection &) { }

struct ItemStorage::Impl {
    std::vector<std::shared_ptr<Collection>> collections;
    QHash<QString, std::shared_ptr<Collection>> byName;
    std::vector<ICollectionObserver *> observers;
    int delivering = 0;
};

Collection::Collection(QString name)
    : m_name(std::move(name))
{
}

Collection::~Collection()
{
    for (const auto &item : m_items)
        item->setOwner(nullptr);
}

ItemPtr Collection::item(const QString &uniqueId) const
{
    const auto it = m_index.constFind(uniqueId);
    return it == m_index.constEnd() ? nullptr : m_items[*it];
}

bool Collection::hasCategory(const QString &category) const
{
    return m_categoryNames.contains(category);
}

void Collection::addCategory(const QString &category, const CategoryInfo &info)
{
    if (hasCategory(category))
        return;
    m_categoryNames.insert(category);
    m_categories.emplace_back(category, info);
}

void Collection::addItem(const ItemPtr &item)
{
    if (!item)
        return;
    if (item->owner() && item->owner() != this)
        item->owner()->removeItem(item->uniqueId());
    const auto it = m_index.constFind(item->uniqueId());
    if (it != m_index.constEnd()) {
        ItemPtr old = m_items[*it];
        if (old == item)
            return;
        // Marks the user made survive a fresh copy of the list.
        if (old->isInstalled())
            item->setInstalled(true);
        if (old->isFavorite())
            item->setFavorite(true);
        old->setOwner(nullptr);
        m_items[*it] = item;
        item->setOwner(this);
        publish(Change::Removed, old);
        publish(Change::Added, item);
        return;
    }
    m_index.insert(item->uniqueId(), m_items.size());
    m_items.push_back(item);
    item->setOwner(this);
    publish(Change::Added, item);
}

bool Collection::removeItem(const QString &uniqueId)
{
    const auto it = m_index.constFind(uniqueId);
    if (it == m_index.constEnd())
        return false;
    const std::size_t place = *it;
    ItemPtr old = std::move(m_items[place]);
    m_items.erase(m_items.begin() + static_cast<std::ptrdiff_t>(place));
    m_index.remove(uniqueId);
    for (auto &i : m_index)
        if (i > place)
            --i;
    old->setOwner(nullptr);
    publish(Change::Removed, old);
    return true;
}

void Collection::clear()
{
    std::vector<ItemPtr> items;
    items.swap(m_items);
    m_index.clear();
    ++m_batchDepth;
    for (const auto &item : items) {
        item->setOwner(nullptr);
        publish(Change::Removed, item);
    }
    setBatch(false);
    releaseVector(std::move(items));
}

void Collection::registerObserver(ICollectionObserver *observer)
{
    if (observer && !isObserverRegistered(observer))
        m_observers.push_back(observer);
}

void Collection::unregisterObserver(ICollectionObserver *observer)
{
    removeObserver(m_observers, m_delivering, observer);
}

bool Collection::isObserverRegistered(const ICollectionObserver *observer) const
{
    return std::find(m_observers.begin(), m_observers.end(), observer) != m_observers.end();
}

void Collection::itemChanged(IItem &item)
{
    const auto it = m_index.constFind(item.uniqueId());
    if (it != m_index.constEnd() && m_items[*it].get() == &item)
        publish(Change::Changed, m_items[*it]);
}

void Collection::publish(Change change, const ItemPtr &item)
{
    if (m_batchDepth > 0) {
        m_pending.emplace_back(change, item);
        return;
    }
    deliver(change, item);
    const auto all = [this](ICollectionObserver *o) { o->collectionChanged(*this); };
    forEachObserver(m_observers, m_delivering, all);
    if (m_storage)
        forEachObserver(m_storage->d->observers, m_storage->d->delivering, all);
}

void Collection::deliver(Change change, const ItemPtr &item)
{
    const auto one = [&](ICollectionObserver *o) {
        switch (change) {
        case Change::Added:
            o->itemAdded(*this, item);
            break;
        case Change::Removed:
            o->itemRemoved(*this, item);
            break;
        case Change::Changed:
            o->itemChanged(*this, item);
            break;
        }
    };
    forEachObserver(m_observers, m_delivering, one);
    if (m_storage)
        forEachObserver(m_storage->d->observers, m_storage->d->delivering, one);
}

void Collection::setBatch(bool on)
{
    if (on) {
        ++m_batchDepth;
        return;
    }
    if (m_batchDepth == 0 || --m_batchDepth > 0)
        return;
    std::vector<std::pair<Change, ItemPtr>> pending;
    pending.swap(m_pending);
    if (pending.empty())
        return;
    for (const auto &[change, item] : pending)
        deliver(change, item);
    const auto all = [this](ICollectionObserver *o) { o->collectionChanged(*this); };
    forEachObserver(m_observers, m_delivering, all);
    if (m_storage)
        forEachObserver(m_storage->d->observers, m_storage->d->delivering, all);
    // Holds the last references to the items the batch replaced.
    releaseVector(std::move(pending));
}

ItemStorage::ItemStorage()
    : d(std::make_unique<Impl>())
{
}

ItemStorage::~ItemStorage()
{
    for (const auto &c : d->collections)
        c->m_storage = nullptr;
}

std::shared_ptr<Collection> ItemStorage::collection(const QString &name)
{
    auto &slot = d->byName[name];
    if (!slot) {
        slot = std::make_shared<Collection>(name);
        slot->m_storage = this;
        d->collections.push_back(slot);
    }
    return slot;
}

std::vector<QString> ItemStorage::collectionNames() const
{
    std::vector<QString> names;
    names.reserve(d->collections.size());
    for (const auto &c : d->collections)
        names.push_back(c->name());
    return names;
}

void ItemStorage::setBatchUpdateMode(const QString &collectionName, bool on)
{
    collection(collectionName)->setBatch(on);
}

bool ItemStorage::isBatchUpdateMode(const QString &collectionName) const
{
    const auto it = d->byName.constFind(collectionName);
    return it != d->byName.constEnd() && (*it)->m_batchDepth > 0;
}

void ItemStorage::registerObserver(ICollectionObserver *observer)
{
    if (observer
        && std::find(d->observers.begin(), d->observers.end(), observer) == d->observers.end())
        d->observers.push_back(observer);
}

void ItemStorage::unregisterObserver(ICollectionObserver *observer)
{
    removeObserver(d->observers, d->delivering, observer);
}

void ItemStorage::reset()
{
    for (const auto &c : d->collections) {
        c->clear();
        c->m_storage = nullptr;
    }
    d->collections.clear();
    d->byName.clear();
}

void ItemStorage::waitForReleases()
{
    releasePool().waitForDone();
}

void releaseElsewhere(std::shared_ptr<const void> bundle)
{
    if (bundle)
        releasePool().start([owned = std::move(bundle)]() mutable { owned.reset(); });
}

ItemStorage &CollectionProvider::itemStorage()
{
    static ItemStorage storage;
    return storage;
}

std::shared_ptr<Collection> CollectionProvider::collection(const QString &name)
{
    return itemStorage().collection(name);
}

} // namespace EditorCollection
