// `transitions`: the three wizards of the transitions panel on a saved project: a transition
// between neighbouring clips, one length for many clips, or pan-and-zoom on many clips.

#include "Application/application.h"
#include "editing.h"

#include "Statistics/istatistics.h"
#include "Statistics/transitionstatistics.h"

#include "project/project.h"
#include "timeline/timeline.h"

#include <QJsonArray>
#include <QJsonObject>

#include <set>

namespace Shell {

namespace {

const QCommandLineOption allOption(QStringLiteral("all"),
                                   QStringLiteral("Apply to every clip of the timeline."));
const QCommandLineOption nameOption(QStringLiteral("name"),
                                    QStringLiteral("The transition (Dissolve, Fade, Wipe, Slide, "
                                                   "Zoom, ShaderISF); default Dissolve."),
                                    QStringLiteral("NAME"));
const QCommandLineOption durationOption(QStringLiteral("duration"),
                                        QStringLiteral("The transition's length in seconds."),
                                        QStringLiteral("S"));
const QCommandLineOption clipDurationOption(QStringLiteral("clip-duration"),
                                            QStringLiteral("Give the clips this length instead."),
                                            QStringLiteral("S"));
const QCommandLineOption panZoomOption(QStringLiteral("pan-zoom"),
                                       QStringLiteral("Put pan-and-zoom on the picture clips."));

// The pan-and-zoom the wizard applies: a slow push in over the whole clip.
const QString panZoomPreset = QStringLiteral("pan-zoom");

std::set<Timeline::ClipId> clipsOf(const Timeline::Model &timeline)
{
    std::set<Timeline::ClipId> ids;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        for (const auto &clip : timeline.track(t).clips())
            ids.insert(clip->id());
    }
    return ids;
}

// Between every two neighbouring clips that are both chosen, replacing a transition already
// there; never longer than the shorter clip. The clip pairs joined.
QJsonArray applyTransitions(Timeline::Model &timeline,
                            const std::set<Timeline::ClipId> &chosen,
                            Transition::Id id,
                            MTime duration)
{
    QJsonArray joined;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const auto &clips = timeline.track(t).clips();
        for (std::size_t c = 0; c + 1 < clips.size(); ++c) {
            const Timeline::Clip &left = *clips[c];
            const Timeline::Clip &right = *clips[c + 1];
            if (!chosen.count(left.id()) || !chosen.count(right.id()))
                continue;
            for (std::size_t i = timeline.transitionCount(); i-- > 0;) {
                const Transition::Object &existing = timeline.transition(i);
                if (existing.leftClip() == &left && existing.rightClip() == &right)
                    timeline.removeTransition(i);
            }
            const MTime length = std::min({ duration, left.duration(), right.duration() });
            timeline.addTransition(std::make_unique<Transition::Object>(id, length), left.id(),
                                   right.id());
            joined.append(
                QJsonArray { static_cast<qint64>(left.id()), static_cast<qint64>(right.id()) });
        }
    }
    return joined;
}

int run(Context &context)
{
    const auto &p = context.parser;
    const bool all = p.isSet(allOption);
    const int wizards = p.isSet(clipDurationOption) + p.isSet(panZoomOption)
        + (!p.isSet(clipDurationOption) && !p.isSet(panZoomOption));
    if (context.arguments.size() != 1 || all == p.isSet(clipsOption) || wizards != 1
        || (!p.isSet(clipDurationOption) && !p.isSet(panZoomOption) && !p.isSet(durationOption))) {
        context.err << "Usage: editor-shell transitions PROJECT (--all | --clips N,M...) "
                       "([--name NAME] --duration S | --clip-duration S | --pan-zoom "
                       "[--duration S]) [--json]\n";
        return 2;
    }
    double seconds = -1;
    if (p.isSet(durationOption) && !secondsOption(context, durationOption, &seconds))
        return 2;
    double clipSeconds = 0;
    if (p.isSet(clipDurationOption)
        && (!secondsOption(context, clipDurationOption, &clipSeconds) || clipSeconds < 0.001)) {
        context.err << "editor-shell: --clip-duration must be above 0\n";
        return 2;
    }
    Transition::Id id = Transition::Id::Dissolve;
    const QString name = p.isSet(nameOption) ? p.value(nameOption) : QStringLiteral("Dissolve");
    if (!Transition::idFromText(name.toStdString(), &id)) {
        context.err << "editor-shell: \"" << name << "\" is not a transition\n";
        return 2;
    }
    if (!openForEditing(context))
        return 1;

    Timeline::Model &timeline = context.app.project().timeline();
    std::set<Timeline::ClipId> chosen;
    if (all) {
        chosen = clipsOf(timeline);
    } else {
        const auto clips = selectedClips(context, timeline, p.value(clipsOption));
        if (clips.empty())
            return 2;
        for (const Timeline::Clip *clip : clips)
            chosen.insert(clip->id());
    }

    auto &report = *Statistics::statistics()->transitionStatistics();
    QJsonObject json;
    QString text;
    // Seconds below zero stand for "not given": the report then leaves the duration out.
    const MTime duration = seconds < 0 ? MTime::fromMSec(-1) : MTime::fromSec(seconds);
    if (p.isSet(clipDurationOption)) {
        const MTime length = MTime::fromSec(clipSeconds);
        for (Timeline::ClipId clip : chosen)
            timeline.setClipLength(clip, length);
        report.wizardApplied(Statistics::WizardType::ClipDuration, {}, length, all);
        json[QStringLiteral("clipDuration")] = clipSeconds;
        text = QStringLiteral("%1 clips now last %2 s\n").arg(chosen.size()).arg(clipSeconds);
    } else if (p.isSet(panZoomOption)) {
        int moved = 0;
        for (Timeline::ClipId id : chosen) {
            Timeline::Clip *clip = timeline.findClip(id);
            if (clip->kind() != Timeline::ClipKind::Clip)
                continue;
            const MTime span = seconds < 0 ? clip->duration()
                                           : std::min(clip->duration(), MTime::fromSec(seconds));
            clip->setAnimation({ panZoomPreset, { MTime(), span } });
            ++moved;
        }
        report.wizardApplied(Statistics::WizardType::PanZoom, {}, duration, all);
        json[QStringLiteral("panZoomClips")] = moved;
        text = QStringLiteral("Pan-and-zoom on %1 clips\n").arg(moved);
    } else {
        const QJsonArray joined = applyTransitions(timeline, chosen, id, duration);
        report.wizardApplied(Statistics::WizardType::Transition, name, duration, all);
        json[QStringLiteral("transitions")] = joined;
        text = QStringLiteral("%1 %2 transitions of %3 s\n")
                   .arg(joined.size())
                   .arg(name)
                   .arg(seconds);
    }
    if (!saveForEditing(context))
        return 1;
    printResult(context, json, text);
    return 0;
}

} // namespace

Command transitionsCommand()
{
    return { "transitions",
             "transitions PROJECT (--all | --clips N,M...) ([--name NAME] --duration S | "
             "--clip-duration S | --pan-zoom) [--json]  the transitions panel's wizards",
             [](QCommandLineParser &parser) {
                 parser.addOptions({ allOption, clipsOption, nameOption, durationOption,
                                     clipDurationOption, panZoomOption, jsonOutputOption });
             },
             run };
}

} // namespace Shell
