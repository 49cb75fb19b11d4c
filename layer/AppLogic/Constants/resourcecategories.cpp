#include "Constants/resourcecategories.h"

#include <QHash>

namespace ResourceCategories {

const QString Animations = QStringLiteral("Animations");
const QString AudioEnhance = QStringLiteral("AudioEnhance");
const QString Backgrounds = QStringLiteral("Backgrounds");
const QString Callout = QStringLiteral("Callout");
const QString ColorFilters = QStringLiteral("ColorFilters");
const QString Effects = QStringLiteral("Effects");
const QString EffectsAudio = QStringLiteral("EffectsAudio");
const QString Frames = QStringLiteral("Frames");
const QString Intro = QStringLiteral("Intro");
const QString Luts = QStringLiteral("Luts");
const QString Masks = QStringLiteral("Masks");
const QString Music = QStringLiteral("Music");
const QString OverlayEffects = QStringLiteral("OverlayEffects");
const QString Packs = QStringLiteral("Packs");
const QString PanAndZoom = QStringLiteral("PanAndZoom");
const QString PipEffects = QStringLiteral("PipEffects");
const QString ShaderEffects = QStringLiteral("Shader effects");
const QString Sounds = QStringLiteral("Sounds");
const QString SpecialEffects = QStringLiteral("Special effects");
const QString Sticker = QStringLiteral("Sticker");
const QString Themes = QStringLiteral("Themes");
const QString ThemesAudio = QStringLiteral("ThemesAudio");
const QString ThemesTitles = QStringLiteral("ThemesTitles");
const QString ThemesVideo = QStringLiteral("ThemesVideo");
const QString Title = QStringLiteral("Title");
const QString Tools = QStringLiteral("Tools");
const QString Transitions = QStringLiteral("Transitions");
const QString UserFiles = QStringLiteral("UserFiles");
const QString Videos = QStringLiteral("Videos");
const QString WizardBackgrounds = QStringLiteral("WizardBackgrounds");

const QStringList &all()
{
    static const QStringList names = {
        Animations,     AudioEnhance, Backgrounds, Callout,     ColorFilters,  Effects,
        EffectsAudio,   Frames,       Intro,       Luts,        Masks,         Music,
        OverlayEffects, Packs,        PanAndZoom,  PipEffects,  ShaderEffects, Sounds,
        SpecialEffects, Sticker,      Themes,      ThemesAudio, ThemesTitles,  ThemesVideo,
        Title,          Tools,        Transitions, UserFiles,   Videos,        WizardBackgrounds
    };
    return names;
}

int mediaKindForCollection(const QString &collection)
{
    static const QHash<QString, int> kinds
        = { { QStringLiteral("Music"), 1 }, { QStringLiteral("Sounds"), 0 } };
    return kinds.value(collection, 7);
}

} // namespace ResourceCategories

namespace ResourceNames {
const QString EmptyStream = QStringLiteral("RESOURCE##EMPTY_STREAM");
const QString PlaybackChannel = QStringLiteral("playback");
const QString SoundRecorderChannel = QStringLiteral("soundRecorder");
} // namespace ResourceNames
