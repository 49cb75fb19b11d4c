#include "webconfig/webconfigfactory.h"

#include "damagedconfigs.h"
#include "downloader/resourcemanager.h"
#include "eventwait.h"
#include "logcapture.h"
#include "loopbackhttpserver.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using namespace Vantel::App::WebConfig;

const QByteArray defaults = R"({"CollectionSettings": {"LoadExternalEffects": false},
    "FastTrackSettings": {"FastTrackImplementation": ""}, "AIModelSettings": {}})";
const QByteArray lastGood = R"({"CollectionSettings": {"LoadExternalEffects": true},
    "FastTrackSettings": {"FastTrackImplementation": "Default"}, "CoreSettings": {"FullGpuDecoders": false}})";
const QByteArray fresh = R"({"CollectionSettings": {"LoadExternalEffects": false},
    "FastTrackSettings": {"FastTrackImplementation": "Util"}, "CoreSettings": {"FullGpuDecoders": false},
    "AIModelSettings": {"M": "u"}})";

using TestSupport::readFile;
using TestSupport::writeFile;

struct RecordingObserver : Vantel::App::AbstractSettingsManagerObserver {
    void
    SettingChangedBool(const std::string &key, bool value, const std::optional<bool> &was) override
    {
        lines.push_back(key + "=" + (value ? "true" : "false") + " was "
                        + (was ? (*was ? "true" : "false") : "none"));
    }
    void SettingChangedString(const std::string &key,
                              const std::string &value,
                              const std::optional<std::string> &was) override
    {
        lines.push_back(key + "=" + value + " was " + was.value_or("none"));
    }
    std::vector<std::string> lines;
};

class WebConfigTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        cachePath = folder.filePath("cache/webconfig.json");
        QDir().mkpath(folder.filePath("cache"));
    }

    std::unique_ptr<WebConfigFactory> factory(const QUrl &url)
    {
        WebConfigFactory::Initializer init;
        init.defaultConfigReader = [] { return defaults; };
        init.cachePath = cachePath;
        init.url = url;
        init.downloads = &downloads;
        return std::make_unique<WebConfigFactory>(std::move(init));
    }

    // Starts a controller and waits for its fetch to end.
    std::shared_ptr<IConfigController> settle(WebConfigFactory &f)
    {
        auto controller = f.getController();
        EXPECT_TRUE(TestSupport::waitUntil([&] { return !controller->fetchStatus().inFlight; }));
        return controller;
    }

    static std::string fastTrack(IConfigController &c)
    {
        return c.settingsManager("FastTrackSettings")->getString("FastTrackImplementation", "?");
    }

    QTemporaryDir folder;
    QString cachePath;
    Downloader::ResourceManager downloads;
};

class DamagedFetch
    : public WebConfigTest
    , public testing::WithParamInterface<DamagedConfig> { };

// A damaged fetch changes nothing: the last good copy stays on disk and in effect.
TEST_P(DamagedFetch, keeps_the_last_good_copy_with_one_warning)
{
    writeFile(cachePath, lastGood);
    const QString damaged = writeFile(folder.filePath("damaged.json"), GetParam().bytes);
    TestSupport::LogCapture log;
    auto f = factory(QUrl::fromLocalFile(damaged));
    const auto controller = settle(*f);

    EXPECT_EQ(controller->fetchStatus().result, FetchStatus::Result::Failed);
    EXPECT_EQ(fastTrack(*controller), "Default");
    EXPECT_EQ(controller->settingsManager("CollectionSettings")->source("LoadExternalEffects"),
              ValueSource::Cached);
    EXPECT_EQ(readFile(cachePath), lastGood);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.matching({ "damaged.json", GetParam().problem }).size(), 1u)
        << log.messages().front();
}

INSTANTIATE_TEST_SUITE_P(WebConfig,
                         DamagedFetch,
                         testing::ValuesIn(damagedConfigs()),
                         TestSupport::tableRowName);

