// Publishing one message to N subscribers: our dispatcher beside the two alternatives an editor
// developer would reach for, a Qt signal with direct lambda connections and boost::signals2.

#include "pubsub/subscriber.h"

#include <QObject>

#include <benchmark/benchmark.h>
#include <boost/signals2/signal.hpp>

#include <memory>
#include <vector>

namespace {

struct BenchDomain;

class Tick : public Message::Types::Notification<BenchDomain> {
public:
    Tick(const PubSub::Object *sender, int value)
        : Notification(sender)
        , value(value)
    {
    }
    int value;
};

class Sender final : public PubSub::Object { };

class Counter : public PubSub::Subscriber<Tick> {
public:
    Counter() { subscribeAllTypes(); }
    void notify(const Tick &tick) override { benchmark::DoNotOptimize(sum += tick.value); }
    long sum = 0;
};

void BM_PubSub(benchmark::State &state)
{
    Sender sender;
    std::vector<std::unique_ptr<Counter>> counters;
    for (int i = 0; i < state.range(0); ++i)
        counters.push_back(std::make_unique<Counter>());
    for (auto _ : state)
        PubSub::publish(Tick(&sender, 1));
}

} // namespace

class TickEmitter : public QObject {
    Q_OBJECT
signals:
    void tick(int value);
};

namespace {

void BM_QtDirect(benchmark::State &state)
{
    TickEmitter emitter;
    std::vector<long> sums(static_cast<std::size_t>(state.range(0)));
    for (auto &sum : sums) {
        QObject::connect(
            &emitter, &TickEmitter::tick, &emitter,
            [&sum](int value) { benchmark::DoNotOptimize(sum += value); }, Qt::DirectConnection);
    }
    for (auto _ : state)
        emit emitter.tick(1);
}

void BM_Signals2(benchmark::State &state)
{
    boost::signals2::signal<void(int)> signal;
    std::vector<long> sums(static_cast<std::size_t>(state.range(0)));
    for (auto &sum : sums)
        signal.connect([&sum](int value) { benchmark::DoNotOptimize(sum += value); });
    for (auto _ : state)
        signal(1);
}

} // namespace

BENCHMARK(BM_PubSub)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_QtDirect)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_Signals2)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK_MAIN();

#include "pubsub_bench.moc"
