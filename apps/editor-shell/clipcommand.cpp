// `clip`: the clip properties panel and the timeline's clip edits on a saved project: opacity,
// speed, volume, fades, blending and the applied effects of the selected clips, deleting, moving
// and trimming them. Each change is reported as the panel reports it, then the project saved; a
// change that cannot be made leaves the file as it was.

#include "Application/application.h"
#include "editing.h"
#include "projectactions.h"

#include "Statistics/clippropertiesstatistics.h"
#include "Statistics/istatistics.h"

#include "project/project.h"
#include "project/projectfile.h"
#include "timeline/timeline.h"
#include "util/format.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>

namespace Shell {

namespace {

using Statistics::BlendingMode;

QString blendingModeName(BlendingMode mode)
{
    return QString::fromLatin1(Statistics::blendingModeText(mode)).toLower();
}

QStringList blendingModeNames()
{
    QStringList names;
    for (int m = 0; m < Timeline::blendingModeCount; ++m)
        names << blendingModeName(static_cast<BlendingMode>(m));
    return names;
}

QStringList effectNames()
{
    QStringList names;
    for (int e = 0; e < Effect::idCount; ++e) {
        const std::string_view id = Effect::idText(static_cast<Effect::Id>(e));
        names << QString::fromLatin1(id.data(), static_cast<int>(id.size()));
    }
    return names;
}

// A new effect of a kind, as the file would read it with only its type given.
std::unique_ptr<Effect::Object> defaultEffect(const QString &kind)
{
    return Project::effectFromJson({ { QStringLiteral("type"), kind } });
}

bool effectNamed(const Effect::Object &effect, const QString &name)
{
    const std::string_view id = Effect::idText(effect.id());
    return name == QLatin1String(id.data(), static_cast<int>(id.size())) || name == effect.name();
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
    context.failure(
        QStringLiteral("no selected clip has the effect \"%1\"").arg(Format::printable(name)));
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

// The reports of the changes made: sent only once every change has been made, so a change that
// fails reports nothing.
using Reports = std::vector<std::function<void()>>;

int listings(Context &context)
{
    QJsonArray list;
    QString text;
    if (context.options.isSet(QStringLiteral("list-blend-modes"))) {
        for (const QString &name : blendingModeNames()) {
            list.append(name);
            text += name + QLatin1Char('\n');
        }
        printResult(context, { { QStringLiteral("blendModes"), list } }, text);
        return 0;
    }
    for (const QString &name : effectNames()) {
        QJsonObject settings = Project::effectToJson(*defaultEffect(name));
        settings.remove(QStringLiteral("type"));
        list.append(QJsonObject { { QStringLiteral("name"), name },
                                  { QStringLiteral("settings"), settings } });
        text += QStringLiteral("%1  %2\n").arg(name, settings.keys().join(QStringLiteral(", ")));
    }
    printResult(context, { { QStringLiteral("effects"), list } }, text);
    return 0;
}

// Deletes, moves or trims the clips; the text and JSON of what was done. Throws
// std::invalid_argument, before or during the change, when it cannot be made.
void editClips(Context &context,
               Timeline::Model &timeline,
               std::vector<Timeline::Clip *> &clips,
               QJsonObject &json,
               QString &text)
{
    const OptionValues &o = context.options;
    if (o.isSet(QStringLiteral("delete"))) {
        const bool ripple = o.isSet(QStringLiteral("ripple"));
        // Latest first, so a ripple moves only clips still to come.
        std::sort(clips.begin(), clips.end(), [](const Timeline::Clip *a, const Timeline::Clip *b) {
            return a->position() > b->position();
        });
        QJsonArray deleted;
        for (const Timeline::Clip *clip : clips) {
            const Timeline::ClipId id = clip->id();
            if (ripple)
                timeline.rippleRemoveClip(id);
            else
                timeline.removeClip(id);
            deleted.append(static_cast<qint64>(id));
            text += QStringLiteral("Deleted clip %1%2\n")
                        .arg(id)
                        .arg(ripple ? QStringLiteral(", the clips after it moved up") : QString());
        }
        clips.clear();
        json[QStringLiteral("deleted")] = deleted;
        json[QStringLiteral("ripple")] = ripple;
        return;
    }
    if (o.isSet(QStringLiteral("move-to"))) {
        Timeline::Clip *clip = clips.front();
        const int track = o.isSet(QStringLiteral("track")) ? o.integer(QStringLiteral("track"))
                                                           : timeline.trackOf(clip->id());
        if (track >= timeline.trackCount())
            throw std::invalid_argument("the project has no track " + std::to_string(track));
        Timeline::Clip &moved
            = timeline.moveClip(clip->id(), track, o.time(QStringLiteral("move-to")));
        json[QStringLiteral("moved")]
            = QJsonObject { { QStringLiteral("clip"), static_cast<qint64>(moved.id()) },
                            { QStringLiteral("track"), track },
                            { QStringLiteral("position"), moved.position().toSecF() } };
        text += QStringLiteral("Moved clip %1 to track %2 at %3\n")
                    .arg(moved.id())
                    .arg(track)
                    .arg(moved.position().toClockString());
    }
    const bool trimStart = o.isSet(QStringLiteral("trim-start"));
    const bool trimEnd = o.isSet(QStringLiteral("trim-end"));
    if (trimStart || trimEnd) {
        QJsonArray trimmed;
        for (Timeline::Clip *clip : clips) {
            const MTime off = trimStart ? o.time(QStringLiteral("trim-start")) : MTime();
            const MTime offEnd = trimEnd ? o.time(QStringLiteral("trim-end")) : MTime();
            if (off + offEnd >= clip->duration())
                throw std::invalid_argument(
                    QStringLiteral("clip %1 lasts %2: trimming %3 s leaves nothing")
                        .arg(clip->id())
                        .arg(clip->duration().toClockString())
                        .arg((off + offEnd).toSecF())
                        .toStdString());
            timeline.trimClip(clip->id(), clip->position() + off, clip->end() - offEnd);
            trimmed.append(
                QJsonObject { { QStringLiteral("clip"), static_cast<qint64>(clip->id()) },
                              { QStringLiteral("position"), clip->position().toSecF() },
                              { QStringLiteral("duration"), clip->duration().toSecF() } });
            text += QStringLiteral("Clip %1 now %2 +%3\n")
                        .arg(clip->id())
                        .arg(clip->position().toClockString(), clip->duration().toClockString());
        }
        json[QStringLiteral("trimmed")] = trimmed;
    }
}

// Options that cannot go together, found before the project is opened.
QString conflict(const OptionValues &o)
{
    auto set = [&](const char *name) { return o.isSet(QLatin1String(name)); };
    static const char *const changes[]
        = { "opacity", "speed",          "volume",        "fade-in", "fade-out",
            "blend",   "disable-effect", "remove-effect", "effect",  "add-effect",
            "move-to", "trim-start",     "trim-end" };
    if (set("delete")) {
        for (const char *change : changes) {
            if (set(change))
                return QStringLiteral("--delete cannot go with --%1").arg(QLatin1String(change));
        }
    }
    if (set("ripple") && !set("delete"))
        return QStringLiteral("--ripple goes with --delete");
    if (set("track") && !set("move-to"))
        return QStringLiteral("--track goes with --move-to");
    if (set("effect") && set("add-effect"))
        return QStringLiteral("--effect and --add-effect cannot go together");
    if (set("effect") && o.texts(QStringLiteral("set")).isEmpty())
        return QStringLiteral("--effect needs --set KEY=VALUE");
    if (set("set") && !set("effect") && !set("add-effect"))
        return QStringLiteral("--set goes with --effect or --add-effect");
    return {};
}

int run(Context &context)
{
    const OptionValues &o = context.options;
    if (o.isSet(QStringLiteral("list-effects")) || o.isSet(QStringLiteral("list-blend-modes"))) {
        if (!context.arguments.isEmpty())
            return context.usageError(QStringLiteral("a listing takes no PROJECT"));
        return listings(context);
    }
    if (context.arguments.size() != 1)
        return context.usageError(QStringLiteral("clip takes one PROJECT"));
    if (!o.isSet(QStringLiteral("clips")))
        return context.usageError(QStringLiteral("--clips is required"));
    if (const QString why = conflict(o); !why.isEmpty())
        return context.usageError(why);
    QJsonObject settings;
    for (const QString &pair : o.texts(QStringLiteral("set"))) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq <= 0)
            return context.usageError(
                QStringLiteral("--set \"%1\" is not KEY=VALUE").arg(Format::printable(pair)));
        settings.insert(pair.left(eq), settingValue(pair.mid(eq + 1)));
    }
    if (!openForEditing(context))
        return 1;

