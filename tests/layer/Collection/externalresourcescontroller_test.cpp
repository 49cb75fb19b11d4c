#include "Collection/catalogueprotocol.h"
#include "Collection/externalresourcescontroller.h"
#include "Collection/itemnotifier.h"
#include "Messages/collection.h"
#include "WebConfig/iwebconfigprovider.h"

#include "collection/collection.h"
#include "customization/customization.h"
#include "downloader/resourcemanager.h"
#include "downloader/transferpolicy.h"
#include "pubsub/subscriber.h"
#include "translator/translator.h"
#include "util/settingspaths.h"

#include "eventwait.h"
#include "logcapture.h"
#include "loopbackhttpserver.h"
#include "tempdatafolder.h"
#include "testfiles.h"

#include <gtest/gtest.h>

#include <QRegularExpression>

using namespace EditorCollection;
using TestSupport::readFile;
using TestSupport::writeFile;

namespace {

struct EffectsSwitch : EditorWebConfig::ICollectionSettings {
    bool on = true;
    bool needLoadExternalEffects() const override { return on; }
};

class SettingsProvider final : public EditorWebConfig::IWebConfigProvider {
public:
    std::shared_ptr<EffectsSwitch> collection = std::make_shared<EffectsSwitch>();
    EditorWebConfig::SectionSettings provideCustomizationSettings() override { return {}; }
    EditorWebConfig::SectionSettings provideUpdateCheckerResolver() override { return {}; }
    EditorWebConfig::SectionSettings provideWebSocketSettings() override { return {}; }
    EditorWebConfig::SectionSettings providePartnerSettings() override { return {}; }
    std::shared_ptr<EditorWebConfig::ICoreSettings> provideCoreSettings() override { return {}; }
    std::shared_ptr<EditorWebConfig::IFastTrackSettings> provideFastTrackSettings() override
    {
        return {};
    }
    std::shared_ptr<EditorWebConfig::IAIModelSettings> provideAIModelSettings() override
    {
        return {};
    }
    std::shared_ptr<EditorWebConfig::ICollectionSettings> provideCollectionSettings() override
    {
        return collection;
    }
};

QByteArray list(const QString &collection, const QString &uniqueId, const QString &format = "mp3")
{
    return QStringLiteral(R"({"translations": {"T-%2": {"en_US": "Title %2", "de_DE": "Titel"}},
        "items": [{"collectionId": "%1", "uniqueId": "%2", "tag": "T-%2", "fileFormat": "%3",
                   "downloadUrl": "files/%2.%3", "remoteSize": 10, "status": "free",
                   "categories": ["Calm"], "previewUrls": {"audio": "p/%2"}}]})")
        .arg(collection, uniqueId, format)
        .toUtf8();
}

struct Announcements : PubSub::Subscriber<RegisterItemNotification> {
    Announcements() { subscribe(globalObject()); }
    std::vector<Item> items;
    void notify(const RegisterItemNotification &n) override { items.push_back(n.item); }
};

} // namespace

