#include "filestorage/localfilestorage.h"

#include "smalltmpfs.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>

namespace {

using Vantel::App::FileStorageKind;
using Vantel::App::LocalFileStorage;

std::filesystem::path fsPath(const QString &path)
{
    return std::filesystem::u8path(path.toStdString());
}

class Observer : public Vantel::App::IFileStorageControllerObserver {
public:
    explicit Observer(LocalFileStorage &storage)
        : storage(storage)
    {
    }
    void fileStorageStateChanged() override { seen.push_back(storage.isAvailable()); }
    LocalFileStorage &storage;
    std::vector<bool> seen;
};

class LocalFileStorageTest : public ::testing::Test {
protected:
    QString index() const { return dir.filePath("storage/index.json"); }
    QString media(const QString &name, const QByteArray &bytes = "data")
    {
        return TestSupport::writeFile(dir.filePath(name), bytes);
    }
    QTemporaryDir dir;
};

TEST_F(LocalFileStorageTest, keeps_files_with_their_kind_across_runs)
{
    const QString clip = media("été clip 1.mp4", "12345");
    const QString project = media("my film.edproj");
    const QString absent = dir.filePath("not here.wav");
    {
        LocalFileStorage storage(index());
        EXPECT_TRUE(storage.isAvailable());
        EXPECT_EQ(storage.addFiles({ fsPath(clip), fsPath(absent) }, FileStorageKind::Media).size(),
                  2u);
        EXPECT_EQ(storage.addFiles({ fsPath(project) }, FileStorageKind::Project).size(), 1u);
    }
    LocalFileStorage reopened(index());
    const auto files = reopened.files();
    ASSERT_EQ(files.size(), 3u);
    std::map<QString, Vantel::App::StoredFile> byPath;
    for (const auto &f : files)
        byPath[f.path] = f;
    EXPECT_EQ(byPath[clip].kind, FileStorageKind::Media);
    EXPECT_EQ(byPath[clip].size, 5);
    EXPECT_EQ(byPath[absent].size, -1);
    EXPECT_EQ(byPath[project].kind, FileStorageKind::Project);
    EXPECT_TRUE(byPath[project].firstAdded.isValid());
}

TEST_F(LocalFileStorageTest,
       each_registration_is_an_entry_of_its_own_and_files_outlive_their_entries)
{
    const QString clip = media("a.mp4");
    LocalFileStorage storage(index());
    std::vector<Vantel::App::FileStorageEntryId> entries
        = storage.addFiles({ fsPath(clip), fsPath(media("b.mp4")) }, FileStorageKind::Media);
    const auto again = storage.addFiles({ fsPath(clip) }, FileStorageKind::Media);
    ASSERT_EQ(again.size(), 1u);
    EXPECT_EQ(storage.heldEntries(), 3u);
    ASSERT_EQ(storage.files().size(), 2u) << "a file given again is updated, not repeated";
    for (const auto &file : storage.files())
        EXPECT_EQ(file.timesAdded, file.path == clip ? 2 : 1);

    entries.push_back(again.front());
    for (auto id : entries)
        storage.releaseEntry(id);
    storage.releaseEntry(9999);
    EXPECT_EQ(storage.heldEntries(), 0u);
    EXPECT_EQ(storage.files().size(), 2u);
}

TEST_F(LocalFileStorageTest, a_damaged_index_is_set_aside_and_a_new_one_started)
{
    for (const QByteArray &damage :
         { QByteArray("{\"version\": 1, \"files\": [ {"), QByteArray("[1,2,3]"),
           QByteArray("{\"version\": 99}"), QByteArray("\xff\xfe garbage") }) {
        TestSupport::writeFile(index(), damage);
        LocalFileStorage storage(index());
        EXPECT_TRUE(storage.files().empty());
        EXPECT_TRUE(QFile::exists(index() + ".damaged"));
        EXPECT_EQ(storage.addFiles({ fsPath(media("a.mp4")) }, FileStorageKind::Media).size(), 1u);
        EXPECT_EQ(LocalFileStorage(index()).files().size(), 1u);
        QFile::remove(index());
    }
}

TEST_F(LocalFileStorageTest, losing_and_regaining_the_folder_is_told_to_observers)
{
    LocalFileStorage storage(index());
    Observer observer(storage);
    storage.addObserver(&observer);
    const QString folder = QFileInfo(index()).absolutePath();

    // A file where the folder was: nothing can be written there any more.
    ASSERT_TRUE(QDir(folder).removeRecursively());
    TestSupport::writeFile(folder);
    storage.refresh();
    EXPECT_FALSE(storage.isAvailable());
    EXPECT_TRUE(storage.addFiles({ fsPath(media("a.mp4")) }, FileStorageKind::Media).empty());

    ASSERT_TRUE(QFile::remove(folder));
    EXPECT_EQ(storage.addFiles({ fsPath(media("a.mp4")) }, FileStorageKind::Media).size(), 1u)
        << "the folder is made again when files arrive";
    EXPECT_TRUE(storage.isAvailable());
    EXPECT_EQ(observer.seen, (std::vector<bool> { false, true }));

    storage.removeObserver(&observer);
    storage.refresh();
    EXPECT_EQ(observer.seen.size(), 2u);
}

TEST_F(LocalFileStorageTest, editors_sharing_the_index_keep_each_others_entries)
{
    LocalFileStorage first(index());
    LocalFileStorage second(index());
    first.addFiles({ fsPath(media("a.mp4")) }, FileStorageKind::Media);
    second.addFiles({ fsPath(media("b.mp4")) }, FileStorageKind::Media);
    first.addFiles({ fsPath(media("c.mp4")) }, FileStorageKind::Media);
    EXPECT_EQ(LocalFileStorage(index()).files().size(), 3u);
}

// What stands at the index's path. Nothing hangs, nothing outside is written, what was kept
// stays, and the service says it is not available.
struct BadIndexPlace : TestSupport::TableRow {
    std::function<void(const QString &index, const QString &victim)> make;
};

class LocalFileStorageBadIndex
    : public LocalFileStorageTest
    , public ::testing::WithParamInterface<BadIndexPlace> { };

const BadIndexPlace badIndexPlaces[] = {
    { "fifo",
      [](const QString &index, const QString &) {
          QDir().mkpath(QFileInfo(index).absolutePath());
          ::mkfifo(QFile::encodeName(index).constData(), 0644);
      } },
    { "symlink",
      [](const QString &index, const QString &victim) {
          QDir().mkpath(QFileInfo(index).absolutePath());
          QFile::link(victim, index);
      } },
};

TEST_P(LocalFileStorageBadIndex, refuses_the_change_and_writes_nothing_through_it)
{
    const QString victim = media("victim.txt", "precious");
    GetParam().make(index(), victim);
    LocalFileStorage storage(index());
    EXPECT_TRUE(storage.files().empty());
    storage.addFiles({ fsPath(media("a.mp4")) }, FileStorageKind::Media);
    EXPECT_FALSE(storage.isAvailable());
    EXPECT_EQ(TestSupport::readFile(victim), "precious");
}

INSTANTIATE_TEST_SUITE_P(LocalFileStorage,
                         LocalFileStorageBadIndex,
                         ::testing::ValuesIn(badIndexPlaces),
                         TestSupport::tableRowName);

TEST_F(LocalFileStorageTest, a_full_disk_keeps_the_index_as_it_was)
{
    TestSupport::SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const QString onDisk = disk.filePath("storage/index.json");
    LocalFileStorage storage(onDisk);
    storage.addFiles({ fsPath(media("kept.mp4")) }, FileStorageKind::Media);
    disk.fill();

    std::vector<std::filesystem::path> many;
    for (int i = 0; i < 200; ++i)
        many.push_back(fsPath(dir.filePath(QStringLiteral("clip %1.mp4").arg(i))));
    storage.addFiles(many, FileStorageKind::Media);

    EXPECT_FALSE(storage.isAvailable());
    EXPECT_EQ(LocalFileStorage(onDisk).files().size(), 1u);
}

} // namespace
