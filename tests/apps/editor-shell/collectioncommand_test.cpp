#include "loopbackhttpserver.h"
#include "shellrun.h"

#include <QDir>
#include <QJsonArray>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace {

using TestSupport::runShell;

QStringList words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '));
}

const QByteArray song(3000, 's');

QByteArray audioList(const QUrl &songUrl, int size = 3000)
{
    return R"({"translations": {"song_one": {"en_US": "Song one", "de_DE": "Lied eins"}},
      "items": [
        {"collectionId": "Music", "uniqueId": "song-1", "downloadUrl": ")"
        + songUrl.toEncoded() + R"(", "remoteSize": )" + QByteArray::number(size)
        + R"(, "tag": "song_one", "fileFormat": "mp3",
         "author": "Ann", "licenseName": "CC0", "status": "free", "categories": ["Calm"]},
        {"collectionId": "Music", "uniqueId": "song-2", "downloadUrl": ")"
        + songUrl.toEncoded() + R"(", "remoteSize": 3000, "tag": "song_two", "fileFormat": "mp3",
         "status": "paid"}]})";
}

// A data folder whose product configuration points the three lists at a loopback server.
class CollectionCommand : public ::testing::Test {
protected:
    CollectionCommand()
    {
        server.setBody(QStringLiteral("audio"),
                       audioList(server.url(QStringLiteral("/file/song"))));
        server.setBody(QStringLiteral("effects"), R"({"items": []})");
        server.setBody(QStringLiteral("trending"),
                       R"({"collections": [{"name": "Music", "packs": [
                             {"name": "stock", "assets": ["song-2"]}]}]})");
        server.setBody(QStringLiteral("song"), song);
        QFile product(QDir(data.path()).filePath(QStringLiteral("product.json")));
        EXPECT_TRUE(product.open(QIODevice::WriteOnly));
        product.write(R"({"links": {"COLLECTIONS_EXTERNAL_AUDIO_URL": ")"
                      + server.url(QStringLiteral("/file/audio")).toEncoded()
                      + R"(", "COLLECTIONS_EXTERNAL_EFFECTS_URL": ")"
                      + server.url(QStringLiteral("/file/effects")).toEncoded()
                      + R"(", "COLLECTIONS_TRENDING_REQUEST_URL": ")"
                      + server.url(QStringLiteral("/file/trending")).toEncoded() + R"("}})");
    }

    TestSupport::ShellRun shell(QStringList arguments)
    {
        return runShell(QStringLiteral(EDITOR_SHELL), data.path(),
                        QStringList { QStringLiteral("--events-out"), nextEventsPath() }
                            + arguments);
    }

    // The items of the listing by unique id.
    std::map<QString, QJsonObject> listing(const QStringList &extra = {})
    {
        const auto run
            = shell(QStringList { QStringLiteral("collection"), QStringLiteral("--json") } + extra);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        lastListing = QJsonDocument::fromJson(run.out.toUtf8()).object();
        std::map<QString, QJsonObject> items;
        for (const QJsonValue &c : lastListing.value(QStringLiteral("collections")).toArray()) {
            for (const QJsonValue &i : c.toObject().value(QStringLiteral("items")).toArray())
                items[i.toObject().value(QStringLiteral("uniqueId")).toString()] = i.toObject();
        }
        return items;
    }

    // Each run writes its own file of events.
    QString nextEventsPath()
    {
        eventFiles
            << QDir(data.path()).filePath(QStringLiteral("events-%1.jsonl").arg(eventFiles.size()));
        return eventFiles.last();
    }

    // The parameters of the events of that name, over every run so far.
    QList<QJsonObject> events(const QString &name) const
    {
        QList<QJsonObject> result;
        for (const QString &path : eventFiles) {
            for (const QJsonObject &e : TestSupport::jsonLinesOf(path)) {
                if (e.value(QStringLiteral("event")).toString() == name)
                    result << e.value(QStringLiteral("params")).toObject();
            }
        }
        return result;
    }

    TestSupport::LoopbackHttpServer server;
    QTemporaryDir data;
    QJsonObject lastListing;
    QStringList eventFiles;
};

QString text(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toVariant().toString();
}

