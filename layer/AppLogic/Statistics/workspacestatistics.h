#pragma once

#include "applogicexport.h"

#include "tracking/generalvanteltracker.h"
#include "workspace/capturemode.h"
#include "workspace/navigation.h"
#include "workspace/overlaypresettype.h"

#include <QString>

#include <boost/intrusive_ptr.hpp>

// Navigation in the editor's workspace: side panels, back buttons, the voice-over recorder, the
// speech-to-text entry. Stateless; sends straight to the tracker.
namespace Statistics {

// "PAGE_IMPORTS" ... "MOTION_TRACKING_SETTINGS"; "UNKNOWN" outside.
APPLOGIC_EXPORT const char *pageScreenText(Navigation::Page page);
// "INVALID_CLIP_SELECTION" ... "STT_SUBTITLE_SETTINGS"; "UNKNOWN" outside.
APPLOGIC_EXPORT const char *overlayEditorScreenText(Overlay::PresetType type);

class APPLOGIC_EXPORT IWorkspaceStatistics {
public:
    virtual ~IWorkspaceStatistics();
    virtual void appliedEffectsClicked(const QString &method) = 0;
    virtual void clipPropertiesClicked(const QString &method) = 0;
    virtual void audioCaptureClicked(Capture::Mode mode) = 0;
    virtual void backButtonClicked(Navigation::Page target, Navigation::Page previous) = 0;
    virtual void backButtonClickedOverlayEditor(Navigation::Page target, Overlay::PresetType type)
        = 0;
    virtual void speechToTextShowedOnAudioToolsSelection() = 0;
    virtual void transitionSettingsClicked() = 0;
};

class APPLOGIC_EXPORT WorkspaceStatistics : public IWorkspaceStatistics {
public:
    explicit WorkspaceStatistics(
        boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> tracker);
    void appliedEffectsClicked(const QString &method) override;
    void clipPropertiesClicked(const QString &method) override;
    void audioCaptureClicked(Capture::Mode mode) override;
    void backButtonClicked(Navigation::Page target, Navigation::Page previous) override;
    void backButtonClickedOverlayEditor(Navigation::Page target, Overlay::PresetType type) override;
    void speechToTextShowedOnAudioToolsSelection() override;
    void transitionSettingsClicked() override;

private:
    boost::intrusive_ptr<Vantel::Tracking::GeneralVantelTracker> m_tracker;
};

} // namespace Statistics
