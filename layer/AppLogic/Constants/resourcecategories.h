#pragma once

#include "applogicexport.h"

#include <QString>
#include <QStringList>

// Names of the content collections. They are identifiers the collection service and the lists
// compare exactly, so they keep their mixed forms ("Shader effects" with a blank, "Title" singular
// beside "Videos" plural) byte for byte. Built at library load, read-only afterwards.
namespace ResourceCategories {

APPLOGIC_EXPORT extern const QString Animations;
APPLOGIC_EXPORT extern const QString AudioEnhance;
APPLOGIC_EXPORT extern const QString Backgrounds;
APPLOGIC_EXPORT extern const QString Callout;
APPLOGIC_EXPORT extern const QString ColorFilters;
APPLOGIC_EXPORT extern const QString Effects;
APPLOGIC_EXPORT extern const QString EffectsAudio;
APPLOGIC_EXPORT extern const QString Frames;
APPLOGIC_EXPORT extern const QString Intro;
APPLOGIC_EXPORT extern const QString Luts;
APPLOGIC_EXPORT extern const QString Masks;
APPLOGIC_EXPORT extern const QString Music;
APPLOGIC_EXPORT extern const QString OverlayEffects;
APPLOGIC_EXPORT extern const QString Packs;
APPLOGIC_EXPORT extern const QString PanAndZoom;
APPLOGIC_EXPORT extern const QString PipEffects;
APPLOGIC_EXPORT extern const QString ShaderEffects;
APPLOGIC_EXPORT extern const QString Sounds;
APPLOGIC_EXPORT extern const QString SpecialEffects;
APPLOGIC_EXPORT extern const QString Sticker;
APPLOGIC_EXPORT extern const QString Themes;
APPLOGIC_EXPORT extern const QString ThemesAudio;
APPLOGIC_EXPORT extern const QString ThemesTitles;
APPLOGIC_EXPORT extern const QString ThemesVideo;
APPLOGIC_EXPORT extern const QString Title;
APPLOGIC_EXPORT extern const QString Tools;
APPLOGIC_EXPORT extern const QString Transitions;
APPLOGIC_EXPORT extern const QString UserFiles;
APPLOGIC_EXPORT extern const QString Videos;
APPLOGIC_EXPORT extern const QString WizardBackgrounds;

// Every name above, in alphabetical order.
APPLOGIC_EXPORT const QStringList &all();

// The media kind of an audio file imported into a collection: "Music" 1, "Sounds" 0, any other 7.
APPLOGIC_EXPORT int mediaKindForCollection(const QString &collection);

} // namespace ResourceCategories

// Further names of the same start-up group.
namespace ResourceNames {
// The resource identifier of an empty stream.
APPLOGIC_EXPORT extern const QString EmptyStream;
APPLOGIC_EXPORT extern const QString PlaybackChannel;
// The channel of the capture controller's level meter.
APPLOGIC_EXPORT extern const QString SoundRecorderChannel;
} // namespace ResourceNames