    Timeline::Model &timeline = context.app.project().timeline();
    std::vector<Timeline::Clip *> clips
        = selectedClips(context, timeline, o.text(QStringLiteral("clips")));
    if (clips.empty())
        return usageExit;
    if (o.isSet(QStringLiteral("move-to")) && clips.size() != 1)
        return context.usageError(QStringLiteral("--move-to moves one clip"));
    // Effects named by the options must be there, and new settings must read back as a file
    // would hold them, before anything changes.
    for (const char *option : { "disable-effect", "remove-effect", "effect" }) {
        if (o.isSet(QLatin1String(option))
            && !hasEffect(context, clips, o.text(QLatin1String(option))))
            return 1;
    }
    std::vector<Replacement> replacements;
    if (o.isSet(QStringLiteral("effect"))) {
        const QString failure
            = prepareSettings(clips, o.text(QStringLiteral("effect")), settings, &replacements);
        if (!failure.isEmpty())
            return context.usageError(Format::printable(failure));
    }
    std::unique_ptr<Effect::Object> added;
    if (o.isSet(QStringLiteral("add-effect"))) {
        try {
            QJsonObject object
                = Project::effectToJson(*defaultEffect(o.text(QStringLiteral("add-effect"))));
            for (auto it = settings.constBegin(); it != settings.constEnd(); ++it) {
                if (!object.contains(it.key()) || it.key() == QLatin1String("type"))
                    return context.usageError(QStringLiteral("%1 has no setting \"%2\"")
                                                  .arg(o.text(QStringLiteral("add-effect")),
                                                       Format::printable(it.key())));
                object.insert(it.key(), it.value());
            }
            added = Project::effectFromJson(object);
        } catch (const Project::FileError &e) {
            return context.usageError(QString::fromStdString(e.what()));
        }
    }
    const auto count = static_cast<std::uint64_t>(clips.size());
    auto &report = *Statistics::statistics()->clipPropertiesStatistics();
    Reports reports;
    QJsonObject json;
    QString text;

