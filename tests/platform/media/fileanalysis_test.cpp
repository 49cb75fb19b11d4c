#include "media/fileanalysis.h"
#include "media/mediamessages.h"

#include "eventwait.h"
#include "mediasamples.h"
#include "pubsub/subscriber.h"

#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <map>

namespace {

using Media::FilePtr;

// Counts the analysis's announcements per file and checks where they come from.
class Announcements
    : public PubSub::Subscriber<Media::FileOpenedNotification, Media::FileOpenFailedNotification> {
public:
    Announcements() { subscribe(Media::globalObject()); }
    void notify(const Media::FileOpenedNotification &n) override { record(n.file, true); }
    void notify(const Media::FileOpenFailedNotification &n) override { record(n.file, false); }

    struct Seen {
        int opened = 0;
        int failed = 0;
    };
    std::map<const Media::File *, Seen> seen;
    int total = 0;
    bool offMainThread = false;
    bool announcedBeforeFilled = false;

private:
    void record(const FilePtr &file, bool opened)
    {
        offMainThread = offMainThread || QThread::currentThread() != qApp->thread();
        announcedBeforeFilled
            = announcedBeforeFilled || file->state == Media::File::State::NotAnalysed;
        (opened ? seen[file.get()].opened : seen[file.get()].failed)++;
        ++total;
    }
};

TEST(FileAnalysis, uses_no_more_threads_than_cores)
{
    Media::FileAnalysis analysis;
    EXPECT_GE(analysis.threadCount(), 1);
    EXPECT_LE(analysis.threadCount(), std::max(1, QThread::idealThreadCount()));
}

TEST(FileAnalysis, announces_each_file_once_on_the_main_thread_after_filling_it)
{
    QTemporaryDir dir;
    std::vector<FilePtr> files;
    for (const auto &kind : TestSupport::MediaSamples::kinds())
        files.push_back(std::make_shared<Media::File>(TestSupport::samplePath(kind.name)));
    const std::size_t good = files.size();
    for (const TestSupport::BadPath &bad : TestSupport::makeBadMediaPaths(dir.path()))
        files.push_back(std::make_shared<Media::File>(bad.path));

    Announcements announcements;
    Media::FileAnalysis analysis;
    for (const FilePtr &f : files)
        analysis.open(f);
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return announcements.total >= static_cast<int>(files.size()); }));
    QCoreApplication::processEvents();

    EXPECT_EQ(announcements.total, static_cast<int>(files.size()));
    EXPECT_FALSE(announcements.offMainThread);
    EXPECT_FALSE(announcements.announcedBeforeFilled);
    EXPECT_EQ(analysis.pendingCount(), 0u);
    for (const FilePtr &f : files) {
        const auto &seen = announcements.seen[f.get()];
        EXPECT_EQ(seen.opened + seen.failed, 1) << f->path.toStdString();
        EXPECT_EQ(seen.opened == 1, f->isOpened()) << f->path.toStdString();
    }
    for (std::size_t i = good; i < files.size(); ++i)
        EXPECT_TRUE(files[i]->isFailed()) << files[i]->path.toStdString();
}

TEST(FileAnalysis, a_cancelled_file_is_never_announced)
{
    Announcements announcements;
    Media::FileAnalysis analysis;
    const auto kept = std::make_shared<Media::File>(TestSupport::samplePath("tone.wav"));
    const auto dropped = std::make_shared<Media::File>(TestSupport::samplePath("tone.flac"));
    analysis.open(dropped);
    analysis.open(kept);
    analysis.cancel(dropped.get());
    ASSERT_TRUE(TestSupport::waitUntil(
        [&] { return announcements.total >= 1 && analysis.pendingCount() == 0; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(announcements.seen.count(dropped.get()), 0u);
    EXPECT_EQ(announcements.total, 1);
    EXPECT_EQ(dropped->state, Media::File::State::NotAnalysed);
}

TEST(FileAnalysis, a_timed_out_probe_counts_as_failed)
{
    Announcements announcements;
    Media::FileAnalysis analysis;
    analysis.setTimeout(std::chrono::milliseconds(0));
    const auto file = std::make_shared<Media::File>(TestSupport::samplePath("hevc.mkv"));
    analysis.open(file);
    ASSERT_TRUE(TestSupport::waitUntil([&] { return announcements.total == 1; }));
    EXPECT_EQ(announcements.seen[file.get()].failed, 1);
    EXPECT_TRUE(file->isFailed());
}

TEST(FileAnalysis, destroying_it_with_work_in_flight_announces_nothing_later)
{
    Announcements announcements;
    std::vector<FilePtr> files;
    {
        Media::FileAnalysis analysis;
        for (int i = 0; i < 50; ++i) {
            files.push_back(std::make_shared<Media::File>(TestSupport::samplePath("h264_aac.mp4")));
            analysis.open(files.back());
        }
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(announcements.total, 0);
}

} // namespace
