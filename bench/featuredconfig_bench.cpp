// Reading the featured configuration: our reader (JSON, then the collection/pack/asset sets
// with every member checked) beside the bare QJsonDocument::fromJson of the same bytes, the
// least a Qt developer would write. A real configuration names a few dozen assets; the large
// rows show where the cost goes if one ever grew a hundredfold.

#include "Collection/featuredconfig.h"

#include <QJsonDocument>

#include <benchmark/benchmark.h>

namespace {

// `assets` identifiers spread over 10 collections of 10 packs each.
QByteArray configOf(int assets)
{
    QByteArray json = "{\"collections\": [";
    const int perPack = std::max(1, assets / 100);
    for (int c = 0; c < 10; ++c) {
        json += (c ? ",{" : "{") + QByteArray("\"name\": \"Collection ") + QByteArray::number(c)
            + "\", \"packs\": [";
        for (int p = 0; p < 10; ++p) {
            json += (p ? ",{" : "{") + QByteArray("\"name\": \"pack-") + QByteArray::number(p)
                + "\", \"assets\": [";
            for (int a = 0; a < perPack; ++a)
                json += (a ? ",\"" : "\"") + QByteArray("asset-") + QByteArray::number(c) + '-'
                    + QByteArray::number(p) + '-' + QByteArray::number(a) + '"';
            json += "]}";
        }
        json += "]}";
    }
    return json + "]}";
}

void BM_FeaturedConfig_Ours(benchmark::State &state)
{
    const QByteArray json = configOf(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(EditorCollection::parseFeaturedConfig(json));
    state.SetBytesProcessed(state.iterations() * json.size());
}

void BM_FeaturedConfig_BareFromJson(benchmark::State &state)
{
    const QByteArray json = configOf(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(json));
    state.SetBytesProcessed(state.iterations() * json.size());
}

BENCHMARK(BM_FeaturedConfig_Ours)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FeaturedConfig_BareFromJson)
    ->Arg(100)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
