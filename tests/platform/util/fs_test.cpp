#include "util/fs.h"

#include <gtest/gtest.h>

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
