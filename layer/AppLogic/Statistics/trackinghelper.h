#pragma once

#include "Messages/statistics.h"
#include "Statistics/aistatistics.h"
#include "Statistics/bladestatistics.h"
#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/eventparams.h"
#include "Statistics/exportstatistics.h"
#include "Statistics/fasttrackstatistics.h"
#include "Statistics/filesstatistics.h"
#include "Statistics/istatistics.h"
#include "Statistics/motiontrackingstatistics.h"
#include "Statistics/playerstatistics.h"
#include "Statistics/speechtotextstatistics.h"
#include "Statistics/statisticsevents.h"
#include "Statistics/transitionstatistics.h"
#include "Statistics/workspacestatistics.h"

#include "pubsub/subscriber.h"
#include "tracking/generalvanteltracker.h"

#include <boost/intrusive_ptr.hpp>

#include <string>

namespace Statistics {

class Controller;

// Turns the layer's statistics notifications into tracker events and owns the per-domain
// reporters, which share its tracker. Installs itself as the global IStatistics while it lives.
class TrackingHelper final
    : public IStatistics
    , public PubSub::Subscriber<InteractionNotification,
                                FileAddedInFilmMakerNotification,
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
                                AppLaunchedNotification,
                                OsShutdownNotification,
                                ProcessingEffectNotification,
                                AiDenoiseCancellingDelayNotification,
                                AudioNoiseSuppressAppliedNotification,
                                CodecsFailed,
                                InputMethodChanged> {
public:
    TrackingHelper(Controller *controller,
                   boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    ~TrackingHelper() override;

    void startTracking(bool registerFillers);

    // The one send path: every event of the layer leaves through here.
    void send(const std::string &event, Params params) const;

    void notify(const InteractionNotification &n) override;
    void notify(const AppLaunchedNotification &n) override;
    void notify(const OsShutdownNotification &n) override;

    // Each of these sends what eventsOf() makes of the notification.
    void notify(const FileAddedInFilmMakerNotification &n) override;
    void notify(const FilmMakerThemeStatusChanged &n) override;
    void notify(const FilmMakerImportPageDone &n) override;
    void notify(const FilmMakerThemePageDone &n) override;
    void notify(const FilmMakerAudioPageDone &n) override;
    void notify(const FilmMakerFinished &n) override;
    void notify(const TutorialShowed &n) override;
    void notify(const TutorialClosed &n) override;
    void notify(const TutorialSkipOnboardingSuggested &n) override;
    void notify(const OnboardingTutorialsAchieved &n) override;
    void notify(const Effect::AppliedNotification<Effect::AudioEqualizer> &n) override;
    void notify(const Effect::AppliedNotification<Effect::ChromaKey> &n) override;
    void notify(const Effect::AppliedNotification<Effect::Mask> &n) override;
    void notify(const Effect::AppliedNotification<Effect::Crop> &n) override;
    void notify(const Effect::AppliedNotification<Effect::ManualEnhance> &n) override;
    void notify(const Effect::AppliedNotification<Effect::AudioReverb> &n) override;
    void notify(const Effect::AppliedNotification<Effect::AudioCompressor> &n) override;
    void notify(const Effect::AppliedNotification<Effect::AudioNoiseGate> &n) override;
    void notify(const Effect::AppliedNotification<Effect::AudioMonoChannel> &n) override;
    void notify(const IntelMediaTemporaryDisabled &n) override;
    void notify(const AnimationPresetApplied &n) override;
    void notify(const PanZoomPresetApplied &n) override;
    void notify(const PipPresetApplied &n) override;
    void notify(const GuideButtonClickedNotification &n) override;
    void notify(const GuideLinkClickedNotification &n) override;
    void notify(const AspectRatioChanged &n) override;
    void notify(const ClipsChangedNotification &n) override;
    void notify(const PlayerEventNotification &n) override;
    void notify(const DeleteFailedFilesEventNotification &n) override;
    void notify(const VideoUploadStartedNotification &n) override;
    void notify(const VideoUploadFinishedNotification &n) override;
    void notify(const VideoUploadFailureNotification &n) override;
    void notify(const UploadedVideoUrlReceived &n) override;
    void notify(const PortableProjectSavedNotification &n) override;
    void notify(const ProjectOpenedNotification &n) override;
    void notify(const ProjectSavedNotification &n) override;
    void notify(const AdjustProjectAspectSuggestedNotification &n) override;
    void notify(const ProcessingEffectNotification &n) override;
    void notify(const AiDenoiseCancellingDelayNotification &n) override;
    void notify(const AudioNoiseSuppressAppliedNotification &n) override;
    void notify(const CodecsFailed &n) override;
    void notify(const InputMethodChanged &n) override;

    MotionTrackingStatistics *motionTrackingStatistics() override { return &m_motionTracking; }
    AiStatistics *aiStatistics() override { return &m_ai; }
    ITimelineStatistics *timelineStatistics() override { return &m_timeline; }
    IClipPropertiesStatistics *clipPropertiesStatistics() override { return &m_clipProperties; }
    ITransitionStatistics *transitionStatistics() override { return &m_transition; }
    IOverlayStatistics *overlayStatistics() override { return &m_overlay; }
    IBladeStatistics *bladeStatistics() override { return &m_blade; }
    IPlayerStatistics *playerStatistics() override { return &m_player; }
    IFilesStatistics *filesStatistics() override { return &m_files; }
    IFastTrackStatistics *fastTrackStatistics() override { return &m_fastTrack; }
    ISpeechToTextStatistics *speechToTextStatistics() override { return &m_speechToText; }
    IWorkspaceStatistics *workspaceStatistics() override { return &m_workspace; }
    IExportStatistics *exportStatistics() override { return &m_export; }

private:
    void send(const Events &events) const;

    Controller *m_controller;
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
    bool m_started = false;

    // The per-domain reporters, made in this order, each sharing the tracker. The collection's
    // reporter takes its place after the overlay's when the collection is built.
    MotionTrackingStatistics m_motionTracking;
    AiStatistics m_ai;
    TimelineStatistics m_timeline;
    ClipPropertiesStatistics m_clipProperties;
    TransitionStatistics m_transition;
    OverlayStatistics m_overlay;
    BladeStatistics m_blade;
    PlayerStatistics m_player;
    FilesStatistics m_files;
    FastTrackStatistics m_fastTrack;
    SpeechToTextStatistics m_speechToText;
    WorkspaceStatistics m_workspace;
    ExportStatistics m_export;
};

} // namespace Statistics
