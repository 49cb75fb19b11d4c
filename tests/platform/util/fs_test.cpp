#include "util/fs.h"

#include "smalltmpfs.h"
#include "testfiles.h"

#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>
#include <ostream>

TEST(FS, join_path_skips_empty_parts_and_adds_the_extension)
{
    EXPECT_EQ(FS::joinPath({ QStringLiteral("/root"), QString(), QStringLiteral("Music"),
                             QStringLiteral("tag") },
                           QStringLiteral("mp3")),
              QStringLiteral("/root/Music/tag.mp3"));
    EXPECT_EQ(FS::joinPath({ QStringLiteral("a/"), QStringLiteral("b") }), QStringLiteral("a/b"));
}

TEST(FS, extension_is_lower_case_without_dot)
{
    EXPECT_EQ(FS::extensionL(QStringLiteral("/x/Clip.MP4")), QStringLiteral("mp4"));
    EXPECT_EQ(FS::extensionL(QStringLiteral("/x/archive.tar.GZ")), QStringLiteral("gz"));
    EXPECT_EQ(FS::extensionL(QStringLiteral("/x/README")), QString());
}

TEST(FS, paths_that_climb_out_of_the_root_are_not_inside)
{
    const QString root = QStringLiteral("/data/resources");
    EXPECT_TRUE(FS::isInside(root, QStringLiteral("Music/a.mp3")));
    EXPECT_FALSE(FS::isInside(root, QStringLiteral("../secrets")));
    EXPECT_FALSE(FS::isInside(root, QStringLiteral("Music/../../x")));
    EXPECT_FALSE(FS::isInside(root, QStringLiteral("/etc/passwd")));
    EXPECT_FALSE(FS::isInside(root, QStringLiteral("../resources-evil/x")));
    EXPECT_FALSE(FS::isInside(root, QString()));
}

namespace {

using TestSupport::readFile;
using TestSupport::writeFile;

// What a hostile or unlucky data folder holds at the path of a file the application keeps.
struct PlantedPath {
    const char *name;
    std::function<void(const QString &path, const QString &victim)> plant;
    const char *reason; // part of the refusal
};

std::ostream &operator<<(std::ostream &os, const PlantedPath &p)
{
    return os << p.name;
}

const PlantedPath plantedPaths[] = {
    { "symlink", [](const QString &path, const QString &victim) { QFile::link(victim, path); },
      "symbolic link" },
    { "fifo",
      [](const QString &path, const QString &) {
          ::mkfifo(QFile::encodeName(path).constData(), 0644);
      },
      "FIFO" },
    { "folder", [](const QString &path, const QString &) { QDir().mkpath(path); }, "folder" },
};

class PlantedAtStatePath : public testing::TestWithParam<PlantedPath> { };

TEST_P(PlantedAtStatePath, is_neither_read_nor_written_through_and_the_refusal_names_it)
{
    QTemporaryDir dir;
    const QString victim = writeFile(dir.filePath(QStringLiteral("victim")), "precious");
    const QString path = dir.filePath(QStringLiteral("settings.ini"));
    GetParam().plant(path, victim);

    for (const auto &attempt :
         std::vector<std::function<void()>> { [&] { FS::readRegularFile(path, 1024); },
                                              [&] { FS::writeFileAtomically(path, "new"); } }) {
        try {
            attempt();
            ADD_FAILURE() << "accepted";
        } catch (const FS::Error &e) {
            EXPECT_THAT(e.what(), testing::HasSubstr(GetParam().reason));
        }
    }
    EXPECT_EQ(readFile(victim), "precious");
    EXPECT_EQ(QDir(dir.path()).entryList({ QStringLiteral(".*.tmp") }, QDir::Hidden | QDir::Files),
              QStringList());
}

INSTANTIATE_TEST_SUITE_P(FS,
                         PlantedAtStatePath,
                         testing::ValuesIn(plantedPaths),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace

TEST(FS, a_users_own_link_is_replaced_by_the_file_and_its_target_is_left_alone)
{
    QTemporaryDir dir;
    const QString target = writeFile(dir.filePath(QStringLiteral("elsewhere")), "theirs");
    const QString link = dir.filePath(QStringLiteral("link.edproj"));
    ASSERT_TRUE(QFile::link(target, link));
    EXPECT_EQ(FS::readRegularFile(link, 100, FS::LinkPolicy::UsersOwn), "theirs");

    FS::writeFileAtomically(link, "mine", FS::LinkPolicy::UsersOwn);

    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_EQ(readFile(link), "mine");
    EXPECT_EQ(readFile(target), "theirs");
}

TEST(FS, a_link_to_an_endless_device_is_refused_and_a_file_over_the_limit_too)
{
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("zero.edproj"));
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"), link));
    EXPECT_THROW(FS::readRegularFile(link, 1 << 20, FS::LinkPolicy::UsersOwn), FS::Error);

    const QString big = writeFile(dir.filePath(QStringLiteral("big")), QByteArray(101, 'x'));
    EXPECT_EQ(FS::readRegularFile(big, 101).size(), 101);
    EXPECT_THROW(FS::readRegularFile(big, 100), FS::Error);
    try {
        FS::readRegularFile(dir.filePath(QStringLiteral("missing")), 100);
        ADD_FAILURE() << "read a missing file";
    } catch (const FS::Error &e) {
        EXPECT_TRUE(e.notFound()) << e.what();
    }
}

TEST(FS, a_write_keeps_the_files_permissions)
{
    QTemporaryDir dir;
    const QString path = writeFile(dir.filePath(QStringLiteral("private")), "old");
    ASSERT_TRUE(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    FS::writeFileAtomically(path, "new");
    EXPECT_EQ(readFile(path), "new");
    struct stat info { };
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST(FS, a_full_disk_fails_the_write_and_leaves_the_old_file_whole)
{
    TestSupport::SmallTmpfs disk(64 * 1024);
    if (!disk.mounted())
        GTEST_SKIP() << disk.reason();
    const QString path = writeFile(disk.filePath(QStringLiteral("index.json")), "old and whole");
    disk.fill();

    EXPECT_THROW(FS::writeFileAtomically(path, QByteArray(8192, 'n')), FS::Error);

    EXPECT_EQ(readFile(path), "old and whole");
    EXPECT_EQ(QDir(disk.path()).entryList(QDir::Files | QDir::Hidden),
              (QStringList { QStringLiteral(".filler"), QStringLiteral("index.json") }));
}
