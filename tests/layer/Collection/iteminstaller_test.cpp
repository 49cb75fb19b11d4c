#include "Collection/iteminstaller.h"

#include "collectionfixture.h"
#include "smalltmpfs.h"
#include "tablerow.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QTemporaryDir>

#include <functional>
#include <optional>

namespace {

using namespace CollectionTest;
using namespace EditorCollection;
using Statistics::ItemInstallResult;

const QByteArray song(3000, 's');
const QByteArray earlierCopy = "an earlier copy";

struct InstallCase : TestSupport::TableRow {
    const char *serverPath;
    qint64 remoteSize;
    ItemInstallResult result;
    // Before the install: the place is set up (links planted, the disk filled...). Returns
    // false to skip the row, with the reason in `why`.
    std::function<bool(const QString &root, const QString &outside, std::string *why)> prepare
        = nullptr;
    bool cancelOnProgress = false;
    // The item's path relative to the resources folder.
    const char *relativePath = "Music/song-1/song.mp3";
    bool fillDisk = false; // on the small disk the row mounted
};

bool plantLink(const QString &link, const QString &target)
{
    QDir().mkpath(QFileInfo(link).absolutePath());
    return QFile::link(target, link);
}

bool smallDisk(std::unique_ptr<TestSupport::SmallTmpfs> &tmpfs, std::string *why)
{
    tmpfs = std::make_unique<TestSupport::SmallTmpfs>(256 * 1024);
    if (!tmpfs->mounted()) {
        *why = tmpfs->reason();
        return false;
    }
    Settings::setDataFolder(tmpfs->path());
    return true;
}

std::unique_ptr<TestSupport::SmallTmpfs> &disk()
{
    static std::unique_ptr<TestSupport::SmallTmpfs> tmpfs;
    return tmpfs;
}

class Install
    : public CollectionFixture
    , public ::testing::WithParamInterface<InstallCase> { };

struct Finished {
    ItemInstallResult result;
    QString error;
};

// Whatever happens, the report names it, a failed install leaves the earlier copy as it was and
// no partial file behind, and nothing is ever written outside the resources folder.
TEST_P(Install, ends_with_one_report_and_a_whole_file_or_the_old_one)
{
    const InstallCase &c = GetParam();
    QTemporaryDir outside;
    std::string why;
    if (c.prepare && !c.prepare(Settings::downloadableResourcesPath(), outside.path(), &why))
        GTEST_SKIP() << why;
    const QString root = Settings::downloadableResourcesPath();
    const QString path = root + QLatin1Char('/') + QLatin1String(c.relativePath);
    if (QFileInfo(path).absolutePath().startsWith(root) && !QFileInfo(path).isSymLink()
        && FS::isInside(root, path) && unsafeInstallPath(root, path).isEmpty())
        writeFile(path, earlierCopy);
    if (c.fillDisk)
        disk()->fill();
    server.setBody(QStringLiteral("song"), song);

    Payload payload;
    payload.import = std::make_shared<Import::Object>();
    payload.import->filePath = path;
    const ItemPtr item = ItemFactory::createItem(QStringLiteral("song-1"), payload);
    item->setDownloadUrl(server.url(QString::fromLatin1(c.serverPath)));
    item->setRemoteSize(c.remoteSize);

    ItemInstaller installer;
    std::vector<Finished> finished;
    QObject::connect(&installer, &ItemInstaller::finished, &installer,
                     [&](const ItemPtr &, ItemInstallResult result, const QString &error) {
                         finished.push_back({ result, error });
                     });
    if (c.cancelOnProgress)
        QObject::connect(&installer, &ItemInstaller::progress, &installer,
                         [&] { installer.cancel(); });
    installer.install(item, ImportReason::Click);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return finished.size() > 0; }));
    EXPECT_EQ(finished.size(), 1u);
    EXPECT_EQ(installer.pending(), 0);
    EXPECT_EQ(finished.front().result, c.result) << finished.front().error.toStdString();

    const bool ok = c.result == ItemInstallResult::Ok;
    EXPECT_EQ(item->isInstalled(), ok);
    if (QFileInfo(path).isFile() && !QFileInfo(path).isSymLink()) {
        EXPECT_EQ(readFile(path), ok ? song : earlierCopy);
    }
    EXPECT_FALSE(QFileInfo::exists(path + QStringLiteral(".download")));
    EXPECT_TRUE(
        QDir(outside.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));

    const auto reports = eventsNamed("ITEM_INSTALL_RESULT");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].at("ITEM_UNIQUE_ID"), "song-1");
    EXPECT_EQ(reports[0].at("REASON"), "CLICK");
    EXPECT_EQ(reports[0].count(ok ? "DOWNLOAD_TIME" : "ERROR"), 1u);
    if (!ok) {
        EXPECT_EQ(reports[0].at("ERROR"), Statistics::itemInstallErrorText(c.result));
    }
    disk().reset();
}

