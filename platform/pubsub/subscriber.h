#pragma once

#include "pubsub_export.h"

#include "pubsub/dispatcher.h"
#include "pubsub/message.h"

#include <typeinfo>
#include <vector>

namespace PubSub {
namespace Details {

// What every subscriber has once, however many message types it receives: the senders it listens
// to. A subscriber is registered for its types while it exists but receives nothing until it
// subscribes to a sender or to all senders of a type.
class PUBSUB_EXPORT SubscriberBase {
public:
    SubscriberBase(const SubscriberBase &) = delete;
    SubscriberBase &operator=(const SubscriberBase &) = delete;

    void subscribe(const Object *sender);
    void unsubscribe(const Object *sender);
    void subscribeAll(std::type_index type);
    void unsubscribeAll(std::type_index type);

protected:
    SubscriberBase() = default;
    virtual ~SubscriberBase();

    void registerSelf(void *typedSubscriber, std::type_index type);
    void unregisterSelf(std::type_index type);

private:
    friend class Dispatcher;
    std::vector<const Object *> m_senders;
};

template<class X> class Subscriber : public virtual SubscriberBase {
public:
    virtual void notify(const X &message) = 0;

protected:
    Subscriber() { registerSelf(static_cast<Subscriber<X> *>(this), typeid(X)); }
    ~Subscriber() override { unregisterSelf(typeid(X)); }
};

template<class M> Dispatcher::Channel &channelOf()
{
    // Channels live as long as the process, so the lookup is done once per message type.
    static Dispatcher::Channel &channel = Dispatcher::instance().channel(typeid(M));
    return channel;
}

} // namespace Details

// A class receiving messages of types Ts... derives from this and overrides one notify per type.
template<class... Ts> class Subscriber : public Details::Subscriber<Ts>... {
protected:
    Subscriber() = default;

    // Receive every listed type from all senders.
    void subscribeAllTypes() { (this->subscribeAll(typeid(Ts)), ...); }
    void unsubscribeAllTypes() { (this->unsubscribeAll(typeid(Ts)), ...); }
};

// Delivers `message` to every subscriber of its exact type, in registration order, on this
// thread. A subscriber that unsubscribes during the delivery is skipped from then on; one that
// subscribes during it waits for the next message. An exception from a notify leaves this call
// after the delivery list is released.
template<class M> void publish(const M &message)
{
    const Details::Dispatcher::SubscriberList list
        = Details::Dispatcher::getSubscribers(Details::channelOf<M>());
    const Object *sender = message.sender();
    for (std::size_t i = 0, n = list.size(); i < n; ++i) {
        if (void *typed = Details::Dispatcher::isSubscribed(list, i, sender))
            static_cast<Details::Subscriber<M> *>(typed)->notify(message);
    }
}

} // namespace PubSub