class ExternalResources : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_productPath = Customization::productConfigPath();
        EditorWebConfig::setupProvider(&provider);
        server.setBody("audio", list("Music", "fresh"));
        server.setBody("effects", list("Transitions", "wipe", "json"));
        server.setBody("html", "<html><body>502 Bad Gateway</body></html>");
        server.setBody("empty", "");
        server.setBody("rawgzip", qCompress(list("Music", "fresh")));
        server.setBody("nolist", R"({"collections": []})");
        server.setBody("nan", R"({"items": [{"collectionId": "Music", "remoteSize": NaN}]})");
        links("/file/audio", "/file/effects");
    }
    void TearDown() override
    {
        EditorWebConfig::setupProvider(nullptr);
        Customization::setProductConfigPath(m_productPath);
        CollectionProvider::itemStorage().reset();
        Translator::clearTranslations();
    }

    void links(const QString &audio, const QString &effects)
    {
        const QString path = data.filePath("product.json");
        writeFile(path,
                  QStringLiteral(R"({"links": {"COLLECTIONS_EXTERNAL_AUDIO_URL": "%1",
                                           "COLLECTIONS_EXTERNAL_EFFECTS_URL": "%2"}})")
                      .arg(server.url(audio).toString(), server.url(effects).toString())
                      .toUtf8());
        Customization::setProductConfigPath(path);
    }

    // One start signal, then the downloads it began run to their end.
    void start()
    {
        emit catalogue.catalogueListRetrieved();
        auto &manager = Downloader::ResourceManager::instance();
        ASSERT_TRUE(TestSupport::waitUntil(
            [&] { return manager.activeCount() == 0 && manager.queuedCount() == 0; }));
    }

    static bool has(const QString &collection, const QString &uniqueId)
    {
        return CollectionProvider::collection(collection)->item(uniqueId) != nullptr;
    }

    TestSupport::TempDataFolder data;
    TestSupport::LoopbackHttpServer server;
    SettingsProvider provider;
    CatalogueProtocol catalogue;
    QString m_productPath;
};

TEST_F(ExternalResources, first_start_applies_the_downloaded_audio_list_at_once)
{
    Announcements bus;
    ItemNotifier notifier;
    ExternalResourcesController controller(catalogue);
    start();
    EXPECT_EQ(readFile(Settings::externalAudioCachePath()), list("Music", "fresh"));
    const ItemPtr item = CollectionProvider::collection("Music")->item("fresh");
    ASSERT_TRUE(item);
    EXPECT_EQ(item->localPath(), Settings::downloadableResourcesPath() + "/Music/fresh/Tfresh.mp3");
    // Addresses in the list are relative to the list's own.
    EXPECT_EQ(item->downloadUrl(), server.url("/file/files/fresh.mp3"));
    EXPECT_EQ(item->previewUrl("audio"), server.url("/file/p/fresh"));
    EXPECT_TRUE(item->hasCategory("Calm"));
    EXPECT_TRUE(CollectionProvider::collection("Music")->hasCategory("Calm"));
    EXPECT_EQ(Translator::translation("T-fresh", "de_DE"), "Titel");
    EXPECT_EQ(Translator::translation("T-fresh", "ru_RU"), "Title fresh");
    const auto announced = std::find_if(bus.items.begin(), bus.items.end(),
                                        [](const Item &i) { return i.key == "fresh"; });
    ASSERT_NE(announced, bus.items.end());
    EXPECT_EQ(announced->kind, ItemKind::Music);
    EXPECT_EQ(announced->importObject->mediaKind, 1);
}

TEST_F(ExternalResources, a_cached_list_is_applied_and_the_fresh_copy_waits_for_the_next_start)
{
    writeFile(Settings::externalAudioCachePath(), list("Sounds", "cached"));
    ExternalResourcesController controller(catalogue);
    start();
    EXPECT_TRUE(has("Sounds", "cached"));
    EXPECT_FALSE(has("Music", "fresh"));
    EXPECT_EQ(readFile(Settings::externalAudioCachePath()), list("Music", "fresh"));
    start();
    EXPECT_TRUE(has("Music", "fresh"));
}

TEST_F(ExternalResources, effects_are_neither_read_nor_downloaded_when_switched_off)
{
    provider.collection->on = false;
    writeFile(Settings::externalEffectsCachePath(), list("Transitions", "cached"));
    ExternalResourcesController controller(catalogue);
    start();
    EXPECT_FALSE(has("Transitions", "cached"));
    EXPECT_EQ(server.requests("/file/effects"), 0);
    provider.collection->on = true;
    start();
    EXPECT_TRUE(has("Transitions", "cached"));
    EXPECT_EQ(server.requests("/file/effects"), 1);
}

