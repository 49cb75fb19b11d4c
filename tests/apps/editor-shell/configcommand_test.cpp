#include "shellrun.h"

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using TestSupport::runShell;

QJsonObject configJson(const QString &dataDir)
{
    const auto run = runShell(QStringLiteral(EDITOR_SHELL), dataDir,
                              { QStringLiteral("config"), QStringLiteral("--json") });
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    return QJsonDocument::fromJson(run.out.toUtf8()).object();
}

// "section.key" -> "value (source)"
std::map<QString, QString> settingsOf(const QJsonObject &config)
{
    std::map<QString, QString> result;
    for (const QJsonValue &row : config.value(QStringLiteral("settings")).toArray()) {
        const QJsonObject o = row.toObject();
        result[o.value(QStringLiteral("section")).toString() + QLatin1Char('.')
               + o.value(QStringLiteral("key")).toString()]
            = o.value(QStringLiteral("value")).toVariant().toString() + QStringLiteral(" (")
            + o.value(QStringLiteral("source")).toString() + QLatin1Char(')');
    }
    return result;
}

QString fetchResult(const QJsonObject &config)
{
    return config.value(QStringLiteral("fetch"))
        .toObject()
        .value(QStringLiteral("result"))
        .toString();
}

TEST(ConfigCommand, a_fresh_machine_fetches_the_bundled_configuration_then_revalidates_it)
{
    QTemporaryDir data;
    const QJsonObject first = configJson(data.path());
    EXPECT_EQ(fetchResult(first), QStringLiteral("ok"));
    const auto fetched = settingsOf(first);
    EXPECT_EQ(fetched.at(QStringLiteral("CollectionSettings.LoadExternalEffects")),
              QStringLiteral("true (fetched)"));
    EXPECT_EQ(fetched.at(QStringLiteral("FastTrackSettings.FastTrackImplementation")),
              QStringLiteral("Util (fetched)"));
    EXPECT_EQ(fetched.count(QStringLiteral("CoreSettings.FullGpuDecoders")), 1u);
    EXPECT_GE(fetched.size(), 4u); // and every key of the AI-model section

    const QJsonObject second = configJson(data.path());
    EXPECT_EQ(fetchResult(second), QStringLiteral("not-modified"));
    EXPECT_EQ(settingsOf(second).at(QStringLiteral("CollectionSettings.LoadExternalEffects")),
              QStringLiteral("true (cached)"));
}

TEST(ConfigCommand, a_damaged_configuration_leaves_the_defaults_and_says_why)
{
    QTemporaryDir data;
    QFile product(QDir(data.path()).filePath(QStringLiteral("product.json")));
    QFile damaged(QDir(data.path()).filePath(QStringLiteral("remote.json")));
    ASSERT_TRUE(product.open(QIODevice::WriteOnly) && damaged.open(QIODevice::WriteOnly));
    product.write(R"({"links": {"WEB_CONFIG_URL": "remote.json"}})");
    damaged.write(
        R"({"CollectionSettings": {"LoadExternalEffects": "yes"}, "CollectionSettings": {}})");
    product.close();
    damaged.close();
    const QJsonObject config = configJson(data.path());
    EXPECT_EQ(fetchResult(config), QStringLiteral("failed"));
    EXPECT_TRUE(config.value(QStringLiteral("fetch"))
                    .toObject()
                    .value(QStringLiteral("error"))
                    .toString()
                    .contains(QLatin1String("appears twice")));
    EXPECT_EQ(settingsOf(config).at(QStringLiteral("CollectionSettings.LoadExternalEffects")),
              QStringLiteral("false (default)"));
}

TEST(LinksCommand, lists_every_key_with_its_address_and_origin)
{
    QTemporaryDir data;
    const auto run = runShell(QStringLiteral(EDITOR_SHELL), data.path(),
                              { QStringLiteral("links"), QStringLiteral("--json") });
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonArray links = QJsonDocument::fromJson(run.out.toUtf8()).array();
    EXPECT_EQ(links.size(), 110);
    std::map<int, QJsonObject> byValue;
    for (const QJsonValue &link : links)
        byValue[link.toObject().value(QStringLiteral("value")).toInt()] = link.toObject();
    EXPECT_EQ(byValue[153].value(QStringLiteral("key")).toString(),
              QStringLiteral("COLLECTIONS_EXTERNAL_AUDIO_URL"));
    EXPECT_TRUE(
        byValue[120].value(QStringLiteral("url")).toString().startsWith(QLatin1String("file:")));
    EXPECT_TRUE(byValue[120]
                    .value(QStringLiteral("from"))
                    .toString()
                    .endsWith(QLatin1String("product.json")));
    EXPECT_TRUE(byValue[97].value(QStringLiteral("from")).isNull());
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
}

} // namespace
