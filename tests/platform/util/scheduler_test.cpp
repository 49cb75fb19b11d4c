#include "util/scheduler.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <memory>

namespace {

class Owner
{
public:
    Owner()
        : scheduler(this, &Owner::report)
    {}
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

TEST(Scheduler, calls_back_on_a_later_pass_not_at_once)
{
    Owner owner;
    owner.scheduler.schedule();
    EXPECT_EQ(owner.calls, 0);
    drainEvents();
    EXPECT_EQ(owner.calls, 1);
}

TEST(Scheduler, requests_within_one_pass_give_one_call)
{
    Owner owner;
    owner.scheduler.schedule();
    owner.scheduler.schedule();
    owner.scheduler.schedule();
    drainEvents();
    EXPECT_EQ(owner.calls, 1);
}

TEST(Scheduler, requests_after_the_call_give_another)
{
    Owner owner;
    owner.scheduler.schedule();
    drainEvents();
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
    struct Counting
    {
        int *calls;
        void run() { ++*calls; }
    };
    int calls = 0;
    Counting counting{&calls};
    auto scheduler = std::make_unique<Vantel::Util::Scheduler<Counting>>(&counting, &Counting::run);
    scheduler->schedule();
    scheduler.reset();
    drainEvents();
    EXPECT_EQ(calls, 0);
}

TEST(Scheduler, request_from_another_thread_runs_on_the_owner_thread)
{
    Owner owner;
    QThread *callbackThread = nullptr;
    struct Probe
    {
        QThread **seen;
        int calls = 0;
        void run()
        {
            *seen = QThread::currentThread();
            ++calls;
        }
    } probe{&callbackThread};
    Vantel::Util::Scheduler<Probe> scheduler(&probe, &Probe::run);
    std::unique_ptr<QThread> worker(QThread::create([&] { scheduler.schedule(); }));
    worker->start();
    worker->wait();
    drainEvents();
    EXPECT_EQ(probe.calls, 1);
    EXPECT_EQ(callbackThread, QThread::currentThread());
}

} // namespace