    try {
        editClips(context, timeline, clips, json, text);
    } catch (const std::invalid_argument &e) {
        // The project in memory is dropped unsaved: the file keeps every clip as it was.
        return context.failure(QString::fromStdString(e.what())
                               + QStringLiteral("; nothing saved"));
    }
    if (o.isSet(QStringLiteral("opacity"))) {
        const int opacity = o.integer(QStringLiteral("opacity"));
        for (Timeline::Clip *clip : clips)
            clip->setOpacity(opacity);
        reports.push_back([&, opacity] { report.opacityChanged(count, opacity); });
        json[QStringLiteral("opacity")] = opacity;
        text += QStringLiteral("Opacity %1%\n").arg(opacity);
    }
    if (o.isSet(QStringLiteral("speed"))) {
        const int speed = o.integer(QStringLiteral("speed"));
        QJsonArray applied;
        int rebound = 0;
        for (Timeline::Clip *clip : clips) {
            const double actual
                = timeline.setClipSpeed(clip->id(), speed / 100.0, clip->isSpeedCompensated());
            const int percent = static_cast<int>(std::lround(actual * 100));
            applied.append(percent);
            text += QStringLiteral("Clip %1 speed %2%").arg(clip->id()).arg(percent);
            if (percent != speed) {
                rebound = rebound ? rebound : percent;
                // Only the room before the next clip holds a speed back: the range is checked.
                text += QStringLiteral(" (not %1%: at a lower speed it would run into the next "
                                       "clip of its track)")
                            .arg(speed);
            }
            text += QLatin1Char('\n');
        }
        reports.push_back([&, speed] { report.speedChanged(count, speed); });
        // The panel springs back to the speed the clip could take and says so once.
        if (rebound)
            reports.push_back([&, speed, rebound] { report.speedChangeRebound(speed, rebound); });
        json[QStringLiteral("speed")] = applied;
        json[QStringLiteral("speedAsked")] = speed;
    }
    if (o.isSet(QStringLiteral("volume"))) {
        const int volume = o.integer(QStringLiteral("volume"));
        for (Timeline::Clip *clip : clips)
            clip->setVolume(volume);
        reports.push_back([&] { report.volumeChanged(count); });
        json[QStringLiteral("volume")] = volume;
        text += QStringLiteral("Volume %1%\n").arg(volume);
    }
    // A fade never outlasts its clip: longer requests end at the clip's length, and say so.
    auto fade = [&](const QString &option, Statistics::FadeType type) {
        if (!o.isSet(option))
            return;
        const MTime asked = o.time(option);
        for (Timeline::Clip *clip : clips) {
            const MTime length = std::min(asked, clip->duration());
            if (type == Statistics::FadeType::FadeIn)
                clip->setFadeIn(length);
            else
                clip->setFadeOut(length);
            if (length != asked)
                text += QStringLiteral("Clip %1: the fade ends at the clip's length, %2 s\n")
                            .arg(clip->id())
                            .arg(length.toSecF());
        }
        reports.push_back([&, type] { report.fadeUsed(type, count); });
        const QString key = type == Statistics::FadeType::FadeIn ? QStringLiteral("fadeIn")
                                                                 : QStringLiteral("fadeOut");
        json[key] = asked.toSecF();
        text += QStringLiteral("%1 %2 s\n").arg(key).arg(asked.toSecF());
    };
    fade(QStringLiteral("fade-in"), Statistics::FadeType::FadeIn);
    fade(QStringLiteral("fade-out"), Statistics::FadeType::FadeOut);
    if (o.isSet(QStringLiteral("blend"))) {
        const auto blend = static_cast<BlendingMode>(
            blendingModeNames().indexOf(o.text(QStringLiteral("blend")).toLower()));
        Statistics::ClipSelection selection;
        for (Timeline::Clip *clip : clips) {
            clip->setBlendingMode(blend);
            selection.insert(clip);
        }
        reports.push_back(
            [&, blend, selection] { report.clipBlendingModeChanged(blend, selection); });
        json[QStringLiteral("blend")] = blendingModeName(blend);
        text += QStringLiteral("Blending %1\n").arg(blendingModeName(blend));
    }

