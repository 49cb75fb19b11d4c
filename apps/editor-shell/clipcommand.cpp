// `clip`: the clip properties panel on a saved project: opacity, speed, volume, fades, blending
// and the applied effects of the selected clips, each change reported as the panel reports it,
// then the project saved.

#include "Application/application.h"
#include "editing.h"
#include "projectactions.h"

#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/istatistics.h"

#include "project/project.h"
#include "project/projectfile.h"
#include "timeline/timeline.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>
#include <functional>

namespace Shell {

namespace {

QCommandLineOption valueOption(const char *name, const char *help, const char *value)
{
    return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(help),
                              QString::fromLatin1(value));
}

const QCommandLineOption opacityOption = valueOption("opacity", "Opacity in percent (0-100).", "P");
const QCommandLineOption speedOption
    = valueOption("speed", "Playback speed in percent (100 is normal).", "P");
const QCommandLineOption volumeOption = valueOption("volume", "Volume in percent (0-400).", "P");
const QCommandLineOption fadeInOption = valueOption("fade-in", "Fade-in length in seconds.", "S");
const QCommandLineOption fadeOutOption
    = valueOption("fade-out", "Fade-out length in seconds.", "S");
const QCommandLineOption blendOption
    = valueOption("blend", "Blending mode by name (multiply, screen, ...) or number.", "MODE");
const QCommandLineOption disableOption
    = valueOption("disable-effect", "Switch off the effect NAME (kind or name).", "NAME");
const QCommandLineOption removeOption
    = valueOption("remove-effect", "Remove the effect NAME (kind or name).", "NAME");
const QCommandLineOption effectOption
    = valueOption("effect", "The effect whose settings --set changes.", "NAME");
const QCommandLineOption setOption
    = valueOption("set", "A setting of --effect: KEY=VALUE (repeatable).", "KEY=VALUE");

using Statistics::BlendingMode;

bool blendingModeFrom(const QString &text, BlendingMode *mode)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    for (int m = 0; m < Timeline::blendingModeCount; ++m) {
        const auto candidate = static_cast<BlendingMode>(m);
        if ((isNumber && number == m)
            || text.compare(QLatin1String(Statistics::blendingModeText(candidate)),
                            Qt::CaseInsensitive)
                == 0) {
            *mode = candidate;
            return true;
        }
    }
    return false;
}

bool effectNamed(const Effect::Object &effect, const QString &name)
{
    const std::string_view id = Effect::idText(effect.id());
    return name == QLatin1String(id.data(), static_cast<int>(id.size())) || name == effect.name();
}

bool percentOption(Context &context, const QCommandLineOption &option, int min, int max, int *out)
{
    bool ok = false;
    *out = context.parser.value(option).toInt(&ok);
    if (ok && *out >= min && *out <= max)
        return true;
    context.err << "editor-shell: --" << option.names().first() << " must be a whole number from "
                << min << " to " << max << '\n';
    return false;
}

// A --set value as the project file would hold it: true/false, a number, or text.
QJsonValue settingValue(const QString &text)
{
    if (text == QLatin1String("true") || text == QLatin1String("false"))
        return text == QLatin1String("true");
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    return isNumber ? QJsonValue(number) : QJsonValue(text);
}

bool hasEffect(Context &context, const std::vector<Timeline::Clip *> &clips, const QString &name)
{
    for (const Timeline::Clip *clip : clips) {
        for (const auto &effect : clip->effects()) {
            if (effectNamed(*effect, name))
                return true;
        }
    }
    context.err << "editor-shell: no selected clip has the effect \"" << name << "\"\n";
    return false;
}

// Every selected clip's effect `name` changed by a setting, in place; the number of clips.
int forEffect(const std::vector<Timeline::Clip *> &clips,
              const QString &name,
              const std::function<void(Timeline::Clip &, std::size_t)> &change)
{
    int changed = 0;
    for (Timeline::Clip *clip : clips) {
        bool touched = false;
        // Backwards, so a removal leaves the indices still to visit in place.
        for (std::size_t i = clip->effects().size(); i-- > 0;) {
            if (effectNamed(*clip->effects()[i], name)) {
                change(*clip, i);
                touched = true;
            }
        }
        changed += touched;
    }
    return changed;
}

struct Replacement {
    Timeline::Clip *clip;
    std::size_t index;
    std::unique_ptr<Effect::Object> effect;
    QString uniqueId;
};

