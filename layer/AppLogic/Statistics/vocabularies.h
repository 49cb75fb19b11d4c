#pragma once

#include "applogicexport.h"

#include "Messages/editorevents.h"
#include "Messages/filmmaker.h"
#include "Messages/stabilization.h"
#include "Messages/tutorials.h"
#include "Messages/uploads.h"

#include <string>

namespace Effect {
class ManualEnhance;
}

// The fixed words the usage events use for enumerations. Each lookup has its fallback (mostly
// "UNKNOWN", the empty text where the event has always sent that); lookups that choose an event
// name give null when there is no event to send. The words are the events' vocabulary on the
// wire, spelling included: never "correct" them.
namespace Statistics {

APPLOGIC_EXPORT const char *tutorialName(Tutorial tutorial);
APPLOGIC_EXPORT const char *tutorialPageName(TutorialPage page);
APPLOGIC_EXPORT const char *tutorialCloseTriggerName(TutorialCloseTrigger trigger);
APPLOGIC_EXPORT const char *stabilizationZoomName(Stabilization::FileStabilizeRequest::Zoom zoom);
APPLOGIC_EXPORT const char *equalizerPresetName(int preset);
APPLOGIC_EXPORT const char *maskShapeName(int shape);
APPLOGIC_EXPORT const char *maskEdgeModeName(int mode);
APPLOGIC_EXPORT const char *sharingName(SharingService service);
APPLOGIC_EXPORT const char *sortOrderName(FilmMakerImportPageDone::SortOrder order);
APPLOGIC_EXPORT const char *backgroundName(FilmMakerFinished::Background background);

// Event names chosen by a value; null: nothing is sent.
APPLOGIC_EXPORT const char *wizardResultEvent(FilmMakerFinished::Action action);
APPLOGIC_EXPORT const char *themeStatusEvent(FilmMakerThemeStatusChanged::Status status);
APPLOGIC_EXPORT const char *filmMakerFileEvent(FileAddedInFilmMakerNotification::Way way);
APPLOGIC_EXPORT const char *playerEvent(PlayerEventNotification::Kind kind);
// "PREVIOUS" or "NEXT" for the player's navigation kinds.
APPLOGIC_EXPORT const char *playerDirection(PlayerEventNotification::Kind kind);

// The colour tools that differ from their defaults, in the tools' reporting order, joined with
// "," and no blanks; empty when none changed.
APPLOGIC_EXPORT std::string toolsUsed(const Effect::ManualEnhance &effect);

} // namespace Statistics
