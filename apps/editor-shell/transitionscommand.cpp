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

#include <algorithm>
#include <set>

namespace Shell {

namespace {

// The pan-and-zoom the wizard applies: a slow push in over the whole clip.
const QString panZoomPreset = QStringLiteral("pan-zoom");

QStringList transitionNames()
{
    QStringList names;
    for (int i = 0; i <= static_cast<int>(Transition::Id::ShaderISF); ++i) {
        const std::string_view text = Transition::idText(static_cast<Transition::Id>(i));
        names << QString::fromLatin1(text.data(), static_cast<int>(text.size()));
    }
    return names;
}

std::set<Timeline::ClipId> clipsOf(const Timeline::Model &timeline)
{
    std::set<Timeline::ClipId> ids;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        for (const auto &clip : timeline.track(t).clips())
            ids.insert(clip->id());
    }
    return ids;
}

struct Pair {
    const Timeline::Clip *left;
    const Timeline::Clip *right;
};

// Every two neighbouring clips of a track that are both chosen.
std::vector<Pair> neighbours(const Timeline::Model &timeline,
                             const std::set<Timeline::ClipId> &chosen)
{
    std::vector<Pair> pairs;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const auto &clips = timeline.track(t).clips();
        for (std::size_t c = 0; c + 1 < clips.size(); ++c) {
            if (chosen.count(clips[c]->id()) && chosen.count(clips[c + 1]->id()))
                pairs.push_back({ clips[c].get(), clips[c + 1].get() });
        }
    }
    return pairs;
}

bool joins(const Transition::Object &t, const Pair &pair)
{
    return t.leftClip() == pair.left && t.rightClip() == pair.right;
}

bool among(const Transition::Object &t, const std::vector<Pair> &pairs)
{
    return std::any_of(pairs.begin(), pairs.end(), [&](const Pair &p) { return joins(t, p); });
}

// How much of `clip` a transition on one of its sides may take: a transition kept on its other
// side keeps its length, a new one there gets half, so the two never overlap.
MTime room(const Timeline::Model &timeline,
           const Timeline::Clip *clip,
           const Pair &pair,
           const std::vector<Pair> &pairs)
{
    const bool leftSide = pair.right == clip; // the pair's transition is on the clip's left
    for (const Pair &other : pairs) {
        if ((leftSide && other.left == clip) || (!leftSide && other.right == clip))
            return MTime::fromMSec(clip->duration().toMSec() / 2);
    }
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const Transition::Object &t = timeline.transition(i);
        if (among(t, pairs))
            continue;
        if ((leftSide && t.leftClip() == clip) || (!leftSide && t.rightClip() == clip))
            return std::max(MTime(), clip->duration() - t.duration());
    }
    return clip->duration();
}

QString pairText(const Pair &pair)
{
    return QStringLiteral("clips %1 and %2").arg(pair.left->id()).arg(pair.right->id());
}

// What was chosen and not joined: a clip of --clips with no chosen neighbour.
QString unjoined(const std::set<Timeline::ClipId> &chosen, const std::vector<Pair> &pairs)
{
    QStringList alone;
    for (Timeline::ClipId id : chosen) {
        if (std::none_of(pairs.begin(), pairs.end(),
                         [&](const Pair &p) { return p.left->id() == id || p.right->id() == id; }))
            alone << QString::number(id);
    }
    return alone.join(QStringLiteral(", "));
}

int list(Context &context)
{
    QJsonArray names;
    QString text;
    for (const QString &name : transitionNames()) {
        names.append(name);
        text += name + QLatin1Char('\n');
    }
    printResult(context, { { QStringLiteral("transitions"), names } }, text);
    return 0;
}