// The effects `settings` make of every effect `name` of the clips, through the project file's own
// form of an effect, so each value is checked as a file's would be. An error text, or empty.
QString prepareSettings(const std::vector<Timeline::Clip *> &clips,
                        const QString &name,
                        const QJsonObject &settings,
                        std::vector<Replacement> *replacements)
{
    for (Timeline::Clip *clip : clips) {
        for (std::size_t i = 0; i < clip->effects().size(); ++i) {
            const Effect::Object &effect = *clip->effects()[i];
            if (!effectNamed(effect, name))
                continue;
            QJsonObject object = Project::effectToJson(effect);
            for (auto it = settings.constBegin(); it != settings.constEnd(); ++it) {
                if (!object.contains(it.key()) || it.key() == QLatin1String("type"))
                    return QStringLiteral("%1 has no setting \"%2\"").arg(name, it.key());
                object.insert(it.key(), it.value());
            }
            try {
                auto changed = Project::effectFromJson(object);
                const QString uniqueId = changed->uniqueId();
                replacements->push_back({ clip, i, std::move(changed), uniqueId });
            } catch (const Project::FileError &e) {
                return name + QStringLiteral(": ") + QString::fromStdString(e.what());
            }
        }
    }
    return {};
}

int run(Context &context)
{
    const auto &p = context.parser;
    if (context.arguments.size() != 1 || !p.isSet(clipsOption)) {
        context.err << "Usage: editor-shell clip PROJECT --clips N,M... [--opacity P] [--speed P] "
                       "[--volume P] [--fade-in S] [--fade-out S] [--blend MODE] "
                       "[--disable-effect NAME] [--remove-effect NAME] [--effect NAME --set "
                       "K=V...] [--json]\n";
        return 2;
    }
    // Every value is checked before the project is touched, so a bad one changes nothing.
    int opacity = 0, speed = 0, volume = 0;
    double fadeIn = 0, fadeOut = 0;
    BlendingMode blend = BlendingMode::SourceOver;
    if ((p.isSet(opacityOption) && !percentOption(context, opacityOption, 0, 100, &opacity))
        || (p.isSet(speedOption) && !percentOption(context, speedOption, 1, 1'000'000, &speed))
        || (p.isSet(volumeOption) && !percentOption(context, volumeOption, 0, 400, &volume))
        || (p.isSet(fadeInOption) && !secondsOption(context, fadeInOption, &fadeIn))
        || (p.isSet(fadeOutOption) && !secondsOption(context, fadeOutOption, &fadeOut)))
        return 2;
    if (p.isSet(blendOption) && !blendingModeFrom(p.value(blendOption), &blend)) {
        context.err << "editor-shell: \"" << p.value(blendOption) << "\" is not a blending mode\n";
        return 2;
    }
    QJsonObject settings;
    for (const QString &pair : p.values(setOption)) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq <= 0) {
            context.err << "editor-shell: --set \"" << pair << "\" is not KEY=VALUE\n";
            return 2;
        }
        settings.insert(pair.left(eq), settingValue(pair.mid(eq + 1)));
    }
    if (settings.isEmpty() != !p.isSet(effectOption)) {
        context.err << "editor-shell: --effect and --set go together\n";
        return 2;
    }
    if (!openForEditing(context))
        return 1;

    Timeline::Model &timeline = context.app.project().timeline();
    std::vector<Timeline::Clip *> clips = selectedClips(context, timeline, p.value(clipsOption));
    if (clips.empty())
        return 2;
    // Effects named by the options must be there, and new settings must read back as a file
    // would hold them, before anything changes.
    for (const QCommandLineOption *option : { &disableOption, &removeOption, &effectOption }) {
        if (p.isSet(*option) && !hasEffect(context, clips, p.value(*option)))
            return 1;
    }
    std::vector<Replacement> replacements;
    if (p.isSet(effectOption)) {
        const QString failure
            = prepareSettings(clips, p.value(effectOption), settings, &replacements);
        if (!failure.isEmpty()) {
            context.err << "editor-shell: " << failure << '\n';
            return 2;
        }
    }
    const auto count = static_cast<std::uint64_t>(clips.size());
    auto &report = *Statistics::statistics()->clipPropertiesStatistics();
    QJsonObject json;
    QString text;

    if (p.isSet(opacityOption)) {
        for (Timeline::Clip *clip : clips)
            clip->setOpacity(opacity);
        report.opacityChanged(count, opacity);
        json[QStringLiteral("opacity")] = opacity;
        text += QStringLiteral("Opacity %1%\n").arg(opacity);
    }
    if (p.isSet(speedOption)) {
        QJsonArray applied;
        int rebound = 0;
        for (Timeline::Clip *clip : clips) {
            const double actual
                = timeline.setClipSpeed(clip->id(), speed / 100.0, clip->isSpeedCompensated());
            const int percent = static_cast<int>(std::lround(actual * 100));
            applied.append(percent);
            if (percent != speed && !rebound)
                rebound = percent;
            text += QStringLiteral("Clip %1 speed %2%\n").arg(clip->id()).arg(percent);
        }
        report.speedChanged(count, speed);
        // The panel springs back to the speed the clip could take and says so once.
        if (rebound)
            report.speedChangeRebound(speed, rebound);
        json[QStringLiteral("speed")] = applied;
    }
    if (p.isSet(volumeOption)) {
        for (Timeline::Clip *clip : clips)
            clip->setVolume(volume);
        report.volumeChanged(count);
        json[QStringLiteral("volume")] = volume;
        text += QStringLiteral("Volume %1%\n").arg(volume);
    }
    // A fade never outlasts its clip: longer requests end at the clip's length.
    auto fade = [&](const QCommandLineOption &option, double seconds, Statistics::FadeType type) {
        if (!p.isSet(option))
            return;
        for (Timeline::Clip *clip : clips) {
            const MTime length = std::min(MTime::fromSec(seconds), clip->duration());
            if (type == Statistics::FadeType::FadeIn)
                clip->setFadeIn(length);
            else
                clip->setFadeOut(length);
        }
        report.fadeUsed(type, count);
        const QString key = type == Statistics::FadeType::FadeIn ? QStringLiteral("fadeIn")
                                                                 : QStringLiteral("fadeOut");
        json[key] = seconds;
        text += QStringLiteral("%1 %2 s\n").arg(key).arg(seconds);
    };
    fade(fadeInOption, fadeIn, Statistics::FadeType::FadeIn);
    fade(fadeOutOption, fadeOut, Statistics::FadeType::FadeOut);
    if (p.isSet(blendOption)) {
        Statistics::ClipSelection selection;
        for (Timeline::Clip *clip : clips) {
            clip->setBlendingMode(blend);
            selection.insert(clip);
        }
        report.clipBlendingModeChanged(blend, selection);
        json[QStringLiteral("blend")] = QLatin1String(Statistics::blendingModeText(blend));
        text += QStringLiteral("Blending %1\n")
                    .arg(QLatin1String(Statistics::blendingModeText(blend)));
    }

    if (p.isSet(disableOption)) {
        const QString name = p.value(disableOption);
        const int changed = forEffect(clips, name, [](Timeline::Clip &clip, std::size_t i) {
            clip.effects()[i]->setEnabled(false);
        });
        report.adjustmentsDisabled(name, static_cast<std::uint64_t>(changed));
        json[QStringLiteral("disabled")] = name;
        text += QStringLiteral("Switched off %1 on %2 clips\n").arg(name).arg(changed);
    }
    if (p.isSet(removeOption)) {
        const QString name = p.value(removeOption);
        const int changed = forEffect(
            clips, name, [](Timeline::Clip &clip, std::size_t i) { clip.removeEffect(i); });
        report.adjustmentsRemoved(name, static_cast<std::uint64_t>(changed));
        json[QStringLiteral("removed")] = name;
        text += QStringLiteral("Removed %1 from %2 clips\n").arg(name).arg(changed);
    }
    if (p.isSet(effectOption)) {
        for (Replacement &r : replacements)
            r.clip->replaceEffect(r.index, std::move(r.effect));
        const QString name = p.value(effectOption);
        const QString parameters = p.values(setOption).join(QLatin1Char(','));
        std::set<const Timeline::Clip *> changed;
        for (const Replacement &r : replacements)
            changed.insert(r.clip);
        report.effectSettingsChanged(name, replacements.front().uniqueId, parameters,
                                     static_cast<std::uint64_t>(changed.size()));
        json[QStringLiteral("settings")] = settings;
        text += QStringLiteral("Set %1 of %2 on %3 clips\n")
                    .arg(parameters, name)
                    .arg(changed.size());
    }
    if (!saveForEditing(context))
        return 1;
    printResult(context, json, text);
    return 0;
}

} // namespace

Command clipCommand()
{
    return { "clip",
             "clip PROJECT --clips N,M... [--opacity P] [--speed P] [--volume P] [--fade-in S] "
             "[--fade-out S] [--blend MODE] [--disable-effect NAME] [--remove-effect NAME] "
             "[--effect NAME --set K=V...] [--json]  change the selected clips' properties",
             [](QCommandLineParser &parser) {
                 parser.addOptions({ clipsOption, opacityOption, speedOption, volumeOption,
                                     fadeInOption, fadeOutOption, blendOption, disableOption,
                                     removeOption, effectOption, setOption, jsonOutputOption });
             },
             run };
}

} // namespace Shell
