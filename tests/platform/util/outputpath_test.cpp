#include "outputpath/outputpath.h"
#include "util/settingspaths.h"

#include "tablerow.h"
#include "tempdatafolder.h"
#include "testfiles.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>

namespace {

using TestSupport::readFile;
using TestSupport::writeFile;
using Why = FS::OutputRefusal::Why;

// A user's folder beside a data folder; the project there uses one media file.
class OutputPath : public ::testing::Test {
public:
    OutputPath()
    {
        writeFile(project, "{}");
        writeFile(media, "media");
        rules.kind = QStringLiteral("export");
        rules.inputs = QStringList { project, media };
    }
    QString user(const char *name) const { return folder.filePath(QLatin1String(name)); }

    TestSupport::TempDataFolder data;
    QTemporaryDir folder;
    QString project = user("p.edproj");
    QString media = user("song.mp3");
    FS::OutputRules rules;
};

struct Planted : TestSupport::TableRow {
    // Makes what stands at the output; returns the output's path. Empty: the row cannot run here.
    std::function<QString(OutputPath &)> plant;
    Why why;
};

class OutputRefused
    : public OutputPath
    , public ::testing::WithParamInterface<Planted> { };

TEST_P(OutputRefused, with_a_message_naming_it)
{
    const QString path = GetParam().plant(*this);
    if (path.isEmpty())
        GTEST_SKIP() << "a device node needs the right to make one (mknod)";
    const FS::OutputRefusal refusal = FS::checkOutputPath(path, rules);
    EXPECT_EQ(refusal.why, GetParam().why) << qPrintable(refusal.message);
    EXPECT_TRUE(refusal.message.contains(path)) << qPrintable(refusal.message);
}

QString node(OutputPath &t, const char *name, mode_t mode, dev_t device = 0)
{
    const QString path = t.user(name);
    return ::mknod(QFile::encodeName(path).constData(), mode | 0600, device) == 0 ? path
                                                                                  : QString();
}

INSTANTIATE_TEST_SUITE_P(
    FS,
    OutputRefused,
    ::testing::Values(
        Planted { "fifo", [](OutputPath &t) { return node(t, "o.mp4", S_IFIFO); }, Why::Forbidden },
        Planted { "char_device",
                  [](OutputPath &t) { return node(t, "null.mp4", S_IFCHR, makedev(1, 3)); },
                  Why::Forbidden },
        Planted { "folder",
                  [](OutputPath &t) {
                      QDir(t.folder.path()).mkdir(QStringLiteral("o.mp4"));
                      return t.user("o.mp4");
                  },
                  Why::Forbidden },
        Planted { "socket",
                  [](OutputPath &t) {
                      sockaddr_un address {};
                      address.sun_family = AF_UNIX;
                      const QByteArray path = QFile::encodeName(t.user("s.mp4"));
                      qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
                      const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
                      ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address);
                      ::close(fd);
                      return t.user("s.mp4");
                  },
                  Why::Forbidden },
        Planted { "link_to_a_fifo",
                  [](OutputPath &t) {
                      const QString fifo = node(t, "pipe", S_IFIFO);
                      QFile::link(fifo, t.user("o.mp4"));
                      return t.user("o.mp4");
                  },
                  Why::Forbidden },
        Planted { "the_project", [](OutputPath &t) { return t.project; }, Why::Forbidden },
        Planted { "a_media_file_by_another_name",
                  [](OutputPath &t) {
                      ::link(QFile::encodeName(t.media).constData(),
                             QFile::encodeName(t.user("hard.mp3")).constData());
                      return t.user("hard.mp3");
                  },
                  Why::Forbidden },
        Planted { "a_state_file",
                  [](OutputPath &t) {
                      writeFile(t.data.filePath(QStringLiteral("settings.ini")), "[General]");
                      return t.data.filePath(QStringLiteral("settings.ini"));
                  },
                  Why::Forbidden },
        Planted { "a_new_name_in_a_state_folder",
                  [](OutputPath &t) {
                      return t.data.filePath(QStringLiteral("cache/../recordings/new.wav"));
                  },
                  Why::Forbidden },
        Planted { "an_existing_file",
                  [](OutputPath &t) { return writeFile(t.user("old.mp4"), "old"); }, Why::Exists },
        Planted { "own_output_changed_since",
                  [](OutputPath &t) {
                      writeFile(t.user("o.mp4"), "exported");
                      FS::rememberOutput(t.user("o.mp4"), QStringLiteral("export"));
                      writeFile(t.user("o.mp4"), "changed by the user");
                      return t.user("o.mp4");
                  },
                  Why::Exists },
        Planted { "another_commands_output",
                  [](OutputPath &t) {
                      writeFile(t.user("o.wav"), "recorded");
                      FS::rememberOutput(t.user("o.wav"), QStringLiteral("record"));
                      return t.user("o.wav");
                  },
                  Why::Exists }),
    TestSupport::tableRowName);

TEST_F(OutputPath, takes_a_new_name_the_own_earlier_output_and_a_file_the_user_agreed_to_replace)
{
    EXPECT_FALSE(FS::checkOutputPath(user("new.mp4"), rules));
    EXPECT_FALSE(FS::checkOutputPath(data.filePath(QStringLiteral("demo.mp4")), rules))
        << "a user's file beside the state is the user's";

    writeFile(user("o.mp4"), "exported");
    FS::rememberOutput(user("o.mp4"), QStringLiteral("export"));
    EXPECT_FALSE(FS::checkOutputPath(user("o.mp4"), rules));

    writeFile(user("other.mp4"), "other");
    rules.replaceExisting = true;
    EXPECT_FALSE(FS::checkOutputPath(user("other.mp4"), rules));
    EXPECT_EQ(FS::checkOutputPath(project, rules).why, Why::Forbidden);
    EXPECT_EQ(readFile(project), "{}");
}

TEST_F(OutputPath, the_project_may_be_saved_where_it_was_opened)
{
    rules.kind = QStringLiteral("project");
    rules.replaces = project;
    EXPECT_FALSE(FS::checkOutputPath(project, rules));
    EXPECT_EQ(FS::checkOutputPath(media, rules).why, Why::Forbidden);
}

} // namespace