TEST_F(CollectionCommand, lists_the_lists_with_featured_items_from_the_second_start_on)
{
    auto items = listing({ QStringLiteral("--locale"), QStringLiteral("de_DE") });
    ASSERT_EQ(items.size(), 2u);
    const QJsonObject one = items.at(QStringLiteral("song-1"));
    EXPECT_EQ(text(one, "title") + text(one, "status") + text(one, "author"),
              QStringLiteral("Lied einsfreeAnn"));
    EXPECT_EQ(one.value(QLatin1String("categories")).toArray(),
              QJsonArray { QStringLiteral("Calm") });
    EXPECT_EQ(text(one, "installed"), QStringLiteral("false"));
    EXPECT_TRUE(text(one, "localPath").startsWith(data.path()));
    // The featured configuration on disk at start is what applies: none on the first.
    EXPECT_EQ(text(items.at(QStringLiteral("song-2")), "status")
                  + text(items.at(QStringLiteral("song-2")), "featured"),
              QStringLiteral("paidfalse"));
    // The audio list and the featured one; the effects list waits for the remote settings,
    // which this configuration does not name.
    EXPECT_EQ(lastListing.value(QLatin1String("downloads")).toArray().size(), 2);

    items = listing();
    EXPECT_EQ(text(items.at(QStringLiteral("song-2")), "featured")
                  + text(items.at(QStringLiteral("song-1")), "featured"),
              QStringLiteral("truefalse"));
    // No translation: the tag.
    EXPECT_EQ(text(items.at(QStringLiteral("song-2")), "title"), QStringLiteral("song_two"));
    const auto trending = events(QStringLiteral("TRENDING_CONTENT_LIST_REQUESTED"));
    ASSERT_EQ(trending.size(), 2);
    EXPECT_EQ(text(trending.last(), "ITEMS_COUNT"), QStringLiteral("1"));
}

TEST_F(CollectionCommand, installs_favours_searches_filters_and_deletes_as_the_panel_does)
{
    auto run = shell(words("collection install song-1 --json"));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject install = QJsonDocument::fromJson(run.out.toUtf8())
                                    .object()
                                    .value(QLatin1String("installs"))
                                    .toArray()
                                    .first()
                                    .toObject();
    EXPECT_EQ(text(install, "result"), QStringLiteral("OK"));
    QFile file(text(install, "localPath"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), song);
    EXPECT_EQ(text(events(QStringLiteral("ITEM_INSTALL_RESULT")).first(), "RESULT"),
              QStringLiteral("SUCCESS"));

    EXPECT_EQ(shell(words("collection favorite song-1")).exitCode, 0);
    const QJsonObject installed = listing().at(QStringLiteral("song-1"));
    EXPECT_EQ(text(installed, "installed") + text(installed, "favorite"),
              QStringLiteral("truetrue"));

    for (const char *command :
         { "collection search two --json", "collection filter paid --in Music" }) {
        run = shell(words(command));
        EXPECT_TRUE(run.out.contains(QLatin1String("song-2"))
                    && !run.out.contains(QLatin1String("song-1")))
            << command << ": " << run.out.toStdString();
    }
    EXPECT_EQ(shell(words("collection delete song-1")).exitCode, 0);
    EXPECT_FALSE(file.exists());
    EXPECT_EQ(listing().count(QStringLiteral("song-1")), 0u);
    EXPECT_EQ(events(QStringLiteral("FAVORITE_ITEM_ADDED")).size(), 1);
    EXPECT_EQ(events(QStringLiteral("COLLECTION_SEARCH")).first(),
              (QJsonObject { { QStringLiteral("COLLECTION"), QStringLiteral("MUSIC") },
                             { QStringLiteral("SEARCH_BAR"), QStringLiteral("two") } }));
    EXPECT_EQ(text(events(QStringLiteral("COLLECTION_FILTERED")).first(), "FILTER_NAME"),
              QStringLiteral("PAID"));
    EXPECT_EQ(events(QStringLiteral("ITEM_DELETED")).size(), 1);
    // An install brings a deleted item back.
    run = shell(words("collection install song-1"));
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(text(listing().at(QStringLiteral("song-1")), "installed"), QStringLiteral("true"));
}

TEST_F(CollectionCommand, ctrl_c_cancels_an_install_and_reports_it)
{
    server.setBody(QStringLiteral("audio"), audioList(server.url(QStringLiteral("/stall")), 1000));
    ASSERT_EQ(shell(words("collection")).exitCode, 0); // the list cached and applied
    QProcess process;
    process.start(QStringLiteral(EDITOR_SHELL),
                  { QStringLiteral("--data-dir"), data.path(), QStringLiteral("--events-out"),
                    nextEventsPath(), QStringLiteral("collection"), QStringLiteral("install"),
                    QStringLiteral("song-1") });
    process.setReadChannel(QProcess::StandardError);
    QByteArray err;
    while (!err.contains("Installing") && process.waitForReadyRead(60000))
        err += process.readAllStandardError();
    ASSERT_TRUE(err.contains("Installing")) << err.toStdString();
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    ASSERT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(process.exitCode(), 130)
        << QByteArray(err + process.readAllStandardError()).toStdString()
        << process.readAllStandardOutput().toStdString();
    const auto installs = events(QStringLiteral("ITEM_INSTALL_RESULT"));
    ASSERT_EQ(installs.size(), 1);
    EXPECT_EQ(installs.first().value(QStringLiteral("ERROR")).toString(),
              QStringLiteral("DOWNLOAD_CANCELLED"));
}

} // namespace
