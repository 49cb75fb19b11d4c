#pragma once

#include "Application/application.h"
#include "FileAnalyzer/controller.h"
#include "FileAnalyzer/model.h"
#include "FileAnalyzer/view.h"
#include "Messages/command.h"
#include "Messages/fileadder.h"
#include "Messages/packageinstall.h"
#include "Messages/projectrequests.h"

#include "eventwait.h"
#include "fakedialogs.h"
#include "fakeprogress.h"
#include "recordingeventsink.h"
#include "tempdatafolder.h"

#include "filestorage/localfilestorage.h"
#include "project/project.h"
#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

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
    explicit IntakeRecorder(FileAnalyzer::Model &analysis)
        : View(analysis)
    {
        subscribeAllTypes();
    }
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

// The media intake as the application builds it (the application object without its event
// store, remote configuration and capture): the real statistics with a recording sink, the
// analysis, the adder and the storage (a real index in a temporary data folder), a new project,
// scripted dialogs and a recorded progress.
class IntakeHarness {
public:
    IntakeHarness()
        : app(start())
        , recorder(app->analysis())
    {
        app->tracker().addSink(sink);
        app->setDialogs(dialogs);
        app->setProgressFactory(progress);
    }

    Project::Object *project() const { return &app->project(); }

    FileAdder::Contexts timelineContext(int track = 0, MTime position = {})
    {
        FileAdder::Contexts contexts;
        contexts.timeline = FileAdder::TimelineContext { &project()->timeline(), track, position };
        return contexts;
    }

    void add(const QStringList &files, FileAdder::Asrc source, const FileAdder::Contexts &contexts)
    {
        PubSub::publish(FileAdder::AddMediaFiles(files, source, contexts));
    }

    // Until every analysis object is finished and let go, which is when the files are placed.
    bool waitIdle()
    {
        return waitUntil([this] { return app->analysis().objects().empty(); }, 120000);
    }

    // The first sound track's clips: where sound alone is placed.
    std::vector<QString> soundPaths() const
    {
        const Timeline::ITimeline &t = project()->timeline();
        for (int i = 0; i < t.trackCount(); ++i)
            if (t.track(i).type() == Timeline::TrackType::Audio)
                return timelinePaths(i);
        return {};
    }

    std::vector<QString> timelinePaths(int track = 0) const
    {
        std::vector<QString> paths;
        const Timeline::ITrack &t = project()->timeline().track(track);
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
    std::shared_ptr<RecordingEventSink> sink = std::make_shared<RecordingEventSink>();
    std::shared_ptr<FakeDialogs> dialogs = std::make_shared<FakeDialogs>();
    std::shared_ptr<FakeProgressFactory> progress = std::make_shared<FakeProgressFactory>();
    Vantel::App::LocalFileStorage *storageService = nullptr;
    std::unique_ptr<App::Application> app;
    IntakeRecorder recorder;

private:
    std::unique_ptr<App::Application> start()
    {
        App::Options options;
        options.services = {};
        auto service = std::make_unique<Vantel::App::LocalFileStorage>(
            data.filePath(QStringLiteral("storage/index.json")));
        storageService = service.get();
        options.fileStorage = std::move(service);
        return std::make_unique<App::Application>(std::move(options));
    }
};

} // namespace TestSupport
