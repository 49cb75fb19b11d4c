#pragma once

#include "applogicexport.h"

#include "Messages/editorevents.h"
#include "Messages/effects.h"
#include "Messages/filmmaker.h"
#include "Messages/project.h"
#include "Messages/stabilization.h"
#include "Messages/tutorials.h"
#include "Messages/uploads.h"
#include "Statistics/eventparams.h"

#include "tracking/generalvanteltracker.h"

#include <string>
#include <vector>

// What each statistics notification is reported as: pure functions from a notification to the
// events it gives (none, one, or for a mask two), so the tracking helper only sends and tests
// read the maps without a tracker. Parameters are inserted in the order the events have always
// computed them; the map sorts them anyway.
namespace Statistics {

struct Event {
    std::string name;
    Params params;

    bool operator==(const Event &o) const { return name == o.name && params == o.params; }
};
using Events = std::vector<Event>;

// Effects and tools.
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::AudioEqualizer> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::ChromaKey> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::Mask> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::Crop> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::ManualEnhance> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::AudioReverb> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::AudioCompressor> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::AudioNoiseGate> &n);
APPLOGIC_EXPORT Events eventsOf(const Effect::AppliedNotification<Effect::AudioMonoChannel> &n);
APPLOGIC_EXPORT Events eventsOf(const AnimationPresetApplied &n);
APPLOGIC_EXPORT Events eventsOf(const PanZoomPresetApplied &n);
APPLOGIC_EXPORT Events eventsOf(const PipPresetApplied &n);
APPLOGIC_EXPORT Events eventsOf(const AudioNoiseSuppressAppliedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const AiDenoiseCancellingDelayNotification &n);
APPLOGIC_EXPORT Events eventsOf(const ProcessingEffectNotification &n);
APPLOGIC_EXPORT Events eventsOf(const Stabilization::FileStabilizeRequest &n);

// Project and application.
APPLOGIC_EXPORT Events eventsOf(const ProjectOpenedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const ProjectSavedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const PortableProjectSavedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const AdjustProjectAspectSuggestedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const AspectRatioChanged &n);
APPLOGIC_EXPORT Events eventsOf(const ClipsChangedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const DeleteFailedFilesEventNotification &n);
APPLOGIC_EXPORT Events eventsOf(const CodecsFailed &n);
APPLOGIC_EXPORT Events eventsOf(const PlayerEventNotification &n);
APPLOGIC_EXPORT Events eventsOf(const InputMethodChanged &n);
APPLOGIC_EXPORT Events eventsOf(const IntelMediaTemporaryDisabled &n);

// Tutorials and guides.
APPLOGIC_EXPORT Events eventsOf(const TutorialShowed &n);
APPLOGIC_EXPORT Events eventsOf(const TutorialClosed &n);
APPLOGIC_EXPORT Events eventsOf(const TutorialSkipOnboardingSuggested &n);
APPLOGIC_EXPORT Events eventsOf(const OnboardingTutorialsAchieved &n);
APPLOGIC_EXPORT Events eventsOf(const GuideButtonClickedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const GuideLinkClickedNotification &n);

// Uploads.
APPLOGIC_EXPORT Events eventsOf(const VideoUploadStartedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const VideoUploadFinishedNotification &n);
APPLOGIC_EXPORT Events eventsOf(const VideoUploadFailureNotification &n);
APPLOGIC_EXPORT Events eventsOf(const UploadedVideoUrlReceived &n);

// The quick-video wizard.
APPLOGIC_EXPORT Events eventsOf(const FileAddedInFilmMakerNotification &n);
APPLOGIC_EXPORT Events eventsOf(const FilmMakerThemeStatusChanged &n);
APPLOGIC_EXPORT Events eventsOf(const FilmMakerImportPageDone &n);
APPLOGIC_EXPORT Events eventsOf(const FilmMakerThemePageDone &n);
APPLOGIC_EXPORT Events eventsOf(const FilmMakerAudioPageDone &n);
APPLOGIC_EXPORT Events eventsOf(const FilmMakerFinished &n);

template<class... Ts> struct TypeList {
};

// Every notification the tracking helper turns into events with eventsOf(), in the order it
// subscribes to them. A new notification is added here and given an eventsOf(); nothing else.
using EventNotifications = TypeList<FileAddedInFilmMakerNotification,
                                    FilmMakerThemeStatusChanged,
                                    FilmMakerImportPageDone,
                                    FilmMakerThemePageDone,
                                    FilmMakerAudioPageDone,
                                    FilmMakerFinished,
                                    TutorialShowed,
                                    TutorialClosed,
                                    TutorialSkipOnboardingSuggested,
                                    OnboardingTutorialsAchieved,
                                    Effect::AppliedNotification<Effect::AudioEqualizer>,
                                    Effect::AppliedNotification<Effect::ChromaKey>,
                                    Effect::AppliedNotification<Effect::Mask>,
                                    Effect::AppliedNotification<Effect::Crop>,
                                    Effect::AppliedNotification<Effect::ManualEnhance>,
                                    Effect::AppliedNotification<Effect::AudioReverb>,
                                    Effect::AppliedNotification<Effect::AudioCompressor>,
                                    Effect::AppliedNotification<Effect::AudioNoiseGate>,
                                    Effect::AppliedNotification<Effect::AudioMonoChannel>,
                                    IntelMediaTemporaryDisabled,
                                    AnimationPresetApplied,
                                    PanZoomPresetApplied,
                                    PipPresetApplied,
                                    GuideButtonClickedNotification,
                                    GuideLinkClickedNotification,
                                    AspectRatioChanged,
                                    ClipsChangedNotification,
                                    PlayerEventNotification,
                                    DeleteFailedFilesEventNotification,
                                    VideoUploadStartedNotification,
                                    VideoUploadFinishedNotification,
                                    VideoUploadFailureNotification,
                                    UploadedVideoUrlReceived,
                                    PortableProjectSavedNotification,
                                    ProjectOpenedNotification,
                                    ProjectSavedNotification,
                                    AdjustProjectAspectSuggestedNotification,
                                    ProcessingEffectNotification,
                                    AiDenoiseCancellingDelayNotification,
                                    AudioNoiseSuppressAppliedNotification,
                                    CodecsFailed,
                                    InputMethodChanged>;

// Hands each event to the tracker in order: the one send path of the statistics.
void sendEvents(Vantel::Tracking::GeneralVantelTracker &tracker, const Events &events);

} // namespace Statistics
