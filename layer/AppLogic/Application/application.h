#pragma once

#include "applogicexport.h"

#include <QFlags>
#include <QString>

#include <boost/intrusive_ptr.hpp>

#include <memory>

namespace EditorCollection {
class CatalogueProtocol;
}
namespace Dialog {
class IDialogs;
}
namespace Export {
class Engine;
}
namespace FileAnalyzer {
class Model;
}
namespace Playback {
class Player;
}
namespace Project {
class Object;
}
namespace Report {
class IProgressFactory;
}
namespace Resource {
class Controller;
}
namespace Vantel::App {
class ApplicationSettingsManager;
class IFileStorageController;
} // namespace Vantel::App
namespace Vantel::Tracking {
class EventStore;
class GeneralVantelTracker;
class Uploader;
} // namespace Vantel::Tracking

namespace App {

// The parts of the editor an application object builds beyond its core (session, tracker,
// settings, statistics, media intake). The editor has them all; a test or a benchmark names the
// ones it drives, so it neither opens audio devices nor reads remote configuration by accident.
enum class Service {
    EventStore = 0x1, // the durable store of sent events in the data folder
    RemoteConfig = 0x2, // remotely delivered configuration and the product's own settings
    Capture = 0x4, // voice-over recording
    Collection = 0x8, // the content collection and its external lists (started once settled)
};
Q_DECLARE_FLAGS(Services, Service)

struct APPLOGIC_EXPORT Options {
    Options();
    ~Options();
    Options(Options &&) noexcept;
    Options &operator=(Options &&) noexcept;

    Services services = Services(Service::EventStore) | Service::RemoteConfig | Service::Capture
        | Service::Collection;
    QString eventsOut; // a JSON-lines copy of every sent event; empty: none
    // Where the intake hands files for safe keeping; empty: the data folder's own index.
    std::unique_ptr<Vantel::App::IFileStorageController> fileStorage;
};

// The editor's start-up and shutdown in one object: the session, the usage tracker with its
// sinks, the settings, every controller of the layer and the process-wide services they reach
// (dialogs, the timeline the analysis places on), set up once in the editor's order and undone in
// reverse. It owns what its parts share (the analysis domain, the settings, the resources, the
// progress factory) and hands each to the parts that use it; the few process-wide access points
// the editor's interfaces call by name (the session tracker, the web-config provider, the dialogs
// behind Dialog::alertAction, the analysis controller's timeline) it installs and clears, so the
// next one starts from nothing. One at a time per process; main thread.
class APPLOGIC_EXPORT Application {
public:
    // Throws std::runtime_error when the data folder's stores cannot be opened; what was already
    // built is undone and the session ends.
    explicit Application(Options options = Options());
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    // Begins the session's tracking: earlier sessions' events, the start event, then the launch
    // report with the start-up timings measured since construction began.
    void startTracking();

    Vantel::Tracking::GeneralVantelTracker &tracker() const;
    // Null without Service::EventStore.
    Vantel::Tracking::EventStore *eventStore() const;
    // Sends the stored events to the collector the user named; null when there is no store.
    Vantel::Tracking::Uploader *uploader() const;
    // The user's statistics switch: off stops the upload before the store deletes its events, so
    // nothing read before the switch still leaves. Throws std::runtime_error as the store does.
    void setStatisticsEnabled(bool on);
    Vantel::App::ApplicationSettingsManager &settings() const;
    // The resources' fast-track redirects, which the export census counts.
    Resource::Controller &resources() const;

    // The open project; a new, unsaved one until another is given. The analysis places files on
    // its timeline.
    Project::Object &project() const;
    void setProject(std::unique_ptr<Project::Object> project);

    // The editor's player of the project's timeline; the voice-over recording starts it and
    // times its takes by it.
    Playback::Player &player() const;

    // The analysis domain: its objects, and the views that watch it. Views made outside the
    // application go before it.
    FileAnalyzer::Model &analysis() const;

    // Renders projects to video files; its exports reach the statistics.
    Export::Engine &exportEngine() const;

    // The collection controllers' start signal; null without Service::Collection. The application
    // raises it once when the event loop first runs, that is once the editor has settled.
    EditorCollection::CatalogueProtocol *catalogue() const;

    // How the layer asks the user and shows long work; null removes them. The dialogs are cleared
    // on destruction; the progress goes with the analysis that shows it.
    void setDialogs(std::shared_ptr<Dialog::IDialogs> dialogs);
    void setProgressFactory(std::shared_ptr<Report::IProgressFactory> factory);

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

} // namespace App

Q_DECLARE_OPERATORS_FOR_FLAGS(App::Services)
