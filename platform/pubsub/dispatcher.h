#pragma once

#include "pubsub_export.h"

#include "pubsub/object.h"

#include <cstddef>
#include <memory>
#include <typeindex>
#include <unordered_map>
#include <vector>

// The one dispatcher of the process. Delivery is synchronous on the publisher's thread. The
// registry belongs to the main thread: subscribers are made, subscribed and published to there;
// other threads hand their work to the main event loop first.
namespace PubSub::Details {

class SubscriberBase;

class PUBSUB_EXPORT Dispatcher {
public:
    // One registration of a subscriber for one message type. `typed` is the subscriber seen as
    // Details::Subscriber<X>, kept because a virtual base cannot be cast back down statically.
    struct Entry {
        SubscriberBase *base;
        void *typed;
        bool allSenders;
    };

    // Every registration for one message type, in registration order. Entries are only ever
    // appended while a delivery runs; one that goes away is blanked and the list is compacted when
    // the last delivery over it returns, so delivering never copies the list.
    struct Channel {
        explicit Channel(std::type_index type)
            : type(type)
        {
        }
        std::type_index type;
        std::vector<Entry> entries;
        unsigned deliveries = 0;
        bool hasBlanks = false;
    };

    // The list of one delivery: the registrations present when it started. Releasing it (its
    // destructor, also when a notify throws) lets the channel drop blanked entries.
    class SubscriberList {
    public:
        explicit SubscriberList(Channel &channel) noexcept
            : m_channel(channel)
            , m_size(channel.entries.size())
        {
            ++m_channel.deliveries;
        }
        SubscriberList(const SubscriberList &) = delete;
        SubscriberList &operator=(const SubscriberList &) = delete;
        ~SubscriberList()
        {
            if (--m_channel.deliveries == 0 && m_channel.hasBlanks)
                Dispatcher::compact(m_channel);
        }

        std::size_t size() const noexcept { return m_size; }
        const Entry &at(std::size_t i) const noexcept { return m_channel.entries[i]; }

    private:
        Channel &m_channel;
        std::size_t m_size;
    };

    static Dispatcher &instance();

    // The channel of a message type; created on first use and kept for the life of the process,
    // so callers may cache the reference.
    Channel &channel(std::type_index type);

    static SubscriberList getSubscribers(Channel &channel) noexcept
    {
        return SubscriberList(channel);
    }

    // Whether entry i of a running delivery is still subscribed to `sender` right now; returns
    // the typed subscriber to call, or null to skip it.
    static void *
    isSubscribed(const SubscriberList &list, std::size_t i, const Object *sender) noexcept;

    std::size_t subscriberCount(std::type_index type) const;

private:
    friend class SubscriberBase;

    static void compact(Channel &channel);

    void add(SubscriberBase *base, void *typed, std::type_index type);
    void remove(SubscriberBase *base, std::type_index type);
    Entry *find(SubscriberBase *base, std::type_index type);

    std::unordered_map<std::type_index, std::unique_ptr<Channel>> m_channels;
};

} // namespace PubSub::Details
