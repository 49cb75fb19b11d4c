#include "tracking/filesessiontracker.h"

#include "logcapture.h"
#include "tablerow.h"
#include "testfiles.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>
#include <string>
#include <vector>

using namespace Vantel::Tracking;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

std::vector<std::string> ids(const std::vector<FailedSession> &sessions)
{
    std::vector<std::string> result;
    for (const FailedSession &s : sessions)
        result.push_back(s.id);
    return result;
}

class FileSessionTrackerTest : public ::testing::Test {
public:
    QString folder() const { return m_dir.filePath("sessions"); }

    QString file(const std::string &name) const
    {
        return folder() + QChar('/') + QString::fromStdString(name);
    }

    // A record as an earlier run of this code leaves it, in the file the run would name it.
    void
    writeRecord(const std::string &id, const char *state, qint64 started, std::string fileId = {})
    {
        TestSupport::writeFile(file((fileId.empty() ? id : fileId) + ".session"),
                               QStringLiteral(R"({"id":"%1","state":"%2","started":%3,"pid":1})")
                                   .arg(QString::fromStdString(id), QLatin1String(state))
                                   .arg(started)
                                   .toUtf8());
    }

    // Starts the helper process in `mode` and returns the session id it reports.
    std::string startChild(QProcess &child, const QString &mode)
    {
        child.start(QStringLiteral(TRACKING_CHILD), { mode, folder() });
        if (!child.waitForStarted())
            return {};
        while (!child.canReadLine()) {
            if (!child.waitForReadyRead(60000))
                return {};
        }
        return child.readLine().trimmed().toStdString();
    }

    QTemporaryDir m_dir;
};

} // namespace

TEST_F(FileSessionTrackerTest,
       a_run_that_never_ended_is_reported_once_as_failed_and_a_clean_end_never)
{
    std::string earlierId;
    {
        FileSessionTracker earlier(folder());
        earlierId = earlier.sessionId();
    }
    FileSessionTracker now(folder());
    EXPECT_NE(now.sessionId(), earlierId); // every run has a session of its own
    const std::vector<FailedSession> failed = now.failedSessions();
    ASSERT_THAT(ids(failed), ElementsAre(earlierId));
    EXPECT_FALSE(failed[0].details.has_value());
    EXPECT_THAT(now.restartedSessions(), IsEmpty());
    EXPECT_THAT(now.failedSessions(), IsEmpty());
    now.endSession();

    FileSessionTracker later(folder());
    EXPECT_THAT(later.failedSessions(), IsEmpty());
    EXPECT_THAT(later.restartedSessions(), IsEmpty());
}

TEST_F(FileSessionTrackerTest, a_run_that_asked_to_restart_is_reported_as_restarted_not_failed)
{
    std::string earlierId;
    {
        FileSessionTracker earlier(folder());
        earlierId = earlier.sessionId();
        earlier.markRestarting();
    }
    FileSessionTracker now(folder());
    EXPECT_THAT(now.failedSessions(), IsEmpty());
    EXPECT_THAT(now.restartedSessions(), ElementsAre(earlierId));
    EXPECT_THAT(now.restartedSessions(), IsEmpty());
}

TEST_F(FileSessionTrackerTest, earlier_failures_come_oldest_first)
{
    writeRecord("c-late", "running", 3000);
    writeRecord("a-middle", "running", 2000);
    writeRecord("b-early", "running", 1000);
    FileSessionTracker now(folder());
    EXPECT_THAT(ids(now.failedSessions()), ElementsAre("b-early", "a-middle", "c-late"));
}

TEST_F(FileSessionTrackerTest, a_crashed_run_is_reported_with_the_signal_and_the_handler_text)
{
    QProcess child;
    const std::string crashedId = startChild(child, "crash");
    ASSERT_FALSE(crashedId.empty());
    const qint64 pid = child.processId();
    ASSERT_TRUE(child.waitForFinished(60000));
    ASSERT_EQ(child.exitStatus(), QProcess::CrashExit);

    FileSessionTracker now(folder());
    const std::vector<FailedSession> failed = now.failedSessions();
    ASSERT_THAT(ids(failed), ElementsAre(crashedId));
    ASSERT_TRUE(failed[0].details.has_value());
    EXPECT_EQ(failed[0].details->area, "SIGSEGV");
    EXPECT_THAT(failed[0].details->debugInfo, HasSubstr("received by PID " + std::to_string(pid)));
}

TEST_F(FileSessionTrackerTest, a_run_still_going_in_another_process_is_not_taken_for_failed)
{
    QProcess child;
    const std::string otherId = startChild(child, "hold");
    ASSERT_FALSE(otherId.empty());

    {
        FileSessionTracker now(folder());
        EXPECT_THAT(now.failedSessions(), IsEmpty());
        now.endSession();
    }

    child.closeWriteChannel();
    ASSERT_TRUE(child.waitForFinished(60000));
    FileSessionTracker later(folder());
    EXPECT_THAT(later.failedSessions(), IsEmpty());
}

