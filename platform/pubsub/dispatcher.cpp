#include "pubsub/dispatcher.h"

#include "pubsub/subscriber.h"

#include <algorithm>

namespace PubSub::Details {

Dispatcher &Dispatcher::instance()
{
    static Dispatcher dispatcher;
    return dispatcher;
}

Dispatcher::Channel &Dispatcher::channel(std::type_index type)
{
    auto &slot = m_channels[type];
    if (!slot)
        slot = std::make_unique<Channel>(type);
    return *slot;
}

void *
Dispatcher::isSubscribed(const SubscriberList &list, std::size_t i, const Object *sender) noexcept
{
    const Entry &entry = list.at(i);
    if (!entry.base)
        return nullptr;
    if (entry.allSenders)
        return entry.typed;
    const auto &senders = entry.base->m_senders;
    return std::find(senders.begin(), senders.end(), sender) != senders.end() ? entry.typed
                                                                              : nullptr;
}

std::size_t Dispatcher::subscriberCount(std::type_index type) const
{
    const auto it = m_channels.find(type);
    if (it == m_channels.end())
        return 0;
    const auto &entries = it->second->entries;
    return std::count_if(entries.begin(), entries.end(), [](const Entry &e) { return e.base; });
}

void Dispatcher::compact(Channel &channel)
{
    auto &entries = channel.entries;
    entries.erase(
        std::remove_if(entries.begin(), entries.end(), [](const Entry &e) { return !e.base; }),
        entries.end());
    channel.hasBlanks = false;
}

void Dispatcher::add(SubscriberBase *base, void *typed, std::type_index type)
{
    channel(type).entries.push_back(Entry { base, typed, false });
}

void Dispatcher::remove(SubscriberBase *base, std::type_index type)
{
    Channel &ch = channel(type);
    for (Entry &entry : ch.entries) {
        if (entry.base == base) {
            entry = Entry { nullptr, nullptr, false };
            ch.hasBlanks = true;
        }
    }
    if (ch.deliveries == 0)
        compact(ch);
}

Dispatcher::Entry *Dispatcher::find(SubscriberBase *base, std::type_index type)
{
    for (Entry &entry : channel(type).entries) {
        if (entry.base == base)
            return &entry;
    }
    return nullptr;
}

} // namespace PubSub::Details
