// The main-thread cost of one usage event: an interaction notification with five parameters
// published, turned into an event by the statistics controller and handed to the tracker's sink.
// Beside it, building a ten-key event map with our formatting and with QString::arg, the way a
// Qt developer would write it first.

#include "Messages/statistics.h"
#include "Statistics/controller.h"
#include "Statistics/eventparams.h"
#include "interactions.h"

#include "pubsub/subscriber.h"
#include "tracking/eventstore.h"
#include "tracking/generalvanteltracker.h"

#include <QString>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <vector>

namespace {

// Stands for the store's hand-off: keeps the event, as the queue would.
class HandOffSink : public Vantel::Tracking::IEventSink {
public:
    void consume(const Vantel::Tracking::TrackedEvent &event) override
    {
        if (kept.size() == 4096)
            kept.clear();
        kept.push_back(event);
    }
    void consume(Vantel::Tracking::TrackedEvent &&event) override
    {
        if (kept.size() == 4096)
            kept.clear();
        kept.push_back(std::move(event));
    }
    std::vector<Vantel::Tracking::TrackedEvent> kept;
};

void publishInteractions(benchmark::State &state,
                         std::shared_ptr<Vantel::Tracking::IEventSink> sink)
{
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker(
        new Vantel::Tracking::GeneralVantelTracker("4a1c2e9f-5b7d-4e38-9c61-0d2f8a7b3e15"));
    tracker->addSink(std::move(sink));
    Statistics::Controller controller(tracker);
    const Statistics::InteractionNotification n = fiveParameterInteraction();
    for (auto _ : state)
        PubSub::publish(n);
}

void BM_InteractionToTracker(benchmark::State &state)
{
    publishInteractions(state, std::make_shared<HandOffSink>());
}

// The same into the real store: what the editor's thread pays for a durable event.
void BM_InteractionToEventStore(benchmark::State &state)
{
    QTemporaryDir dir;
    auto store = std::make_shared<Vantel::Tracking::EventStore>(
        dir.filePath(QStringLiteral("events.sqlite")));
    publishInteractions(state, store);
    store->flush();
}

void BM_EventMapToChars(benchmark::State &state)
{
    std::int64_t v = 1;
    for (auto _ : state) {
        Statistics::Params params;
        params["CLIPS"] = Statistics::decimal(v);
        params["TRANSITIONS"] = Statistics::decimal(v + 1);
        params["EFFECTS"] = Statistics::decimal(v + 2);
        params["TRACKS"] = Statistics::decimal(v + 3);
        params["DURATION_S"] = Statistics::seconds(MTime::fromMSec(v * 1000));
        params["DURATION_MS"] = Statistics::millis(MTime::fromMSec(v * 1000));
        params["LEVEL"] = Statistics::real(0.25 * static_cast<double>(v));
        params["RATIO"] = Statistics::real(1.5);
        params["ENABLED"] = Statistics::flag(v & 1);
        params["NAME"] = Statistics::utf8(QStringLiteral("Cross fade"));
        benchmark::DoNotOptimize(params);
        ++v;
    }
}

void BM_EventMapQStringArg(benchmark::State &state)
{
    qint64 v = 1;
    for (auto _ : state) {
        std::map<std::string, std::string> params;
        params["CLIPS"] = QStringLiteral("%1").arg(v).toStdString();
        params["TRANSITIONS"] = QStringLiteral("%1").arg(v + 1).toStdString();
        params["EFFECTS"] = QStringLiteral("%1").arg(v + 2).toStdString();
        params["TRACKS"] = QStringLiteral("%1").arg(v + 3).toStdString();
        params["DURATION_S"] = QStringLiteral("%1").arg(v).toStdString();
        params["DURATION_MS"] = QStringLiteral("%1").arg(v * 1000).toStdString();
        params["LEVEL"]
            = QStringLiteral("%1").arg(0.25 * static_cast<double>(v), 0, 'g', 6).toStdString();
        params["RATIO"] = QStringLiteral("%1").arg(1.5, 0, 'g', 6).toStdString();
        params["ENABLED"] = QStringLiteral("%1").arg((v & 1) ? "true" : "false").toStdString();
        params["NAME"] = QStringLiteral("Cross fade").toStdString();
        benchmark::DoNotOptimize(params);
        ++v;
    }
}

} // namespace

BENCHMARK(BM_InteractionToTracker);
BENCHMARK(BM_InteractionToEventStore);
BENCHMARK(BM_EventMapToChars);
BENCHMARK(BM_EventMapQStringArg);
BENCHMARK_MAIN();
