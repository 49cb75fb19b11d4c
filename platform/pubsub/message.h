#pragma once

#include "pubsub_export.h"

#include "pubsub/object.h"

#include <memory>
#include <utility>

// Message records. A record is built on the stack by its publisher, handed to the dispatcher
// and destroyed when delivery returns; subscribers must copy what they want to keep.
namespace PubSub {
namespace Details {

class PUBSUB_EXPORT MessageBase {
public:
    explicit MessageBase(const Object *sender) noexcept
        : m_sender(sender)
    {
    }
    MessageBase(const MessageBase &) = default;
    MessageBase &operator=(const MessageBase &) = default;
    virtual ~MessageBase() = default;

    const Object *sender() const noexcept { return m_sender; }

private:
    const Object *m_sender;
};

} // namespace Details

// All records about the domain type T.
template<class T> class Message : public Details::MessageBase {
public:
    using Domain = T;
    using Details::MessageBase::MessageBase;
};

} // namespace PubSub

// The roles a record can play. Requests ask the owner of a domain to act, notifications report a
// fact; the Add/Change/Remove families carry a domain object, the past-tense forms report the done
// deed.
namespace Message::Types {

template<class T> class Request : public PubSub::Message<T> {
public:
    using PubSub::Message<T>::Message;
};

template<class T> class Notification : public PubSub::Message<T> {
public:
    using PubSub::Message<T>::Message;
};

// Base of the roles that carry one shared domain object.
template<class T> class ObjectMessage : public PubSub::Message<T> {
public:
    ObjectMessage(const PubSub::Object *sender, std::shared_ptr<T> object)
        : PubSub::Message<T>(sender)
        , object(std::move(object))
    {
    }

    std::shared_ptr<T> object;
};

template<class T> class Add : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

template<class T> class Added : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

template<class T> class Change : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

template<class T> class Changed : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

template<class T> class Remove : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

template<class T> class Removed : public ObjectMessage<T> {
public:
    using ObjectMessage<T>::ObjectMessage;
};

} // namespace Message::Types