    if (o.isSet(QStringLiteral("disable-effect"))) {
        const QString name = o.text(QStringLiteral("disable-effect"));
        const int changed = forEffect(clips, name, [](Timeline::Clip &clip, std::size_t i) {
            clip.effects()[i]->setEnabled(false);
        });
        reports.push_back([&, name, changed] {
            report.adjustmentsDisabled(name, static_cast<std::uint64_t>(changed));
        });
        json[QStringLiteral("disabled")] = name;
        text += QStringLiteral("Switched off %1 on %2 clips\n")
                    .arg(Format::printable(name))
                    .arg(changed);
    }
    if (o.isSet(QStringLiteral("remove-effect"))) {
        const QString name = o.text(QStringLiteral("remove-effect"));
        const int changed = forEffect(
            clips, name, [](Timeline::Clip &clip, std::size_t i) { clip.removeEffect(i); });
        reports.push_back([&, name, changed] {
            report.adjustmentsRemoved(name, static_cast<std::uint64_t>(changed));
        });
        json[QStringLiteral("removed")] = name;
        text += QStringLiteral("Removed %1 from %2 clips\n")
                    .arg(Format::printable(name))
                    .arg(changed);
    }
    if (o.isSet(QStringLiteral("effect"))) {
        for (Replacement &r : replacements)
            r.clip->replaceEffect(r.index, std::move(r.effect));
        const QString name = o.text(QStringLiteral("effect"));
        const QString parameters = o.texts(QStringLiteral("set")).join(QLatin1Char(','));
        std::set<const Timeline::Clip *> changed;
        for (const Replacement &r : replacements)
            changed.insert(r.clip);
        const QString uniqueId = replacements.front().uniqueId;
        reports.push_back([&, name, parameters, uniqueId, n = changed.size()] {
            report.effectSettingsChanged(name, uniqueId, parameters, static_cast<std::uint64_t>(n));
        });
        json[QStringLiteral("settings")] = settings;
        text += QStringLiteral("Set %1 of %2 on %3 clips\n")
                    .arg(Format::printable(parameters), Format::printable(name))
                    .arg(changed.size());
    }
    if (added) {
        for (Timeline::Clip *clip : clips)
            clip->addEffect(added->clone());
        json[QStringLiteral("addedEffect")] = o.text(QStringLiteral("add-effect"));
        text += QStringLiteral("Added %1 to %2 clips\n")
                    .arg(o.text(QStringLiteral("add-effect")))
                    .arg(clips.size());
    }
    for (const auto &send : reports)
        send();
    if (!saveForEditing(context))
        return 1;
    printResult(context, json, text);
    return 0;
}

} // namespace

