#include "shellrun.h"
#include "testfiles.h"

#include <QJsonArray>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using TestSupport::runShell;

QJsonObject configJson(const QString &dataDir)
{
    const auto run = runShell(EDITOR_SHELL, dataDir, { "config", "--json" });
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    return QJsonDocument::fromJson(run.out.toUtf8()).object();
}

// "section.key" -> "value (source)"
std::map<QString, QString> settingsOf(const QJsonObject &config)
{
    std::map<QString, QString> result;
    for (const QJsonValue &row : config.value("settings").toArray()) {
        const QJsonObject o = row.toObject();
        result[o.value("section").toString() + '.' + o.value("key").toString()]
            = o.value("value").toVariant().toString() + " (" + o.value("source").toString() + ')';
    }
    return result;
}

QString fetchResult(const QJsonObject &config)
{
    return config.value("fetch").toObject().value("result").toString();
}

TEST(ConfigCommand, a_fresh_machine_fetches_the_bundled_configuration_then_revalidates_it)
{
    QTemporaryDir data;
    const QJsonObject first = configJson(data.path());
    EXPECT_EQ(fetchResult(first), "ok");
    const auto fetched = settingsOf(first);
    EXPECT_EQ(fetched.at("CollectionSettings.LoadExternalEffects"), "true (fetched)");
    EXPECT_EQ(fetched.at("FastTrackSettings.FastTrackImplementation"), "Util (fetched)");
    EXPECT_EQ(fetched.count("CoreSettings.FullGpuDecoders"), 1u);
    EXPECT_GE(fetched.size(), 4u); // and every key of the AI-model section

    const QJsonObject second = configJson(data.path());
    EXPECT_EQ(fetchResult(second), "not-modified");
    EXPECT_EQ(settingsOf(second).at("CollectionSettings.LoadExternalEffects"), "true (cached)");
}

TEST(ConfigCommand, a_damaged_configuration_leaves_the_defaults_and_says_why)
{
    QTemporaryDir data;
    TestSupport::writeFile(data.filePath("product.json"),
                           R"({"links": {"WEB_CONFIG_URL": "remote.json"}})");
    TestSupport::writeFile(
        data.filePath("remote.json"),
        R"({"CollectionSettings": {"LoadExternalEffects": "yes"}, "CollectionSettings": {}})");
    const QJsonObject config = configJson(data.path());
    EXPECT_EQ(fetchResult(config), "failed");
    EXPECT_TRUE(
        config.value("fetch").toObject().value("error").toString().contains("appears twice"));
    EXPECT_EQ(settingsOf(config).at("CollectionSettings.LoadExternalEffects"), "false (default)");
}

TEST(LinksCommand, lists_every_key_with_its_address_and_origin)
{
    QTemporaryDir data;
    const auto run = runShell(EDITOR_SHELL, data.path(), { "links", "--json" });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonArray links = QJsonDocument::fromJson(run.out.toUtf8()).array();
    EXPECT_EQ(links.size(), 110);
    std::map<int, QJsonObject> byValue;
    for (const QJsonValue &link : links)
        byValue[link.toObject().value("value").toInt()] = link.toObject();
    EXPECT_EQ(byValue[153].value("key").toString(), "COLLECTIONS_EXTERNAL_AUDIO_URL");
    EXPECT_TRUE(byValue[120].value("url").toString().startsWith("file:"));
    EXPECT_TRUE(byValue[120].value("from").toString().endsWith("product.json"));
    EXPECT_TRUE(byValue[97].value("from").isNull());
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
}

} // namespace
