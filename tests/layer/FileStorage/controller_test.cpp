#include "FileStorage/controller.h"
#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/projectrequests.h"

#include "eventwait.h"
#include "fakefilestorage.h"

#include "pubsub/subscriber.h"

#include <QThread>

#include <gtest/gtest.h>

#include <functional>

namespace {

using Vantel::App::FileStorageKind;

class Availability : public PubSub::Subscriber<Command::FileStorageAvailableNotification> {
public:
    Availability() { subscribeAllTypes(); }
    void notify(const Command::FileStorageAvailableNotification &n) override
    {
        seen.push_back(n.available);
        onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
        EXPECT_EQ(n.sender(), Command::globalObject());
    }
    std::vector<bool> seen;
    bool onMainThread = true;
};

class FileStorageController : public ::testing::Test {
protected:
    FileStorageController()
    {
        auto service = std::make_unique<TestSupport::FakeFileStorage>(log);
        fake = service.get();
        controller = std::make_unique<FileStorage::Controller>(std::move(service));
    }

    std::shared_ptr<TestSupport::FakeFileStorage::Log> log
        = std::make_shared<TestSupport::FakeFileStorage::Log>();
    TestSupport::FakeFileStorage *fake = nullptr;
    Availability availability;
    std::unique_ptr<FileStorage::Controller> controller;
};

struct PassCase {
    const char *message;
    std::function<void()> publish;
    std::vector<std::string> paths;
    FileStorageKind kind;
};

TEST_F(FileStorageController, each_message_passes_its_files_with_their_kind)
{
    PubSub::Object someEditorPart;
    const std::vector<PassCase> cases = {
        { "add result",
          [] {
              PubSub::publish(FileAdder::AddMediaFilesResult(
                  FileAdder::AddedResult::Done,
                  { QStringLiteral("/m/a.mp4"), QStringLiteral("/m/été 東京.wav") }));
          },
          { "/m/a.mp4", "/m/été 東京.wav" },
          FileStorageKind::Media },
        { "an empty result, as an empty sequence",
          [] {
              PubSub::publish(FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Declined, {}));
          },
          {},
          FileStorageKind::Media },
        { "audio",
          [] { PubSub::publish(Command::AudioAddRequest(QStringLiteral("/rec/voice.wav"))); },
          { "/rec/voice.wav" },
          FileStorageKind::Media },
        { "video",
          [] { PubSub::publish(Command::VideoAddRequest(QStringLiteral("/out/film.mp4"))); },
          { "/out/film.mp4" },
          FileStorageKind::Media },
        { "save",
          [] { PubSub::publish(Project::SaveRequest(QStringLiteral("/p/one.edproj"))); },
          { "/p/one.edproj" },
          FileStorageKind::Project },
        { "save in the background from any sender",
          [&] {
              PubSub::publish(
                  Project::SaveAsyncRequest(QStringLiteral("/p/two.edproj"), &someEditorPart));
          },
          { "/p/two.edproj" },
          FileStorageKind::Project },
    };
    for (const PassCase &c : cases) {
        log->adds.clear();
        c.publish();
        ASSERT_EQ(log->adds.size(), 1u) << c.message;
        std::vector<std::string> paths;
        for (const auto &p : log->adds[0].paths)
            paths.push_back(p.u8string());
        EXPECT_EQ(paths, c.paths) << c.message;
        EXPECT_EQ(log->adds[0].kind, c.kind) << c.message;
    }
    EXPECT_TRUE(availability.seen.empty()) << "passing files announces nothing";
}

TEST_F(FileStorageController, answers_whether_the_storage_is_there)
{
    for (bool value : { true, false }) {
        fake->available = value;
        PubSub::publish(Command::FileStorageAvailableRequest());
    }
    EXPECT_EQ(availability.seen, (std::vector<bool> { true, false }));
}

TEST_F(FileStorageController, two_changes_in_a_row_make_two_notifications)
{
    fake->setAvailable(false);
    fake->setAvailable(true);
    EXPECT_EQ(availability.seen, (std::vector<bool> { false, true }));
}

TEST_F(FileStorageController, changes_told_from_another_thread_are_announced_with_their_own_values)
{
    QThread *worker = QThread::create([this] {
        fake->setAvailable(false);
        fake->setAvailable(true);
    });
    worker->start();
    ASSERT_TRUE(worker->wait(60000));
    delete worker;
    ASSERT_TRUE(TestSupport::waitUntil([&] { return availability.seen.size() == 2; }));
    EXPECT_EQ(availability.seen, (std::vector<bool> { false, true }));
    EXPECT_TRUE(availability.onMainThread);
}

TEST_F(FileStorageController, a_failing_service_stays_inside_the_controller)
{
    fake->failAdds = true;
    EXPECT_NO_THROW(PubSub::publish(FileAdder::AddMediaFilesResult(
        FileAdder::AddedResult::Done, { QStringLiteral("/m/a.mp4") })));
    EXPECT_NO_THROW(PubSub::publish(Project::SaveRequest(QStringLiteral("/p/one.edproj"))));
    EXPECT_EQ(log->adds.size(), 2u);
    fake->failAdds = false;
    PubSub::publish(Command::VideoAddRequest(QStringLiteral("/out/film.mp4")));
    controller.reset();
    EXPECT_EQ(log->released.size(), 1u) << "only what the service took is released";
}

TEST_F(FileStorageController, an_empty_add_result_publishes_nothing_even_when_the_service_changes)
{
    fake->changeOnAdd = true;
    PubSub::publish(FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Declined, {}));
    EXPECT_TRUE(availability.seen.empty());
    PubSub::publish(Command::AudioAddRequest(QStringLiteral("/rec/voice.wav")));
    EXPECT_EQ(availability.seen, std::vector<bool> { true }) << "a real add still tells";
}

TEST_F(FileStorageController, going_away_releases_every_entry_in_order_and_stops_observing)
{
    PubSub::publish(FileAdder::AddMediaFilesResult(
        FileAdder::AddedResult::Done, { QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4") }));
    PubSub::publish(Project::SaveRequest(QStringLiteral("/p.edproj")));
    EXPECT_EQ(log->observers, 1);
    controller.reset();
    EXPECT_EQ(log->released, (std::vector<Vantel::App::FileStorageEntryId> { 998, 999, 1000 }));
    EXPECT_EQ(log->observers, 0);
    PubSub::publish(Project::SaveRequest(QStringLiteral("/later.edproj")));
    EXPECT_EQ(log->adds.size(), 2u) << "nothing is received after the controller is gone";
}

} // namespace
