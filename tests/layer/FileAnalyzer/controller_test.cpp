#include "intakeharness.h"
#include "mediasamples.h"
#include "tablerow.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using FileAnalyzer::Destination;
using FileAnalyzer::Destinations;
using FileAnalyzer::Object;
using FileAnalyzer::ObjectPtr;
using Status = Object::Status;

constexpr Destination toTimeline = Destination::Timeline;
constexpr Destination toCollection = Destination::Collection;
const Destinations toBoth = toTimeline | toCollection;

// Requests made straight to the analysis domain, on the intake as the editor builds it (the
// adder there leaves requests it did not make alone).
class AnalyzerTest : public ::testing::Test {
protected:
    ObjectPtr request(const QStringList &files, Destinations destinations = toTimeline)
    {
        auto o = std::make_shared<Object>();
        o->setFiles(files);
        o->setDestinations(destinations);
        FileAnalyzer::requestAdd(o);
        return o;
    }
    bool waitFor(const ObjectPtr &o, Status status)
    {
        return TestSupport::waitUntil([&] { return o->status() == status; });
    }
    std::vector<Status> statusesOf(const ObjectPtr &o) const
    {
        std::vector<Status> result;
        for (const auto &[id, status] : h.recorder.statuses) {
            if (id == o->id())
                result.push_back(status);
        }
        return result;
    }
    QString missing(const char *name) { return dir.filePath(QLatin1String(name)); }

    QTemporaryDir dir;
    TestSupport::IntakeHarness h;
    Timeline::Model &timeline = h.project()->timeline();
    TestSupport::FakeDialogs *dialogs = h.dialogs.get();
    TestSupport::FakeProgressFactory *progress = h.progress.get();
};