TEST_F(ExternalResources, an_unchanged_list_is_revalidated_and_left_as_it_is)
{
    ExternalResourcesController controller(catalogue);
    start();
    const QByteArray before = readFile(Settings::externalAudioCachePath());
    start();
    EXPECT_FALSE(server.lastIfNoneMatch("/file/audio").isEmpty());
    EXPECT_EQ(readFile(Settings::externalAudioCachePath()), before);
    EXPECT_TRUE(has("Music", "fresh"));
}

class FailedDownload
    : public ExternalResources
    , public ::testing::WithParamInterface<const char *> { };

// Also a 200 whose body is no list: it is refused before it reaches the cache.
TEST_P(FailedDownload, keeps_the_cache_and_its_validators_byte_for_byte_and_warns)
{
    links(GetParam(), "/file/effects");
    const QByteArray cached = list("Sounds", "cached");
    const QByteArray validators = R"({"etag":"\"v1\"","lastModified":"","size":1})";
    writeFile(Settings::externalAudioCachePath(), cached);
    writeFile(Downloader::validatorsPath(Settings::externalAudioCachePath()), validators);
    TestSupport::LogCapture log;
    ExternalResourcesController controller(catalogue);
    start();
    EXPECT_EQ(readFile(Settings::externalAudioCachePath()), cached);
    EXPECT_EQ(readFile(Downloader::validatorsPath(Settings::externalAudioCachePath())), validators);
    EXPECT_TRUE(has("Sounds", "cached"));
    EXPECT_EQ(log.matching({ "Failed to download external audio list with errorCode `2`, url='"
                             + server.url(GetParam()).toString().toStdString() + "'" })
                  .size(),
              1u);
}

INSTANTIATE_TEST_SUITE_P(
    Collection,
    FailedDownload,
    ::testing::Values("/status/404",
                      "/status/500",
                      "/cut",
                      "/file/html",
                      "/file/empty",
                      "/file/rawgzip",
                      "/file/nolist",
                      "/file/nan",
                      "/file/a%2Fb"),
    [](const auto &info) {
        return QString(info.param).replace(QRegularExpression("[^a-z0-9]+"), "_").toStdString();
    });

TEST_F(ExternalResources, no_list_takes_over_an_item_another_list_added)
{
    server.setBody("effects", list("Music", "fresh", "ogg"));
    TestSupport::LogCapture log;
    ExternalResourcesController controller(catalogue);
    start();
    start(); // the effects list is applied from its cache now, after the audio list's
    const ItemPtr item = CollectionProvider::collection("Music")->item("fresh");
    ASSERT_TRUE(item);
    EXPECT_TRUE(item->localPath().endsWith(".mp3")) << item->localPath().toStdString();
    EXPECT_EQ(log.matching({ "1 items skipped: the collection already holds an item" }).size(), 2u);
}

TEST_F(ExternalResources, a_list_stalled_at_shutdown_leaves_the_cache_alone)
{
    links("/stall", "/file/effects");
    const QByteArray cached = list("Sounds", "cached");
    writeFile(Settings::externalAudioCachePath(), cached);
    {
        ExternalResourcesController controller(catalogue);
        emit catalogue.catalogueListRetrieved();
        ASSERT_TRUE(TestSupport::waitUntil([&] { return server.requests("/stall") > 0; }));
    }
    EXPECT_EQ(readFile(Settings::externalAudioCachePath()), cached);
}

TEST_F(ExternalResources, a_cache_that_is_no_list_counts_as_loaded_and_adds_nothing)
{
    writeFile(Settings::externalAudioCachePath(), "{\"items\": [");
    TestSupport::LogCapture log;
    ExternalResourcesController controller(catalogue);
    start();
    // Loaded, so the fresh copy waits for the next start.
    EXPECT_FALSE(has("Music", "fresh"));
    EXPECT_EQ(log.matching({ "External list is not valid JSON" }).size(), 1u);
}
