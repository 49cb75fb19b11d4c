#include "util/scheduler.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>

namespace {

class Owner {
public:
    Owner()
        : scheduler(this, &Owner::report)
    {
    }
    void report() { ++calls; }

    int calls = 0;
    Vantel::Util::Scheduler<Owner> scheduler;
};

// Runs the event loop until nothing is pending any more (bounded, so a broken scheduler fails
// instead of hanging the suite).
void drainEvents()
{
    for (int i = 0; i < 20; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}

TEST(Scheduler, requests_within_one_pass_give_one_later_call_and_after_it_another)
{
    Owner owner;
    owner.scheduler.schedule();
    owner.scheduler.schedule();
    owner.scheduler.schedule();
    EXPECT_EQ(owner.calls, 0) << "never at once";
    drainEvents();
    EXPECT_EQ(owner.calls, 1);
    owner.scheduler.schedule();
    drainEvents();
    EXPECT_EQ(owner.calls, 2);
}

TEST(Scheduler, cancelled_scheduler_never_calls)
{
    Owner owner;
    owner.scheduler.schedule();
    owner.scheduler.cancel();
    drainEvents();
    EXPECT_EQ(owner.calls, 0);
}

TEST(Scheduler, destroyed_with_a_pending_request_never_calls)
{
    Owner owner;
    auto scheduler = std::make_unique<Vantel::Util::Scheduler<Owner>>(&owner, &Owner::report);
    scheduler->schedule();
    scheduler.reset();
    drainEvents();
    EXPECT_EQ(owner.calls, 0);
}

TEST(Scheduler, request_from_another_thread_runs_on_the_owner_thread)
{
    struct Probe {
        void run()
        {
            seen = QThread::currentThread();
            ++calls;
        }
        QThread *seen = nullptr;
        int calls = 0;
    } probe;
    Vantel::Util::Scheduler<Probe> scheduler(&probe, &Probe::run);
    std::unique_ptr<QThread> worker(QThread::create([&] { scheduler.schedule(); }));
    worker->start();
    worker->wait();
    drainEvents();
    EXPECT_EQ(probe.calls, 1);
    EXPECT_EQ(probe.seen, QThread::currentThread());
}

} // namespace