TEST_F(AnalyzerTest, sorts_the_files_of_a_request_into_opened_and_failed)
{
    const ObjectPtr o = request({ TestSupport::samplePath("tone.wav"), missing("gone.mp4"),
                                  TestSupport::samplePath("still.png") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    ASSERT_EQ(o->mediaFiles().size(), 3u);
    ASSERT_EQ(o->opened().size(), 2u);
    ASSERT_EQ(o->failed().size(), 1u);
    EXPECT_EQ(o->failed()[0]->path, missing("gone.mp4"));
    EXPECT_EQ(statusesOf(o), (std::vector<Status> { Status::Analysing, Status::Finished }));
}

TEST_F(AnalyzerTest, a_one_file_request_shows_no_progress)
{
    const ObjectPtr o = request({ TestSupport::samplePath("tone.flac") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    EXPECT_TRUE(progress->records.empty());
}

TEST_F(AnalyzerTest, progress_counts_files_in_words_and_closes_when_done)
{
    const ObjectPtr o
        = request({ TestSupport::samplePath("tone.wav"), TestSupport::samplePath("tone.flac"),
                    TestSupport::samplePath("tone.mp3"), TestSupport::samplePath("still.jpg") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    ASSERT_EQ(progress->records.size(), 1u);
    const auto &r = progress->records[0];
    EXPECT_EQ(r.label, "Analysing files");
    EXPECT_EQ(r.cancelText, "Cancel");
    EXPECT_EQ(r.maximum, 4);
    ASSERT_FALSE(r.texts.empty());
    EXPECT_EQ(r.texts.front(), QString()) << "the first text is empty";
    EXPECT_EQ(r.values.back(), 4);
    EXPECT_EQ(r.texts.back(), "Analysing file 4 of 4. Please Wait.");
    for (std::size_t i = 1; i < r.texts.size(); ++i)
        EXPECT_EQ(r.texts[i],
                  QStringLiteral("Analysing file %1 of 4. Please Wait.").arg(r.values[i - 1]));
    EXPECT_FALSE(r.open);
}

TEST_F(AnalyzerTest, a_second_request_waits_for_the_first)
{
    const ObjectPtr first = request(
        { TestSupport::samplePath("hevc.mkv"), TestSupport::samplePath("vp9_opus.webm") });
    const ObjectPtr second = request({ TestSupport::samplePath("tone.wav") });
    EXPECT_EQ(first->status(), Status::Analysing);
    EXPECT_EQ(second->status(), Status::Queued);
    ASSERT_TRUE(waitFor(second, Status::Finished));
    ASSERT_GE(h.recorder.statuses.size(), 4u);
    EXPECT_EQ(h.recorder.statuses[1], std::make_pair(first->id(), Status::Finished));
    EXPECT_EQ(h.recorder.statuses[2], std::make_pair(second->id(), Status::Analysing));
}

// Nothing ever opens or fails for it, so it is never finished: it waits for its maker.
TEST_F(AnalyzerTest, a_request_without_files_stays_until_removed_and_the_next_then_starts)
{
    const ObjectPtr empty = request({});
    const ObjectPtr next = request({ TestSupport::samplePath("tone.wav") });
    QCoreApplication::processEvents();
    EXPECT_EQ(empty->status(), Status::Analysing);
    EXPECT_EQ(next->status(), Status::Queued);
    FileAnalyzer::requestRemove(empty);
    ASSERT_TRUE(waitFor(next, Status::Finished));
    EXPECT_EQ(statusesOf(empty), std::vector<Status> { Status::Analysing });
}

TEST_F(AnalyzerTest, cancelling_ends_the_request_once_and_the_next_one_starts)
{
    QStringList many;
    for (int i = 0; i < 30; ++i)
        many << TestSupport::samplePath(i % 2 ? "hevc.mkv" : "h264_aac.mp4");
    const ObjectPtr o = request(many);
    const ObjectPtr next = request({ TestSupport::samplePath("tone.wav") });
    ASSERT_TRUE(TestSupport::waitUntil([&] { return progress->current != nullptr; }));
    EXPECT_TRUE(progress->pressCancel());
    EXPECT_FALSE(progress->pressCancel()) << "the progress closed with the first press";
    EXPECT_EQ(o->status(), Status::Cancelled);
    ASSERT_TRUE(waitFor(next, Status::Finished));
    EXPECT_EQ(statusesOf(o), (std::vector<Status> { Status::Analysing, Status::Cancelled }));
    EXPECT_TRUE(o->opened().empty()) << "nothing is handed on from a cancelled request";
}

// What a subscriber outside the intake hears of the domain: its own sender, the domain's object.
class PastTense
    : public PubSub::Subscriber<FileAnalyzer::Added, FileAnalyzer::Changed, FileAnalyzer::Removed> {
public:
    explicit PastTense(const FileAnalyzer::Model &analysis)
        : analysis(analysis)
    {
        subscribe(FileAnalyzer::globalObject());
    }
    void notify(const FileAnalyzer::Added &m) override { note('+', m.object); }
    void notify(const FileAnalyzer::Changed &m) override { note('~', m.object); }
    void notify(const FileAnalyzer::Removed &m) override { note('-', m.object); }
    void note(char deed, const ObjectPtr &object)
    {
        // A removed object is out of the domain already; the record keeps it alive.
        EXPECT_EQ(analysis.find(object->id()), deed == '-' ? nullptr : object);
        seen += deed;
        seen += QString::number(static_cast<int>(object->status()));
    }
    const FileAnalyzer::Model &analysis;
    QString seen;
};

TEST_F(AnalyzerTest, each_add_change_and_remove_is_published_in_the_past_tense)
{
    PastTense records(h.app->analysis());
    const ObjectPtr o = request({ TestSupport::samplePath("tone.wav") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    FileAnalyzer::requestRemove(o);
    // Starting the analysis is a change made while the domain tells its views of the add.
    EXPECT_EQ(records.seen, "~1+1~2-2");
}

struct MaskCase : TestSupport::TableRow {
    Destinations first;
    Destinations second;
    bool secondTold; // the second request's failure is shown
};

class FailureDialogs
    : public AnalyzerTest
    , public ::testing::WithParamInterface<MaskCase> { };

TEST_P(FailureDialogs, follow_the_destination_of_the_previous_request)
{
    const ObjectPtr first = request({ missing("a.mp4") }, GetParam().first);
    ASSERT_TRUE(waitFor(first, Status::Finished));
    FileAnalyzer::requestRemove(first);
    const std::size_t shownBefore = dialogs->shown.size();
    EXPECT_EQ(shownBefore, 1u);
    const ObjectPtr second = request({ missing("b.mp4") }, GetParam().second);
    ASSERT_TRUE(waitFor(second, Status::Finished));
    EXPECT_EQ(dialogs->shown.size() - shownBefore, GetParam().secondTold ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Masks,
    FailureDialogs,
    ::testing::Values(MaskCase { "timeline_after_both_is_not_told_again", toBoth, toTimeline,
                                 false },
                      MaskCase { "collection_after_both", toBoth, toCollection, true },
                      MaskCase { "timeline_after_timeline", toTimeline, toTimeline, true },
                      MaskCase { "timeline_after_collection", toCollection, toTimeline, true },
                      MaskCase { "both_after_both", toBoth, toBoth, true }),
    TestSupport::tableRowName);

struct DeletionCase : TestSupport::TableRow {
    Destinations destinations;
    bool clipOnTimeline;
    bool asked;
};

class ClipDeletion
    : public AnalyzerTest
    , public ::testing::WithParamInterface<DeletionCase> { };

TEST_P(ClipDeletion, is_offered_only_for_timeline_requests_with_clips_of_failed_files)
{
    const DeletionCase &c = GetParam();
    if (c.clipOnTimeline)
        timeline.insertClip(0, MTime(), std::make_shared<Media::File>(missing("old.mp4")));
    dialogs->answers = { true };
    const ObjectPtr o
        = request({ missing("old.mp4"), TestSupport::samplePath("tone.wav") }, c.destinations);
    ASSERT_TRUE(waitFor(o, Status::Finished));
    EXPECT_EQ(dialogs->questionCount(), c.asked ? 1 : 0);
    EXPECT_EQ(timeline.track(0).clipCount(), c.clipOnTimeline && !c.asked ? 1u : 0u);
    const auto *event = h.sink->last("FAILED_FILES_DIALOG_SHOWN");
    const bool timelineRequest = c.destinations == Destinations(toTimeline)
        || c.destinations == Destinations(Destination::Other);
    ASSERT_EQ(event != nullptr, timelineRequest);
    if (event) {
        EXPECT_EQ(event->params.at("DELETION_CLIPS_ALLOWED"), c.asked ? "true" : "false");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Masks,
    ClipDeletion,
    ::testing::Values(DeletionCase { "timeline_request", toTimeline, true, true },
                      DeletionCase { "other_request", Destination::Other, true, true },
                      DeletionCase { "collection_request", toCollection, true, false },
                      DeletionCase { "timeline_and_collection_request", toBoth, true, false },
                      DeletionCase { "no_clip_of_the_file", toTimeline, false, false }),
    TestSupport::tableRowName);

TEST_F(AnalyzerTest, without_a_timeline_no_clip_is_ever_offered)
{
    timeline.insertClip(0, MTime(), std::make_shared<Media::File>(missing("old.mp4")));
    FileAnalyzer::setTimeline(nullptr);
    const ObjectPtr o = request({ missing("old.mp4") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    EXPECT_EQ(dialogs->questionCount(), 0);
    EXPECT_EQ(timeline.track(0).clipCount(), 1u);
}

TEST_F(AnalyzerTest, hdr_files_are_told_after_the_failures)
{
    const ObjectPtr o = request({ TestSupport::samplePath("pq10.mkv"), missing("x.mov") });
    ASSERT_TRUE(waitFor(o, Status::Finished));
    ASSERT_EQ(dialogs->shown.size(), 2u);
    EXPECT_FALSE(dialogs->shown[0].isQuestion) << "without clips to remove there is nothing to ask";
    EXPECT_TRUE(dialogs->shown[0].details.contains("x.mov"));
    EXPECT_TRUE(dialogs->shown[0].details.contains("does not exist"));
    EXPECT_TRUE(dialogs->shown[1].title.contains("HDR"));
}

} // namespace