class DamagedCache
    : public WebConfigTest
    , public testing::WithParamInterface<DamagedConfig> { };

// A damaged last good copy is left alone (a later good fetch replaces it) and the defaults hold.
TEST_P(DamagedCache, leaves_the_defaults_with_one_warning)
{
    writeFile(cachePath, GetParam().bytes);
    TestSupport::LogCapture log;
    auto f = factory(QUrl());
    const auto controller = settle(*f);

    EXPECT_EQ(controller->fetchStatus().result, FetchStatus::Result::None);
    EXPECT_EQ(fastTrack(*controller), "");
    EXPECT_EQ(controller->settingsManager("CollectionSettings")->source("LoadExternalEffects"),
              ValueSource::Default);
    EXPECT_EQ(controller->settingsManager("CoreSettings"), nullptr);
    EXPECT_EQ(readFile(cachePath), GetParam().bytes);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.matching({ "webconfig.json", GetParam().problem }).size(), 1u)
        << log.messages().front();
}

INSTANTIATE_TEST_SUITE_P(WebConfig,
                         DamagedCache,
                         testing::ValuesIn(damagedConfigs()),
                         TestSupport::tableRowName);

TEST_F(WebConfigTest, a_good_fetch_replaces_the_last_good_copy_and_tells_each_change_once)
{
    writeFile(cachePath, lastGood);
    const QString source = writeFile(folder.filePath("remote.json"), fresh);
    RecordingObserver collection, core, fastTrackObserver, models; // outlive the controller
    auto f = factory(QUrl::fromLocalFile(source));
    const auto controller = f->getController();
    controller->settingsManager("CollectionSettings")->addObserver(&collection);
    controller->settingsManager("CoreSettings")->addObserver(&core);
    controller->settingsManager("FastTrackSettings")->addObserver(&fastTrackObserver);
    controller->settingsManager("AIModelSettings")->addObserver(&models);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return !controller->fetchStatus().inFlight; }));

    EXPECT_EQ(controller->fetchStatus().result, FetchStatus::Result::Ok);
    EXPECT_EQ(collection.lines, std::vector<std::string> { "LoadExternalEffects=false was true" });
    EXPECT_TRUE(core.lines.empty());
    EXPECT_EQ(fastTrackObserver.lines,
              std::vector<std::string> { "FastTrackImplementation=Util was Default" });
    EXPECT_EQ(models.lines, std::vector<std::string> { "M=u was none" });
    EXPECT_EQ(controller->settingsManager("AIModelSettings")->source("M"), ValueSource::Fetched);
    EXPECT_EQ(readFile(cachePath), fresh);
}

TEST_F(WebConfigTest, over_http_an_unchanged_configuration_is_not_modified_and_a_failure_keeps_it)
{
    TestSupport::LoopbackHttpServer server;
    server.setBody("config", fresh);
    auto first = factory(server.url("/file/config"));
    EXPECT_EQ(settle(*first)->fetchStatus().result, FetchStatus::Result::Ok);
    first.reset();

    auto second = factory(server.url("/file/config"));
    const auto again = settle(*second);
    EXPECT_EQ(again->fetchStatus().result, FetchStatus::Result::NotModified);
    EXPECT_FALSE(server.lastIfNoneMatch("/file/config").isEmpty());
    EXPECT_EQ(again->settingsManager("AIModelSettings")->source("M"), ValueSource::Cached);
    second.reset();

    auto third = factory(server.url("/status/500"));
    const auto failed = settle(*third);
    EXPECT_EQ(failed->fetchStatus().result, FetchStatus::Result::Failed);
    EXPECT_TRUE(failed->fetchStatus().error.contains("HTTP 500"));
    EXPECT_EQ(fastTrack(*failed), "Util");
    EXPECT_EQ(readFile(cachePath), fresh);
}

} // namespace
