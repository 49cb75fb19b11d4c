#include "WebConfig/controller.h"
#include "WebConfig/settings.h"

#include "eventwait.h"
#include "tablerow.h"
#include "tempdatafolder.h"
#include "testfiles.h"

#include "customization/customization.h"
#include "util/settingspaths.h"
#include "webconfig/webconfigfactory.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

using namespace EditorWebConfig;
using Vantel::App::WebConfig::WebConfigFactory;

struct FastTrackRow : TestSupport::TableRow {
    const char *text;
    FastTrackImplementation expected;
};

class FastTrackText : public testing::TestWithParam<FastTrackRow> { };

TEST_P(FastTrackText, maps_only_the_exact_name)
{
    EXPECT_EQ(fastTrackImplementationFromString(GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    WebConfig,
    FastTrackText,
    testing::Values(FastTrackRow { "exact", "Util", FastTrackImplementation::Util },
                    FastTrackRow { "lower_case", "util", FastTrackImplementation::Default },
                    FastTrackRow { "upper_case", "UTIL", FastTrackImplementation::Default },
                    FastTrackRow { "trailing_blank", "Util ", FastTrackImplementation::Default },
                    FastTrackRow { "leading_blank", " Util", FastTrackImplementation::Default },
                    FastTrackRow { "empty", "", FastTrackImplementation::Default },
                    FastTrackRow { "other", "Default", FastTrackImplementation::Default }),
    TestSupport::tableRowName);

// A factory over an in-memory default configuration and nothing to fetch.
std::unique_ptr<WebConfigFactory> factoryWith(const QByteArray &defaults, const QString &cache)
{
    WebConfigFactory::Initializer init;
    init.defaultConfigReader = [defaults] { return defaults; };
    init.cachePath = cache;
    init.url = QUrl();
    return std::make_unique<WebConfigFactory>(std::move(init));
}

struct KeyRow : TestSupport::TableRow {
    const char *key;
    bool changes;
};

class ExactKey : public testing::TestWithParam<KeyRow> {
protected:
    TestSupport::TempDataFolder data;
    std::unique_ptr<WebConfigFactory> factory
        = factoryWith(R"({"CollectionSettings": {"LoadExternalEffects": false}})",
                      Settings::webConfigCachePath());
};

TEST_P(ExactKey, alone_changes_the_value)
{
    CollectionSettings collection(factory->getController());
    collection.SettingChangedBool(GetParam().key, true, false);
    EXPECT_EQ(collection.needLoadExternalEffects(), GetParam().changes);
}

INSTANTIATE_TEST_SUITE_P(WebConfig,
                         ExactKey,
                         testing::Values(KeyRow { "exact", "LoadExternalEffects", true },
                                         KeyRow { "lower_case", "loadexternaleffects", false },
                                         KeyRow { "trailing_blank", "LoadExternalEffects ", false },
                                         KeyRow { "extra_character", "LoadExternalEffectsX",
                                                  false },
                                         KeyRow { "prefix", "LoadExternal", false },
                                         KeyRow { "empty", "", false }),
                         TestSupport::tableRowName);

TEST(WebConfigSettings, without_a_section_every_query_answers_its_default)
{
    TestSupport::TempDataFolder data;
    auto factory = factoryWith("{}", Settings::webConfigCachePath());
    const auto controller = factory->getController();
    for (const ConfigControllerPtr &source :
         std::vector<ConfigControllerPtr> { controller, nullptr }) {
        EXPECT_FALSE(CollectionSettings(source).needLoadExternalEffects());
        EXPECT_FALSE(CoreSettings(source).fullGpuDecoders());
        EXPECT_EQ(FastTrackSettings(source).fastTrackImplementation(),
                  FastTrackImplementation::Default);
        AIModelSettings models(source);
        EXPECT_TRUE(models.getUrlFromKey("SPEECH_TO_TEXT_BASE_MODEL_URL").isEmpty());
        EXPECT_TRUE(models.getUrlFromKey("").isEmpty());
    }
}

TEST(WebConfigSettings, model_addresses_follow_what_the_manager_takes)
{
    TestSupport::TempDataFolder data;
    auto factory = factoryWith(R"({"AIModelSettings": {"A": "https://m/a", "Flag": true}})",
                               Settings::webConfigCachePath());
    AIModelSettings models(factory->getController());
    AIModelSettings copy(models);
    EXPECT_EQ(models.getUrlFromKey("A"), "https://m/a");
    const auto manager = factory->getController()->settingsManager("AIModelSettings");
    manager->update("A", "https://m/b");
    manager->update("Flag", "text"); // a key of another type is not taken
    EXPECT_EQ(copy.getUrlFromKey("A"), "https://m/b");
    EXPECT_TRUE(manager->getBool("Flag", false));
}

TEST(WebConfigController,
     provides_one_object_each_that_follows_the_fetch_and_leaves_defaults_behind)
{
    TestSupport::TempDataFolder data;
    TestSupport::writeFile(data.filePath("remote.json"),
                           R"({"CollectionSettings": {"LoadExternalEffects": true},
                               "AIModelSettings": {"M": "https://m/x"}})");
    const QString product = TestSupport::writeFile(
        data.filePath("product.json"), R"({"links": {"WEB_CONFIG_URL": "remote.json"}})");
    Customization::setProductConfigPath(product);
    {
        Controller controller(nullptr);
        const auto collection = provideCollectionSettings();
        EXPECT_EQ(collection, provideCollectionSettings());
        EXPECT_FALSE(collection->needLoadExternalEffects()); // the bundled default, until fetched
        const auto config = Vantel::App::WebConfig::activeController();
        ASSERT_TRUE(TestSupport::waitUntil([&] { return !config->fetchStatus().inFlight; }));
        EXPECT_TRUE(collection->needLoadExternalEffects());
        EXPECT_EQ(provideAIModelSettings()->getUrlFromKey("M"), "https://m/x");
    }
    Customization::setProductConfigPath({});
    EXPECT_EQ(provider(), nullptr);
    EXPECT_FALSE(provideCollectionSettings()->needLoadExternalEffects());
}

} // namespace
