#pragma once

#include "tracking/generalvanteltracker.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

#include <memory>

namespace Capture {
class Controller;
}
namespace EditorWebConfig {
class Controller;
}
namespace Export {
class Engine;
}
namespace FileAdder {
class Controller;
}
namespace FileAnalyzer {
class Controller;
}
namespace FileStorage {
class Controller;
}
namespace Project {
class Object;
}
namespace Statistics {
class Controller;
}
namespace Vantel::App {
class ApplicationSettingsManager;
}
namespace Vantel::Profiler {
class StartupProfiler;
}
namespace Vantel::Tracking {
class EventStore;
class ISessionTracker;
} // namespace Vantel::Tracking

namespace Shell {

struct Options {
    QString eventsOut; // empty: no export file
};

// The editor's start-up and shutdown in one object: the session, the usage tracker with its
// sinks, and every controller of the layer, constructed once in the editor's order and destroyed
// in reverse. Commands run between the two.
class Application {
public:
    // Throws std::runtime_error when the data folder's stores cannot be opened.
    explicit Application(const Options &options);
    ~Application();
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    Vantel::Tracking::GeneralVantelTracker &tracker() const { return *m_tracker; }
    Vantel::Tracking::EventStore &eventStore() const { return *m_store; }
    Vantel::App::ApplicationSettingsManager &settings() const { return *m_settings; }
    // The open project; a new, unsaved one until a command opens another.
    Project::Object &project() const { return *m_project; }
    void setProject(std::unique_ptr<Project::Object> project);
    Export::Engine &exportEngine() const { return *m_exportEngine; }

private:
    void start(const Options &options, Vantel::Profiler::StartupProfiler &profiler);

    std::shared_ptr<Vantel::Tracking::ISessionTracker> m_session;
    std::shared_ptr<Vantel::Tracking::EventStore> m_store;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    std::unique_ptr<Vantel::App::ApplicationSettingsManager>
        m_settings; // observed by the statistics
    // Before every controller that reads remote settings.
    std::unique_ptr<EditorWebConfig::Controller> m_webConfig;
    std::unique_ptr<Statistics::Controller> m_statistics;
    // Media intake: analysis first, so the adder's requests find it, storage last.
    std::unique_ptr<FileAnalyzer::Controller> m_fileAnalyzer;
    std::unique_ptr<FileAdder::Controller> m_fileAdder;
    std::unique_ptr<FileStorage::Controller> m_fileStorage;
    std::unique_ptr<Capture::Controller> m_capture;
    // After the statistics, which watch its exports.
    std::unique_ptr<Export::Engine> m_exportEngine;
    std::unique_ptr<Project::Object> m_project;
};

} // namespace Shell