Command clipCommand()
{
    return tabledCommand(
        "clip", QStringLiteral("PROJECT"),
        QStringLiteral("Change, delete, move or trim the selected clips (ids as `project open` "
                       "shows them), or list effects and blending modes."),
        {
            text(QStringLiteral("clips"), QStringLiteral("The clips, by id: N,M,..."),
                 QStringLiteral("N,M...")),
            percent(QStringLiteral("opacity"), QStringLiteral("Opacity."), 0,
                    Timeline::Clip::maxOpacity),
            percent(QStringLiteral("speed"),
                    QStringLiteral("Playback speed, 100 is normal; a clip slows only as far as "
                                   "the room before the next clip allows, and says so."),
                    1, 10000),
            percent(QStringLiteral("volume"), QStringLiteral("Volume."), 0,
                    Timeline::Clip::maxVolume),
            duration(QStringLiteral("fade-in"),
                     QStringLiteral("Fade-in length; at most the clip's.")),
            duration(QStringLiteral("fade-out"),
                     QStringLiteral("Fade-out length; at most the clip's.")),
            choice(QStringLiteral("blend"), QStringLiteral("Blending mode."), blendingModeNames())
                .withValueName(QStringLiteral("MODE")),
            text(QStringLiteral("disable-effect"),
                 QStringLiteral("Switch off the effect NAME (kind or name)."),
                 QStringLiteral("NAME")),
            text(QStringLiteral("remove-effect"),
                 QStringLiteral("Remove the effect NAME (kind or name)."), QStringLiteral("NAME")),
            text(QStringLiteral("effect"),
                 QStringLiteral("The applied effect whose settings --set changes."),
                 QStringLiteral("NAME")),
            choice(QStringLiteral("add-effect"),
                   QStringLiteral("Add an effect of this kind (with --set for its settings); "
                                  "--list-effects shows the kinds and settings."),
                   effectNames())
                .withValueName(QStringLiteral("NAME")),
            text(QStringLiteral("set"), QStringLiteral("A setting of --effect or --add-effect."),
                 QStringLiteral("KEY=VALUE"))
                .many(),
            flag(QStringLiteral("delete"),
                 QStringLiteral("Delete the clips (and their transitions).")),
            flag(QStringLiteral("ripple"),
                 QStringLiteral("With --delete: the clips after each move up into its place.")),
            position(QStringLiteral("move-to"),
                     QStringLiteral("Move the one clip to this position.")),
            integer(
                QStringLiteral("track"),
                QStringLiteral("With --move-to: the track, of the clip's kind; default its own."),
                0, 9999),
            duration(QStringLiteral("trim-start"),
                     QStringLiteral("Take this many seconds off the clips' starts.")),
            duration(QStringLiteral("trim-end"),
                     QStringLiteral("Take this many seconds off the clips' ends.")),
            flag(QStringLiteral("list-effects"),
                 QStringLiteral("List the effect kinds and their settings.")),
            flag(QStringLiteral("list-blend-modes"), QStringLiteral("List the blending modes.")),
        },
        run);
}

} // namespace Shell