TEST_F(FileSessionTrackerTest, unreadable_records_are_skipped_with_one_warning_each)
{
    TestSupport::writeFile(file("garbage.session"), "{not json");
    writeRecord("named-one-way", "running", 1, "named-another");
    writeRecord("odd-state", "sleeping", 1);
    writeRecord("good", "running", 1);

    TestSupport::LogCapture log;
    {
        FileSessionTracker now(folder());
        EXPECT_THAT(ids(now.failedSessions()), ElementsAre("good"));
        now.endSession();
    }
    EXPECT_THAT(log.matching({ "garbage.session" }), SizeIs(1));
    EXPECT_THAT(log.matching({ "named-another.session" }), SizeIs(1));
    EXPECT_THAT(log.matching({ "odd-state.session" }), SizeIs(1));

    FileSessionTracker later(folder());
    EXPECT_THAT(log.messages(), SizeIs(3));
}

// What a hostile or unlucky sessions folder holds. Nothing is waited on or read without bound,
// each problem is said once, and the editor starts.
struct HostileSessions : TestSupport::TableRow {
    std::function<void(FileSessionTrackerTest &test)> make;
    std::vector<std::string> failed; // the earlier runs reported
    const char *warning;
};

class FileSessionTrackerHostile
    : public FileSessionTrackerTest
    , public ::testing::WithParamInterface<HostileSessions> {
public:
    void plantFifo(const std::string &name)
    {
        QDir().mkpath(folder());
        ASSERT_EQ(::mkfifo(QFile::encodeName(file(name)).constData(), 0644), 0);
    }
};

const HostileSessions hostileSessions[] = {
    { "folder_blocked_by_a_file",
      [](FileSessionTrackerTest &t) { TestSupport::writeFile(t.folder()); },
      {},
      "not recorded" },
    { "record_is_a_fifo",
      [](FileSessionTrackerTest &t) {
          static_cast<FileSessionTrackerHostile &>(t).plantFifo("piped.session");
      },
      {},
      "FIFO" },
    { "crash_file_is_a_fifo",
      [](FileSessionTrackerTest &t) {
          t.writeRecord("crashed", "running", 1);
          static_cast<FileSessionTrackerHostile &>(t).plantFifo("crashed.crash");
      },
      { "crashed" },
      "FIFO" },
    { "crash_file_links_to_an_endless_device",
      [](FileSessionTrackerTest &t) {
          t.writeRecord("crashed", "running", 1);
          QFile::link("/dev/zero", t.file("crashed.crash"));
      },
      { "crashed" },
      "symbolic link" },
};

TEST_P(FileSessionTrackerHostile, starts_without_waiting_and_says_what_it_skipped)
{
    GetParam().make(*this);
    TestSupport::LogCapture log;
    FileSessionTracker tracker(folder());
    EXPECT_EQ(ids(tracker.failedSessions()), GetParam().failed);
    EXPECT_THAT(log.matching({ GetParam().warning }), SizeIs(1));
}

INSTANTIATE_TEST_SUITE_P(FileSessionTracker,
                         FileSessionTrackerHostile,
                         ::testing::ValuesIn(hostileSessions),
                         TestSupport::tableRowName);

// What a crash file says

namespace {

struct FailureText : TestSupport::TableRow {
    QByteArray text;
    std::string area;
};

class FailureTextParsing : public ::testing::TestWithParam<FailureText> { };

const FailureText failureTexts[] = {
    { "segfault",
      "*** Aborted at 1700000000 (unix time) try \"date -d @1700000000\" if you are using GNU date "
      "***\n"
      "PC: @ 0x0 (unknown)\n"
      "*** SIGSEGV (@0x0) received by PID 4242 (TID 0x7f) from PID 0; stack trace: ***\n"
      "    @ 0x55 main\n",
      "SIGSEGV" },
    { "abort", "*** SIGABRT (@0x3e8) received by PID 7 (TID 0x1) from PID 7; stack trace: ***\n",
      "SIGABRT" },
    { "no_signal_named", "something went wrong", "UNKNOWN" },
    { "signal_word_without_the_marker", "SIGSEGV somewhere", "UNKNOWN" },
};

} // namespace

TEST_P(FailureTextParsing, names_the_signal_as_the_area)
{
    EXPECT_EQ(parseFailureText(GetParam().text).area, GetParam().area);
}

INSTANTIATE_TEST_SUITE_P(FileSessionTracker,
                         FailureTextParsing,
                         ::testing::ValuesIn(failureTexts),
                         TestSupport::tableRowName);

TEST(FailureText, debug_text_is_the_trimmed_text_cut_to_its_bound)
{
    EXPECT_EQ(parseFailureText("\n  *** SIGBUS (@0x1) received  \n\n").debugInfo,
              "*** SIGBUS (@0x1) received");
    EXPECT_EQ(parseFailureText(QByteArray(3 * MaxFailureText, 'x')).debugInfo.size(),
              static_cast<std::size_t>(MaxFailureText));
}

TEST(FailureText, bytes_that_are_not_utf8_give_readable_text)
{
    const std::string text = parseFailureText("*** SIGILL \xff\xfe here").debugInfo;
    EXPECT_EQ(QString::fromStdString(text).toStdString(), text);
    EXPECT_THAT(text, HasSubstr("here"));
}
