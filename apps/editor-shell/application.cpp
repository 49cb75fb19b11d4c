#include "application.h"

#include "CaptureController/controller.h"
#include "FileAdder/controller.h"
#include "FileAnalyzer/controller.h"
#include "FileStorage/controller.h"
#include "Messages/statistics.h"
#include "Statistics/controller.h"
#include "WebConfig/controller.h"

#include "appcontext/applicationcontext.h"
#include "appcontext/componentsetter.h"
#include "appsettings/applicationsettingsmanager.h"
#include "exportengine/exportengine.h"
#include "project/project.h"
#include "pubsub/subscriber.h"
#include "tracking/eventstore.h"
#include "tracking/filesessiontracker.h"
#include "tracking/jsonlinessink.h"
#include "util/profiler.h"

namespace Shell {

Application::Application(const Options &options)
{
    Vantel::Profiler::StartupProfiler profiler;
    m_session = std::make_shared<Vantel::Tracking::FileSessionTracker>();
    Vantel::Tracking::setSessionTrackerInstance(m_session);
    try {
        start(options, profiler);
    } catch (...) {
        // A start refused with a message is not a crash of this session.
        m_session->endSession();
        Vantel::Tracking::setSessionTrackerInstance(nullptr);
        throw;
    }
}

void Application::start(const Options &options, Vantel::Profiler::StartupProfiler &profiler)
{
    m_store = std::make_shared<Vantel::Tracking::EventStore>();
    m_tracker = new Vantel::Tracking::GeneralVantelTracker(m_session->sessionId());
    m_tracker->addSink(m_store);
    if (!options.eventsOut.isEmpty())
        m_tracker->addSink(std::make_shared<Vantel::Tracking::JsonLinesSink>(options.eventsOut));
    profiler.mark("event_store");
    m_settings = std::make_unique<Vantel::App::ApplicationSettingsManager>();
    Vantel::App::setApplicationSettingsManager(m_settings.get());
    m_project = Project::Object::createNew();
    m_webConfig = std::make_unique<EditorWebConfig::Controller>(
        std::make_shared<Vantel::Tracking::ComponentSetterTracker>());
    Vantel::App::ApplicationContext::instance().announce(
        std::shared_ptr<Vantel::App::IProductSettingsManager>(
            std::make_shared<Vantel::App::ProductSettingsManager>(
                std::vector<std::pair<std::string, std::string>> {
                    { "PRODUCT_VERSION", EDITOR_VERSION } })));
    profiler.mark("web_config_controller");
    m_statistics = std::make_unique<Statistics::Controller>(m_tracker);
    profiler.mark("statistics_controller");
    m_fileAnalyzer = std::make_unique<FileAnalyzer::Controller>();
    m_fileAdder = std::make_unique<FileAdder::Controller>();
    m_fileStorage = std::make_unique<FileStorage::Controller>();
    FileAnalyzer::setTimeline(&m_project->timeline());
    profiler.mark("media_intake");
    m_capture = std::make_unique<Capture::Controller>();
    profiler.mark("audio_capture");
    m_exportEngine = std::make_unique<Export::Engine>();

    // Earlier sessions and the start event first; the launch report closes the start-up.
    m_statistics->startTracking(true);
    PubSub::publish(Statistics::AppLaunchedNotification(profiler.result()));
}

Application::~Application()
{
    m_exportEngine.reset();
    m_capture.reset();
    m_fileStorage.reset();
    m_fileAdder.reset();
    FileAnalyzer::setTimeline(nullptr);
    m_fileAnalyzer.reset();
    // The statistics controller sends the exit event; the session ends cleanly after it.
    m_statistics.reset();
    m_webConfig.reset();
    Vantel::App::setApplicationSettingsManager(nullptr);
    m_store->flush();
    m_session->endSession();
    Vantel::Tracking::setSessionTrackerInstance(nullptr);
}

void Application::setProject(std::unique_ptr<Project::Object> project)
{
    if (project)
        m_project = std::move(project);
    FileAnalyzer::setTimeline(&m_project->timeline());
}

} // namespace Shell
