#include "pubsub/subscriber.h"

#include <algorithm>
#include <stdexcept>

namespace PubSub::Details {

SubscriberBase::~SubscriberBase() = default;

void SubscriberBase::subscribe(const Object *sender)
{
    if (std::find(m_senders.begin(), m_senders.end(), sender) == m_senders.end())
        m_senders.push_back(sender);
}

void SubscriberBase::unsubscribe(const Object *sender)
{
    m_senders.erase(std::remove(m_senders.begin(), m_senders.end(), sender), m_senders.end());
}

void SubscriberBase::subscribeAll(std::type_index type)
{
    Dispatcher::Entry *entry = Dispatcher::instance().find(this, type);
    if (!entry)
        throw std::logic_error(
            std::string("subscribeAll for a type this subscriber does not receive: ")
            + type.name());
    entry->allSenders = true;
}

void SubscriberBase::unsubscribeAll(std::type_index type)
{
    if (Dispatcher::Entry *entry = Dispatcher::instance().find(this, type))
        entry->allSenders = false;
}

void SubscriberBase::registerSelf(void *typedSubscriber, std::type_index type)
{
    Dispatcher::instance().add(this, typedSubscriber, type);
}

void SubscriberBase::unregisterSelf(std::type_index type)
{
    Dispatcher::instance().remove(this, type);
}

} // namespace PubSub::Details
