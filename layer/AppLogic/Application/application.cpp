#include "Application/application.h"

#include "CaptureController/controller.h"
#include "Collection/catalogueprotocol.h"
#include "Collection/externalresourcescontroller.h"
#include "Collection/featuredcontroller.h"
#include "Collection/itemnotifier.h"
#include "FileAdder/controller.h"
#include "FileAnalyzer/controller.h"
#include "FileAnalyzer/model.h"
#include "FileStorage/controller.h"
#include "Messages/statistics.h"
#include "Statistics/controller.h"
#include "WebConfig/controller.h"

#include "appcontext/applicationcontext.h"
#include "appcontext/componentsetter.h"
#include "appsettings/applicationsettingsmanager.h"
#include "collection/collection.h"
#include "dialogs/dialog.h"
#include "dialogs/progress.h"
#include "exportengine/exportengine.h"
#include "filestorage/ifilestoragecontroller.h"
#include "playback/player.h"
#include "profiler/profiler.h"
#include "project/project.h"
#include "pubsub/subscriber.h"
#include "resource/resourcecontroller.h"
#include "tracking/eventstore.h"
#include "tracking/filesessiontracker.h"
#include "tracking/generalvanteltracker.h"
#include "tracking/jsonlinessink.h"
#include "tracking/uploader.h"
#include "translator/translator.h"

#include <QTimer>

#include <chrono>
#include <stdexcept>

namespace App {

Options::Options() = default;
Options::~Options() = default;
Options::Options(Options &&) noexcept = default;
Options &Options::operator=(Options &&) noexcept = default;

// Members in construction order; the destructor undoes them in reverse, clearing each
// process-wide access point before the object behind it goes.
class Application::Impl {
public:
    explicit Impl(Options options);
    ~Impl();

    void build();
    void tearDown();

