#include "FileStorage/controller.h"
#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/projectrequests.h"

#include "eventwait.h"

#include "filestorage/ifilestoragecontroller.h"
#include "pubsub/subscriber.h"

#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <typeinfo>

namespace {

using Vantel::App::FileStorageKind;

// A file storage service whose availability a test switches, keeping every call in a log that
// outlives the service (the controller under test owns and destroys it).
class FakeFileStorage final : public Vantel::App::IFileStorageController {
public:
    struct Log {
        struct Add {
            std::vector<std::filesystem::path> paths;
            Vantel::App::FileStorageKind kind;
        };
        std::vector<Add> adds;
        std::vector<Vantel::App::FileStorageEntryId> released;
        int observers = 0;
    };

    explicit FakeFileStorage(std::shared_ptr<Log> log)
        : log(std::move(log))
    {
    }

    std::vector<Vantel::App::FileStorageEntryId>
    addFiles(const std::vector<std::filesystem::path> &paths,
             Vantel::App::FileStorageKind kind) override
    {
        log->adds.push_back({ paths, kind });
        if (failAdds)
            throw std::runtime_error("the index cannot be written");
        // The real service looks at its folder again on every add, and may find it changed.
        if (changeOnAdd)
            setAvailable(!available);
        std::vector<Vantel::App::FileStorageEntryId> ids;
        for (std::size_t i = 0; i < paths.size(); ++i)
            ids.push_back(nextId--); // handed out in falling order, so release order is visible
        return ids;
    }
    void releaseEntry(Vantel::App::FileStorageEntryId entry) override
    {
        log->released.push_back(entry);
    }
    bool isAvailable() const override { return available; }
    std::vector<Vantel::App::StoredFile> files() const override { return {}; }
    void addObserver(Vantel::App::IFileStorageControllerObserver *o) override
    {
        observers.push_back(o);
        ++log->observers;
    }
    void removeObserver(Vantel::App::IFileStorageControllerObserver *o) override
    {
        observers.erase(std::remove(observers.begin(), observers.end(), o), observers.end());
        --log->observers;
    }

    // Switches availability and tells the observers, as the real service does.
    void setAvailable(bool value)
    {
        available = value;
        for (auto *o : observers)
            o->fileStorageStateChanged();
    }

    std::shared_ptr<Log> log;
    bool available = true;
    bool failAdds = false;
    bool changeOnAdd = false;
    Vantel::App::FileStorageEntryId nextId = 1000;
    std::vector<Vantel::App::IFileStorageControllerObserver *> observers;
};

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
        auto service = std::make_unique<FakeFileStorage>(log);
        fake = service.get();
        controller = std::make_unique<FileStorage::Controller>(std::move(service));
    }

    std::shared_ptr<FakeFileStorage::Log> log = std::make_shared<FakeFileStorage::Log>();
    FakeFileStorage *fake = nullptr;
    Availability availability;
    std::unique_ptr<FileStorage::Controller> controller;
};

TEST_F(FileStorageController, each_message_passes_its_files_with_their_kind)
{
    const auto passes
        = [&](const auto &message, std::vector<std::string> paths, FileStorageKind kind) {
              SCOPED_TRACE(typeid(message).name());
              log->adds.clear();
              PubSub::publish(message);
              ASSERT_EQ(log->adds.size(), 1u);
              std::vector<std::string> passed;
              for (const auto &p : log->adds[0].paths)
                  passed.push_back(p.u8string());
              EXPECT_EQ(passed, paths);
              EXPECT_EQ(log->adds[0].kind, kind);
          };
    using FileAdder::AddMediaFilesResult;
    passes(AddMediaFilesResult(FileAdder::AddedResult::Done, { "/m/a.mp4", "/m/été 東京.wav" }),
           { "/m/a.mp4", "/m/été 東京.wav" }, FileStorageKind::Media);
    // An empty result, as an empty sequence.
    passes(AddMediaFilesResult(FileAdder::AddedResult::Declined, {}), {}, FileStorageKind::Media);
    passes(Command::AudioAddRequest("/rec/voice.wav"), { "/rec/voice.wav" },
           FileStorageKind::Media);
    passes(Command::VideoAddRequest("/out/film.mp4"), { "/out/film.mp4" }, FileStorageKind::Media);
    passes(Project::SaveRequest("/p/one.edproj"), { "/p/one.edproj" }, FileStorageKind::Project);
    PubSub::Object someEditorPart; // a save in the background may come from any sender
    passes(Project::SaveAsyncRequest("/p/two.edproj", &someEditorPart), { "/p/two.edproj" },
           FileStorageKind::Project);
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
    EXPECT_NO_THROW(PubSub::publish(
        FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Done, { "/m/a.mp4" })));
    EXPECT_NO_THROW(PubSub::publish(Project::SaveRequest("/p/one.edproj")));
    EXPECT_EQ(log->adds.size(), 2u);
    fake->failAdds = false;
    PubSub::publish(Command::VideoAddRequest("/out/film.mp4"));
    controller.reset();
    EXPECT_EQ(log->released.size(), 1u) << "only what the service took is released";
}

// An empty result passes nothing and so announces nothing itself, but a change the service
// finds meanwhile is a change like any other.
TEST_F(FileStorageController, a_change_during_an_empty_add_is_announced)
{
    fake->changeOnAdd = true;
    PubSub::publish(FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Declined, {}));
    EXPECT_EQ(availability.seen, std::vector<bool> { false });
}

TEST_F(FileStorageController, going_away_releases_every_entry_in_order_and_stops_observing)
{
    PubSub::publish(
        FileAdder::AddMediaFilesResult(FileAdder::AddedResult::Done, { "/a.mp4", "/b.mp4" }));
    PubSub::publish(Project::SaveRequest("/p.edproj"));
    EXPECT_EQ(log->observers, 1);
    controller.reset();
    EXPECT_EQ(log->released, (std::vector<Vantel::App::FileStorageEntryId> { 998, 999, 1000 }));
    EXPECT_EQ(log->observers, 0);
    PubSub::publish(Project::SaveRequest("/later.edproj"));
    EXPECT_EQ(log->adds.size(), 2u) << "nothing is received after the controller is gone";
}

} // namespace
