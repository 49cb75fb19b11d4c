#include "pubsub/subscriber.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Domain;

class Ping : public Message::Types::Notification<Domain> {
public:
    Ping(const PubSub::Object *sender, int value)
        : Notification(sender)
        , value(value)
    {
    }
    int value;
};

class Pong : public Message::Types::Request<Domain> {
public:
    explicit Pong(const PubSub::Object *sender)
        : Request(sender)
    {
    }
};

class DomainObject final : public PubSub::Object { };

// Records what it received, in order, into a log shared by several subscribers; an optional
// action runs inside notify so tests can act during a delivery.
class Probe : public PubSub::Subscriber<Ping, Pong> {
public:
    Probe(std::string name, std::vector<std::string> &log)
        : m_name(std::move(name))
        , m_log(log)
    {
    }

    using PubSub::Subscriber<Ping, Pong>::subscribeAllTypes;
    using PubSub::Subscriber<Ping, Pong>::unsubscribeAllTypes;

    void notify(const Ping &ping) override
    {
        m_log.push_back(m_name + ":" + std::to_string(ping.value));
        if (onPing)
            onPing(ping);
    }
    void notify(const Pong &) override { m_log.push_back(m_name + ":pong"); }

    std::function<void(const Ping &)> onPing;

private:
    std::string m_name;
    std::vector<std::string> &m_log;
};

class Dispatcher : public ::testing::Test {
protected:
    DomainObject sender;
    DomainObject otherSender;
    std::vector<std::string> log;
};

TEST_F(Dispatcher, delivers_in_registration_order_synchronously)
{
    Probe a("a", log), b("b", log), c("c", log);
    a.subscribeAllTypes();
    b.subscribeAllTypes();
    c.subscribeAllTypes();
    PubSub::publish(Ping(&sender, 1));
    EXPECT_EQ(log, (std::vector<std::string> { "a:1", "b:1", "c:1" }));
}

TEST_F(Dispatcher, registered_unsubscribed_and_destroyed_subscribers_receive_nothing)
{
    Probe never("never", log), stopped("stopped", log);
    stopped.subscribeAllTypes();
    stopped.unsubscribeAllTypes();
    {
        Probe gone("gone", log);
        gone.subscribeAllTypes();
    }
    PubSub::publish(Ping(&sender, 1));
    EXPECT_TRUE(log.empty());
    // The living two stay registered; the destroyed one is gone.
    EXPECT_EQ(PubSub::Details::Dispatcher::instance().subscriberCount(typeid(Ping)), 2u);
}

TEST_F(Dispatcher, named_sender_filters_other_senders)
{
    Probe a("a", log);
    a.subscribe(&sender);
    PubSub::publish(Ping(&otherSender, 1));
    PubSub::publish(Ping(&sender, 2));
    EXPECT_EQ(log, (std::vector<std::string> { "a:2" }));
}

TEST_F(Dispatcher, subscribe_all_is_per_type)
{
    Probe a("a", log);
    a.subscribeAll(typeid(Pong));
    PubSub::publish(Ping(&sender, 1));
    PubSub::publish(Pong(&sender));
    EXPECT_EQ(log, (std::vector<std::string> { "a:pong" }));
}

TEST_F(Dispatcher, subscribers_unsubscribed_or_destroyed_during_delivery_are_skipped)
{
    Probe a("a", log), b("b", log), d("d", log);
    auto c = std::make_unique<Probe>("c", log);
    a.subscribeAllTypes();
    b.subscribeAllTypes();
    c->subscribeAllTypes();
    d.subscribeAllTypes();
    a.onPing = [&](const Ping &) {
        b.unsubscribeAllTypes();
        c.reset();
    };
    PubSub::publish(Ping(&sender, 1));
    EXPECT_EQ(log, (std::vector<std::string> { "a:1", "d:1" }));
    EXPECT_EQ(PubSub::Details::Dispatcher::instance().subscriberCount(typeid(Ping)), 3u)
        << "c's blank was dropped";
}

TEST_F(Dispatcher, subscriber_added_during_delivery_waits_for_the_next_message)
{
    Probe a("a", log);
    a.subscribeAllTypes();
    std::unique_ptr<Probe> late;
    a.onPing = [&](const Ping &) {
        if (!late) {
            late = std::make_unique<Probe>("late", log);
            late->subscribeAllTypes();
        }
    };
    PubSub::publish(Ping(&sender, 1));
    PubSub::publish(Ping(&sender, 2));
    EXPECT_EQ(log, (std::vector<std::string> { "a:1", "a:2", "late:2" }));
}

TEST_F(Dispatcher, nested_publish_of_the_same_type_is_delivered_inside)
{
    Probe a("a", log), b("b", log);
    a.subscribeAllTypes();
    b.subscribeAllTypes();
    a.onPing = [&](const Ping &ping) {
        if (ping.value == 1)
            PubSub::publish(Ping(&sender, 2));
    };
    PubSub::publish(Ping(&sender, 1));
    EXPECT_EQ(log, (std::vector<std::string> { "a:1", "a:2", "b:2", "b:1" }));
}

TEST_F(Dispatcher, exception_from_notify_reaches_the_publisher_and_releases_the_list)
{
    Probe a("a", log);
    auto b = std::make_unique<Probe>("b", log);
    a.subscribeAllTypes();
    b->subscribeAllTypes();
    a.onPing = [&](const Ping &) {
        b.reset();
        throw std::runtime_error("boom");
    };
    EXPECT_THROW(PubSub::publish(Ping(&sender, 1)), std::runtime_error);
    // The blanked registration was dropped when the list was released, and delivery works again.
    EXPECT_EQ(PubSub::Details::Dispatcher::instance().subscriberCount(typeid(Ping)), 1u);
    a.onPing = nullptr;
    PubSub::publish(Ping(&sender, 2));
    EXPECT_EQ(log, (std::vector<std::string> { "a:1", "a:2" }));
}

TEST_F(Dispatcher, subscribe_all_for_a_foreign_type_is_refused)
{
    Probe a("a", log);
    EXPECT_THROW(a.subscribeAll(typeid(int)), std::logic_error);
}

} // namespace