int run(Context &context)
{
    const OptionValues &o = context.options;
    if (o.isSet(QStringLiteral("list"))) {
        if (!context.arguments.isEmpty())
            return context.usageError(QStringLiteral("--list takes no PROJECT"));
        return list(context);
    }
    const bool all = o.isSet(QStringLiteral("all"));
    const bool remove = o.isSet(QStringLiteral("remove"));
    const bool clipDuration = o.isSet(QStringLiteral("clip-duration"));
    const bool panZoom = o.isSet(QStringLiteral("pan-zoom"));
    const bool hasDuration = o.isSet(QStringLiteral("duration"));
    if (context.arguments.size() != 1)
        return context.usageError(QStringLiteral("transitions takes one PROJECT"));
    if (all == o.isSet(QStringLiteral("clips")))
        return context.usageError(QStringLiteral("give either --all or --clips"));
    if (remove + clipDuration + panZoom > 1)
        return context.usageError(
            QStringLiteral("--remove, --clip-duration and --pan-zoom go one at a time"));
    if (!remove && !clipDuration && !panZoom && !hasDuration)
        return context.usageError(QStringLiteral("a transition needs --duration"));
    if ((remove || clipDuration) && (hasDuration || o.isSet(QStringLiteral("name"))))
        return context.usageError(QStringLiteral("--duration and --name go with a transition "
                                                 "or --pan-zoom, not with --remove or "
                                                 "--clip-duration"));
    if (!openForEditing(context))
        return 1;

    Timeline::Model &timeline = context.app.project().timeline();
    std::set<Timeline::ClipId> chosen;
    if (all) {
        chosen = clipsOf(timeline);
    } else {
        const auto clips = selectedClips(context, timeline, o.text(QStringLiteral("clips")));
        if (clips.empty())
            return usageExit;
        for (const Timeline::Clip *clip : clips)
            chosen.insert(clip->id());
    }

    auto &report = *Statistics::statistics()->transitionStatistics();
    QJsonObject json;
    QString text;
    // No duration stands for "not given": the report then leaves it out.
    const MTime asked = hasDuration ? o.time(QStringLiteral("duration")) : MTime::fromMSec(-1);
    const QString name = o.text(QStringLiteral("name"));
    if (clipDuration) {
        const MTime length = o.time(QStringLiteral("clip-duration"));
        for (Timeline::ClipId clip : chosen)
            timeline.setClipLength(clip, length);
        report.wizardApplied(Statistics::WizardType::ClipDuration, {}, length, all);
        json[QStringLiteral("clipDuration")] = length.toSecF();
        text = QStringLiteral("%1 clips now last %2 s\n").arg(chosen.size()).arg(length.toSecF());
    } else if (panZoom) {
        int moved = 0;
        for (Timeline::ClipId id : chosen) {
            Timeline::Clip *clip = timeline.findClip(id);
            if (clip->kind() != Timeline::ClipKind::Clip)
                continue;
            const MTime span = hasDuration ? std::min(clip->duration(), asked) : clip->duration();
            clip->setAnimation({ panZoomPreset, { MTime(), span } });
            ++moved;
        }
        if (moved == 0)
            return context.failure(
                QStringLiteral("no chosen clip is a picture clip; nothing saved"));
        report.wizardApplied(Statistics::WizardType::PanZoom, {}, asked, all);
        json[QStringLiteral("panZoomClips")] = moved;
        text = QStringLiteral("Pan-and-zoom on %1 clips\n").arg(moved);
    } else {
        const std::vector<Pair> pairs = neighbours(timeline, chosen);
        if (pairs.empty())
            return context.failure(
                QStringLiteral("no two chosen clips are neighbours on a track (chosen: %1); "
                               "nothing saved")
                    .arg(unjoined(chosen, {})));
        if (remove) {
            QJsonArray removed;
            for (std::size_t i = timeline.transitionCount(); i-- > 0;) {
                const Transition::Object &t = timeline.transition(i);
                for (const Pair &pair : pairs) {
                    if (joins(t, pair)) {
                        removed.append(QJsonArray { static_cast<qint64>(pair.left->id()),
                                                    static_cast<qint64>(pair.right->id()) });
                        text += QStringLiteral("Removed the transition between %1\n")
                                    .arg(pairText(pair));
                    }
                }
                if (among(t, pairs))
                    timeline.removeTransition(i);
            }
            if (removed.isEmpty())
                return context.failure(QStringLiteral("no transition joins the chosen clips; "
                                                      "nothing saved"));
            report.propertiesChanged();
            json[QStringLiteral("removed")] = removed;
        } else {
            Transition::Id id = Transition::Id::Dissolve;
            Transition::idFromText(name.toStdString(), &id);
            // Every length first: a pair that leaves no room refuses the whole change.
            std::vector<MTime> lengths;
            for (const Pair &pair : pairs) {
                const MTime length = std::min({ asked, room(timeline, pair.left, pair, pairs),
                                                room(timeline, pair.right, pair, pairs) });
                if (length < MTime::fromMSec(1))
                    return context.failure(
                        QStringLiteral("%1 leave no room for a transition; nothing saved")
                            .arg(pairText(pair)));
                lengths.push_back(length);
            }
            QJsonArray joined, durations;
            for (std::size_t p = 0; p < pairs.size(); ++p) {
                const Pair &pair = pairs[p];
                for (std::size_t i = timeline.transitionCount(); i-- > 0;) {
                    if (joins(timeline.transition(i), pair))
                        timeline.removeTransition(i);
                }
                timeline.addTransition(std::make_unique<Transition::Object>(id, lengths[p]),
                                       pair.left->id(), pair.right->id());
                joined.append(QJsonArray { static_cast<qint64>(pair.left->id()),
                                           static_cast<qint64>(pair.right->id()) });
                durations.append(lengths[p].toSecF());
                text += QStringLiteral("%1 between %2: %3 s")
                            .arg(name, pairText(pair))
                            .arg(lengths[p].toSecF());
                if (lengths[p] != asked)
                    text += QStringLiteral(" (not %1 s: the clips leave no more room)")
                                .arg(asked.toSecF());
                text += QLatin1Char('\n');
            }
            report.wizardApplied(Statistics::WizardType::Transition, name, asked, all);
            json[QStringLiteral("transitions")] = joined;
            json[QStringLiteral("durations")] = durations;
            if (const QString alone = unjoined(chosen, pairs); !alone.isEmpty() && !all)
                text += QStringLiteral("No chosen neighbour, so no transition: clip %1\n")
                            .arg(alone);
        }
    }
    if (!saveForEditing(context))
        return 1;
    printResult(context, json, text);
    return 0;
}

} // namespace