INSTANTIATE_TEST_SUITE_P(
    Collection,
    Install,
    ::testing::Values(
        InstallCase { "good", "/file/song", 3000, ItemInstallResult::Ok },
        InstallCase { "size_not_announced", "/file/song", 0, ItemInstallResult::Ok },
        InstallCase { "not_found", "/file/none", 3000, ItemInstallResult::ConnectionError },
        InstallCase { "server_error", "/status/500", 3000, ItemInstallResult::ConnectionError },
        InstallCase { "cut_body", "/cut", 1000, ItemInstallResult::ConnectionError },
        InstallCase { "smaller_than_announced", "/file/song", 4000,
                      ItemInstallResult::MismatchedResourceSize },
        InstallCase { "larger_than_announced", "/big/900000", 3000,
                      ItemInstallResult::MismatchedResourceSize },
        InstallCase { "cancelled", "/stall", 1000, ItemInstallResult::DownloadCancelled, nullptr,
                      true },
        InstallCase { "a_path_leaving_the_root", "/file/song", 3000,
                      ItemInstallResult::CantCreateFile, nullptr, false, "../../escaped.mp3" },
        InstallCase { "a_linked_folder_under_the_root", "/file/song", 3000,
                      ItemInstallResult::CantCreateFile,
                      [](const QString &root, const QString &outside, std::string *) {
                          return plantLink(root + QStringLiteral("/Music"), outside);
                      } },
        InstallCase { "a_link_at_the_file", "/file/song", 3000, ItemInstallResult::CantCreateFile,
                      [](const QString &root, const QString &outside, std::string *) {
                          return plantLink(root + QStringLiteral("/Music/song-1/song.mp3"),
                                           outside + QStringLiteral("/target"));
                      } },
        InstallCase { "no_room_for_the_announced_size", "/file/song", 3000,
                      ItemInstallResult::NotEnoughSpace,
                      [](const QString &, const QString &, std::string *why) {
                          return smallDisk(disk(), why);
                      },
                      false, "Music/song-1/song.mp3", true },
        InstallCase { "the_disk_fills_while_writing", "/big/900000", 0,
                      ItemInstallResult::NotEnoughSpace,
                      [](const QString &, const QString &, std::string *why) {
                          return smallDisk(disk(), why);
                      },
                      false, "Music/song-1/song.mp3", true }),
    TestSupport::tableRowName);

class InstallAgain : public CollectionFixture {
protected:
    ItemInstallResult install(const ItemPtr &item)
    {
        ItemInstaller installer;
        std::optional<ItemInstallResult> result;
        QObject::connect(
            &installer, &ItemInstaller::finished, &installer,
            [&](const ItemPtr &, ItemInstallResult r, const QString &) { result = r; });
        installer.install(item, ImportReason::Click);
        EXPECT_TRUE(TestSupport::waitUntil([&] { return result.has_value(); }));
        return result.value_or(ItemInstallResult::Unknown);
    }

    ItemPtr item(const QString &relativePath, const QString &serverPath, qint64 size)
    {
        Payload payload;
        payload.import = std::make_shared<Import::Object>();
        payload.import->filePath = Settings::downloadableResourcesPath() + '/' + relativePath;
        const ItemPtr made = ItemFactory::createItem(QStringLiteral("song-2"), payload);
        made->setDownloadUrl(server.url(serverPath));
        made->setRemoteSize(size);
        return made;
    }
};

TEST_F(InstallAgain, a_cut_install_goes_on_from_where_it_stopped)
{
    const QByteArray big(300000, 'b');
    server.setBody(QStringLiteral("big"), big);
    const ItemPtr cut = item(QStringLiteral("Sounds/song-2/big.wav"), "/file/big", big.size());
    server.cutNextAfter(QStringLiteral("/file/big"), 200000);
    EXPECT_EQ(install(cut), ItemInstallResult::ConnectionError);
    EXPECT_FALSE(cut->isInstalled());
    EXPECT_EQ(install(cut), ItemInstallResult::Ok);
    EXPECT_EQ(readFile(cut->localPath()), big);
    // The second install asked for the rest only. (Not counted in bytes sent: Qt may ask again
    // once by itself when a connection closes early.)
    const QByteArray range = server.lastHeader(QStringLiteral("/file/big"), "range");
    EXPECT_TRUE(range.startsWith("bytes=") && !range.startsWith("bytes=0-")) << range.toStdString();
}

TEST_F(InstallAgain, a_failed_install_leaves_no_folder_it_made)
{
    const QString root = Settings::downloadableResourcesPath();
    QDir().mkpath(root);
    EXPECT_EQ(install(item(QStringLiteral("Sounds/song-2/gone.wav"), "/file/none", 10)),
              ItemInstallResult::ConnectionError);
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/Sounds")));
    EXPECT_TRUE(QFileInfo(root).isDir());
}

} // namespace
