#pragma once

#include "FileAdder/controller.h"
#include "FileAnalyzer/controller.h"
#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"
#include "FileStorage/controller.h"
#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/packageinstall.h"
#include "Messages/projectrequests.h"
#include "Statistics/controller.h"

#include "eventwait.h"
#include "fakedialogs.h"
#include "fakeprogress.h"
#include "recordingeventsink.h"
#include "tempdatafolder.h"

#include "dialogs/dialog.h"
#include "dialogs/progress.h"
#include "filestorage/localfilestorage.h"
#include "project/project.h"
#include "pubsub/subscriber.h"

#include <memory>
#include <vector>

namespace TestSupport {

// What the intake said on the bus, in order.
class IntakeRecorder
    : public PubSub::Subscriber<FileAdder::AddMediaFilesResult,
                                Command::OpenProject,
                                Command::InstallPackageRequest,
                                Project::FileAddRequest>
    , public FileAnalyzer::View {
public:
    IntakeRecorder() { subscribeAllTypes(); }
    void notify(const FileAdder::AddMediaFilesResult &m) override { results.push_back(m); }
    void notify(const Command::OpenProject &m) override { openedProjects.push_back(m.path); }
    void notify(const Command::InstallPackageRequest &m) override { packages.push_back(m.path); }
    void notify(const Project::FileAddRequest &m) override { collectionRequests.push_back(m); }
    void statusChanged(const FileAnalyzer::Object *object,
                       FileAnalyzer::Object::Status status) override
    {
        statuses.push_back({ object->id(), status });
    }

    std::vector<FileAdder::AddMediaFilesResult> results;
    QStringList openedProjects;
    QStringList packages;
    std::vector<Project::FileAddRequest> collectionRequests;
    std::vector<std::pair<std::uint64_t, FileAnalyzer::Object::Status>> statuses;
};

// The media intake as the application builds it: the real statistics with a recording sink, the
// analysis, the adder and the storage (a real index in a temporary data folder), a project with
// one video and one audio track, scripted dialogs and a recorded progress.
class IntakeHarness {
public:
    IntakeHarness()
    {
        tracker->addSink(sink);
        Dialog::setDialogs(dialogs);
        Report::setProgressFactory(progress);
        statistics = std::make_unique<Statistics::Controller>(tracker);
        analyzer = std::make_unique<FileAnalyzer::Controller>();
        adder = std::make_unique<FileAdder::Controller>();
        auto service = std::make_unique<Vantel::App::LocalFileStorage>(
            data.filePath(QStringLiteral("storage/index.json")));
        storageService = service.get();
        storage = std::make_unique<FileStorage::Controller>(std::move(service));
        project = Project::Object::createNew();
        FileAnalyzer::setTimeline(&project->timeline());
    }

    ~IntakeHarness()
    {
        // The analysis domain is the process's; a test leaves it empty for the next.
        const std::vector<FileAnalyzer::ObjectPtr> left = FileAnalyzer::Model::instance().objects();
        for (const auto &object : left)
            FileAnalyzer::requestRemove(object);
        FileAnalyzer::setTimeline(nullptr);
        storage.reset();
        adder.reset();
        analyzer.reset();
        statistics.reset();
        Dialog::setDialogs(nullptr);
        Report::setProgressFactory(nullptr);
    }

    FileAdder::Contexts timelineContext(int track = 0, MTime position = {})
    {
        FileAdder::Contexts contexts;
        contexts.timeline = FileAdder::TimelineContext { &project->timeline(), track, position };
        return contexts;
    }

    void add(const QStringList &files, FileAdder::Asrc source, const FileAdder::Contexts &contexts)
    {
        PubSub::publish(FileAdder::AddMediaFiles(files, source, contexts));
    }

    // Until every analysis object is finished and let go, which is when the files are placed.
    bool waitIdle()
    {
        return waitUntil([] { return FileAnalyzer::Model::instance().objects().empty(); }, 120000);
    }

    std::vector<QString> timelinePaths(int track = 0) const
    {
        std::vector<QString> paths;
        const Timeline::ITrack &t = project->timeline().track(track);
        for (std::size_t i = 0; i < t.clipCount(); ++i)
            paths.push_back(t.clip(i).file()->path);
        return paths;
    }

    int eventCount(const std::string &name) const
    {
        int n = 0;
        for (const auto &e : sink->events)
            n += e.name == name ? 1 : 0;
        return n;
    }

    TempDataFolder data;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker {
        new Vantel::Tracking::GeneralVantelTracker("intake")
    };
    std::shared_ptr<RecordingEventSink> sink = std::make_shared<RecordingEventSink>();
    std::shared_ptr<FakeDialogs> dialogs = std::make_shared<FakeDialogs>();
    std::shared_ptr<FakeProgressFactory> progress = std::make_shared<FakeProgressFactory>();
    IntakeRecorder recorder;
    std::unique_ptr<Statistics::Controller> statistics;
    std::unique_ptr<FileAnalyzer::Controller> analyzer;
    std::unique_ptr<FileAdder::Controller> adder;
    Vantel::App::LocalFileStorage *storageService = nullptr;
    std::unique_ptr<FileStorage::Controller> storage;
    std::unique_ptr<Project::Object> project;
};

} // namespace TestSupport
