// Loading a large external list into the collection, beside what a Qt program would do with the
// same file. The list is made at start: 50,000 items and 50,000 translation keys in the fourteen
// locales, about 80 MB. The whole load (read the cache file, parse, register every translation,
// create every item with its categories, publish the batch) runs through the real controller on
// its start signal; from the second round on it also replaces the previous copy, whose items are
// freed on the collections' release thread.
//
// Peak memory is per process: run one benchmark at a time (--benchmark_filter) to read
// "peak_rss_MB" for that path alone.

#include "Collection/catalogueprotocol.h"
#include "Collection/externallist.h"
#include "Collection/externalresourcescontroller.h"

#include "externallistmaker.h"

#include "collection/collection.h"
#include "customization/customization.h"
#include "translator/translator.h"
#include "util/fs.h"
#include "util/settingspaths.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <sys/resource.h>

namespace {

constexpr int itemCount = 50000;

const QByteArray &list()
{
    static const QByteArray bytes = makeExternalList(itemCount);
    return bytes;
}

// A list at the stated limit of entries, with its translations in English only so that it stays
// within the byte limit of a list.
const QByteArray &listAtLimit()
{
    static const QByteArray bytes
        = makeExternalList(static_cast<int>(EditorCollection::maxExternalListItems), 1);
    return bytes;
}

void peakMemory(benchmark::State &state)
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_rss_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0;
    state.counters["list_MB"] = static_cast<double>(list().size()) / (1024.0 * 1024.0);
}

// What a Qt program does first: the document alone.
void BM_QtFromJson(benchmark::State &state)
{
    for (auto _ : state) {
        QJsonDocument doc = QJsonDocument::fromJson(list());
        benchmark::DoNotOptimize(doc.isObject());
    }
    peakMemory(state);
}
BENCHMARK(BM_QtFromJson)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same plus reading every member into Qt strings, lists and hashes: the Qt way to the data.
void BM_QtFromJsonAndRead(benchmark::State &state)
{
    for (auto _ : state) {
        const QJsonObject top = QJsonDocument::fromJson(list()).object();
        QHash<QString, QVariantMap> translations;
        const QJsonObject t = top.value("translations").toObject();
        for (auto it = t.begin(); it != t.end(); ++it)
            translations.insert(it.key(), it.value().toObject().toVariantMap());
        std::vector<std::pair<QStringList, QHash<QString, QString>>> items;
        for (const QJsonValue v : top.value("items").toArray()) {
            const QJsonObject o = v.toObject();
            QStringList fields;
            for (const char *k :
                 { "collectionId", "uniqueId", "downloadUrl", "tag", "description", "fileFormat",
                   "author", "source", "licenseName", "licenseUrl", "status" })
                fields << o.value(QLatin1String(k)).toString();
            for (const QJsonValue c : o.value("categories").toArray())
                fields << c.toString();
            QHash<QString, QString> previews;
            const QJsonObject p = o.value("previewUrls").toObject();
            for (auto it = p.begin(); it != p.end(); ++it)
                previews.insert(it.key(), it.value().toString());
            items.emplace_back(std::move(fields), std::move(previews));
        }
        benchmark::DoNotOptimize(items.data());
        benchmark::DoNotOptimize(translations.size());
    }
    peakMemory(state);
}
BENCHMARK(BM_QtFromJsonAndRead)->Unit(benchmark::kMillisecond)->UseRealTime();

// The reader alone (simdjson's on-demand API straight into the result's strings).
void BM_ParseExternalList(benchmark::State &state)
{
    QByteArray padded;
    padded.reserve(list().size() + EditorCollection::externalListPadding);
    padded.append(list());
    for (auto _ : state) {
        EditorCollection::ExternalList parsed = EditorCollection::parseExternalList(padded);
        benchmark::DoNotOptimize(parsed.items.data());
    }
    peakMemory(state);
}
BENCHMARK(BM_ParseExternalList)->Unit(benchmark::kMillisecond)->UseRealTime();

// The controller's whole load on its start signal, from the cache file to the published batch.
// `reload` false: the editor's start, into empty collections (between rounds, untimed, the
// collections and translations are emptied). `reload` true: a fresh copy replaces the one loaded,
// whose items and texts the main thread hands to the collections' release thread.
void wholeLoad(benchmark::State &state, bool reload, const QByteArray &bytes = list())
{
    QDir().mkpath(QFileInfo(Settings::externalAudioCachePath()).path());
    FS::writeFileAtomically(Settings::externalAudioCachePath(), bytes);
    EditorCollection::CatalogueProtocol catalogue;
    EditorCollection::ExternalResourcesController controller(catalogue);
    auto &storage = EditorCollection::CollectionProvider::itemStorage();
    for (auto _ : state) {
        emit catalogue.catalogueListRetrieved();
        state.PauseTiming();
        // The fresh copy's download (of an address that does not exist) ends here, untimed.
        QCoreApplication::processEvents();
        if (!reload) {
            storage.reset();
            Translator::clearTranslations();
        }
        // What the round let go of is freed on the release thread; the next round waits for it
        // rather than racing it for the allocator, as no second copy follows a load this soon.
        EditorCollection::ItemStorage::waitForReleases();
        state.ResumeTiming();
    }
    emit catalogue.catalogueListRetrieved();
    QCoreApplication::processEvents();
    state.counters["items"] = static_cast<double>(storage.collection("Music")->size()
                                                  + storage.collection("Sounds")->size());
    storage.reset();
    Translator::clearTranslations();
    EditorCollection::ItemStorage::waitForReleases();
    peakMemory(state);
}

void BM_WholeLoad(benchmark::State &state)
{
    wholeLoad(state, false);
}
BENCHMARK(BM_WholeLoad)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WholeReload(benchmark::State &state)
{
    wholeLoad(state, true);
}
BENCHMARK(BM_WholeReload)->Unit(benchmark::kMillisecond)->UseRealTime();

// The largest list the editor takes: maxExternalListItems entries, loaded whole.
void BM_WholeLoadAtItemLimit(benchmark::State &state)
{
    wholeLoad(state, false, listAtLimit());
    state.counters["list_MB"] = static_cast<double>(listAtLimit().size()) / (1024.0 * 1024.0);
}
BENCHMARK(BM_WholeLoadAtItemLimit)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QTemporaryDir data;
    Settings::setDataFolder(data.path());
    // The fresh copy is asked of a file that is not there: the download fails at once, quietly
    // for the figures.
    const QString product = data.filePath("product.json");
    QFile file(product);
    file.open(QIODevice::WriteOnly);
    file.write(
        R"({"links": {"COLLECTIONS_EXTERNAL_AUDIO_URL": "file:///nonexistent/external_audio.json"}})");
    file.close();
    Customization::setProductConfigPath(product);
    list();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