    Options options;
    Vantel::Profiler::StartupProfiler profiler;
    std::shared_ptr<Vantel::Tracking::ISessionTracker> session;
    std::shared_ptr<Vantel::Tracking::EventStore> store;
    std::unique_ptr<Vantel::Tracking::Uploader> uploader;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker;
    std::unique_ptr<Vantel::App::ApplicationSettingsManager> settings; // observed by the statistics
    Resource::Controller resources; // read by the export census
    // Before every controller that reads remote settings.
    std::unique_ptr<EditorWebConfig::Controller> webConfig;
    std::unique_ptr<Statistics::Controller> statistics;
    // Media intake: the analysis domain and its controller first, so the adder's requests find
    // them, storage last.
    std::unique_ptr<FileAnalyzer::Model> analysis;
    std::unique_ptr<FileAnalyzer::Controller> fileAnalyzer;
    std::unique_ptr<FileAdder::Controller> fileAdder;
    std::unique_ptr<FileStorage::Controller> fileStorage;
    // Before the capture, which starts it and draws its countdown over it.
    std::unique_ptr<Playback::Player> player;
    std::unique_ptr<Capture::Controller> capture;
    // The bridge to the bus first, so every item the controllers add is announced.
    std::unique_ptr<EditorCollection::ItemNotifier> itemNotifier;
    std::unique_ptr<EditorCollection::CatalogueProtocol> catalogue;
    std::unique_ptr<EditorCollection::ExternalResourcesController> externalResources;
    // Reads its cache now and marks the items the lists add once started.
    std::unique_ptr<EditorCollection::FeaturedController> featured;
    // After the statistics, which watch its exports.
    std::unique_ptr<Export::Engine> exportEngine;
    std::unique_ptr<Project::Object> project;
};

Application::Impl::Impl(Options options)
    : options(std::move(options))
{
    session = std::make_shared<Vantel::Tracking::FileSessionTracker>();
    Vantel::Tracking::setSessionTrackerInstance(session);
    try {
        build();
    } catch (...) {
        // A start refused with a message is not a crash of this session.
        tearDown();
        throw;
    }
}

Application::Impl::~Impl()
{
    tearDown();
}

void Application::Impl::build()
{
    tracker = new Vantel::Tracking::GeneralVantelTracker(session->sessionId());
    if (options.services.testFlag(Service::EventStore)) {
        store = std::make_shared<Vantel::Tracking::EventStore>();
        tracker->addSink(store);
        if (store->isAvailable()) {
            Vantel::Tracking::UploaderOptions upload;
            upload.resource.serviceName = "editor";
            upload.resource.serviceVersion = EDITOR_VERSION;
            upload.resource.osType = Vantel::Tracking::Otlp::currentOsType();
            uploader = std::make_unique<Vantel::Tracking::Uploader>(store, std::move(upload));
        }
    }
    if (!options.eventsOut.isEmpty())
        tracker->addSink(std::make_shared<Vantel::Tracking::JsonLinesSink>(options.eventsOut));
    profiler.mark("event_store");
    settings = std::make_unique<Vantel::App::ApplicationSettingsManager>();
    project = Project::Object::createNew();
    if (options.services.testFlag(Service::RemoteConfig)) {
        webConfig = std::make_unique<EditorWebConfig::Controller>(
            std::make_shared<Vantel::Tracking::ComponentSetterTracker>());
        Vantel::App::ApplicationContext::instance().announce(
            std::shared_ptr<Vantel::App::IProductSettingsManager>(
                std::make_shared<Vantel::App::ProductSettingsManager>(
                    std::vector<std::pair<std::string, std::string>> {
                        { "PRODUCT_VERSION", EDITOR_VERSION } })));
        profiler.mark("web_config_controller");
    }
    statistics = std::make_unique<Statistics::Controller>(
        tracker, Statistics::Environment { settings.get(), &resources });
    profiler.mark("statistics_controller");
    analysis = std::make_unique<FileAnalyzer::Model>();
    fileAnalyzer = std::make_unique<FileAnalyzer::Controller>(*analysis);
    fileAdder = std::make_unique<FileAdder::Controller>(*analysis);
    fileStorage = options.fileStorage
        ? std::make_unique<FileStorage::Controller>(std::move(options.fileStorage))
        : std::make_unique<FileStorage::Controller>();
    FileAnalyzer::setTimeline(&project->timeline());
    profiler.mark("media_intake");
    player = std::make_unique<Playback::Player>();
    player->setTimeline(&project->timeline());
    if (options.services.testFlag(Service::Capture)) {
        Capture::Controller::Options captureOptions;
        captureOptions.playback = player.get();
        capture = std::make_unique<Capture::Controller>(captureOptions);
        profiler.mark("audio_capture");
    }
    if (options.services.testFlag(Service::Collection)) {
        itemNotifier = std::make_unique<EditorCollection::ItemNotifier>();
        catalogue = std::make_unique<EditorCollection::CatalogueProtocol>();
        externalResources
            = std::make_unique<EditorCollection::ExternalResourcesController>(*catalogue);
        featured = std::make_unique<EditorCollection::FeaturedController>();
        // Queued: only a program that runs its event loop settles and starts the collection.
        QTimer::singleShot(0, catalogue.get(),
                           &EditorCollection::CatalogueProtocol::catalogueListRetrieved);
        profiler.mark("collection");
    }
    exportEngine = std::make_unique<Export::Engine>();
}

void Application::Impl::tearDown()
{
    // An export under way is cancelled, and the statistics hear of it before they go.
    exportEngine.reset();
    if (catalogue) {
        featured.reset();
        externalResources.reset();
        catalogue.reset();
        // The next application starts with no collection and no list texts.
        EditorCollection::CollectionProvider::itemStorage().reset();
        Translator::clearTranslations();
        itemNotifier.reset();
    }
    capture.reset();
    player.reset();
    fileStorage.reset();
    fileAdder.reset();
    // Analyses still under way are let go with the application: none outlives the timeline it
    // would place on.
    if (fileAnalyzer) {
        const std::vector<FileAnalyzer::ObjectPtr> left = analysis->objects();
        for (const auto &object : left)
            FileAnalyzer::requestRemove(object);
    }
    FileAnalyzer::setTimeline(nullptr);
    fileAnalyzer.reset();
    analysis.reset();
    // The statistics controller sends the exit event; the session ends cleanly after it.
    statistics.reset();
    webConfig.reset();
    Dialog::setDialogs(nullptr);
    settings.reset();
    if (store)
        store->flush();
    if (uploader) {
        // The exit event and whatever else is pending get a moment to leave; a slow or absent
        // collector costs the exit no more than that, and the rest goes next run.
        uploader->finish(std::chrono::milliseconds(800));
        uploader.reset();
    }
    if (session) {
        session->endSession();
        Vantel::Tracking::setSessionTrackerInstance(nullptr);
        session.reset();
    }
}

Application::Application(Options options)
    : d(std::make_unique<Impl>(std::move(options)))
{
}

Application::~Application() = default;

void Application::startTracking()
{
    // Earlier sessions and the start event first; the launch report closes the start-up.
    d->statistics->startTracking(true);
    PubSub::publish(Statistics::AppLaunchedNotification(d->profiler.result()));
}

Vantel::Tracking::GeneralVantelTracker &Application::tracker() const
{
    return *d->tracker;
}

Vantel::Tracking::EventStore *Application::eventStore() const
{
    return d->store.get();
}

Vantel::Tracking::Uploader *Application::uploader() const
{
    return d->uploader.get();
}

void Application::setStatisticsEnabled(bool on)
{
    if (!d->store)
        throw std::runtime_error("usage events are not kept in this run");
    d->store->flush();
    if (d->uploader)
        d->uploader->pause();
    try {
        d->store->setEnabled(on);
    } catch (...) {
        if (d->uploader)
            d->uploader->resume();
        throw;
    }
    if (d->uploader)
        d->uploader->resume();
}

Vantel::App::ApplicationSettingsManager &Application::settings() const
{
    return *d->settings;
}

Resource::Controller &Application::resources() const
{
    return d->resources;
}

Project::Object &Application::project() const
{
    return *d->project;
}

void Application::setProject(std::unique_ptr<Project::Object> project)
{
    if (project) {
        // Stopped before the timeline it plays goes.
        d->player->setTimeline(nullptr);
        d->project = std::move(project);
    }
    FileAnalyzer::setTimeline(&d->project->timeline());
    d->player->setTimeline(&d->project->timeline());
}

Playback::Player &Application::player() const
{
    return *d->player;
}

FileAnalyzer::Model &Application::analysis() const
{
    return *d->analysis;
}

Export::Engine &Application::exportEngine() const
{
    return *d->exportEngine;
}

EditorCollection::CatalogueProtocol *Application::catalogue() const
{
    return d->catalogue.get();
}

void Application::setDialogs(std::shared_ptr<Dialog::IDialogs> dialogs)
{
    Dialog::setDialogs(std::move(dialogs));
}

void Application::setProgressFactory(std::shared_ptr<Report::IProgressFactory> factory)
{
    d->fileAnalyzer->setProgressFactory(std::move(factory));
}

} // namespace App