Command transitionsCommand()
{
    return tabledCommand(
        "transitions", QStringLiteral("PROJECT"),
        QStringLiteral("The transitions panel's wizards: transitions between neighbouring "
                       "clips, one length for many clips, pan-and-zoom; or remove or list "
                       "transitions."),
        {
            flag(QStringLiteral("all"), QStringLiteral("Apply to every clip of the timeline.")),
            text(QStringLiteral("clips"), QStringLiteral("The clips, by id: N,M,..."),
                 QStringLiteral("N,M...")),
            choice(QStringLiteral("name"), QStringLiteral("The transition."), transitionNames())
                .withDefault(QStringLiteral("Dissolve"))
                .withValueName(QStringLiteral("NAME")),
            seconds(QStringLiteral("duration"),
                    QStringLiteral("The transition's length; shorter where the clips leave no "
                                   "more room, which is said."),
                    0.001, 86400),
            seconds(QStringLiteral("clip-duration"),
                    QStringLiteral("Give the clips this length instead."), 0.001, 86400),
            flag(QStringLiteral("pan-zoom"),
                 QStringLiteral("Put pan-and-zoom on the picture clips.")),
            flag(QStringLiteral("remove"),
                 QStringLiteral("Remove the transitions between the chosen neighbours.")),
            flag(QStringLiteral("list"), QStringLiteral("List the transitions by name.")),
        },
        run);
}

} // namespace Shell
