#include "project/editlock.h"
#include "project/projectfile.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>

namespace {

using namespace std::chrono_literals;

TEST(EditLock, a_second_editor_is_refused_after_the_wait_and_takes_its_turn_after_the_first)
{
    QTemporaryDir folder;
    const QString project = folder.filePath(QStringLiteral("p.edproj"));
    std::optional<Project::EditLock> first(std::in_place, project, 0ms);
    try {
        Project::EditLock second(project, 50ms);
        ADD_FAILURE() << "two editors held one project";
    } catch (const Project::FileError &e) {
        EXPECT_NE(std::string(e.what()).find(project.toStdString() + " is being changed"),
                  std::string::npos)
            << e.what();
    }
    first.reset();
    EXPECT_NO_THROW(Project::EditLock(project, 0ms));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList())
        << "the lock file goes with the last holder";
}

TEST(EditLock, a_planted_link_in_place_of_the_lock_file_is_not_followed)
{
    QTemporaryDir folder;
    const QString victim = folder.filePath(QStringLiteral("victim"));
    ASSERT_TRUE(QFile::link(victim, folder.filePath(QStringLiteral(".p.edproj.lock"))));
    EXPECT_THROW(Project::EditLock(folder.filePath(QStringLiteral("p.edproj")), 0ms),
                 Project::FileError);
    EXPECT_FALSE(QFile::exists(victim));
}

} // namespace
