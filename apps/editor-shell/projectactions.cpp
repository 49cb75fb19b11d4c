// Opening and saving the application's project the way the editor's File menu does, with the
// reports the editor sends ("PROJECT_OPENED", "PROJECT_SAVED"). Shared by the commands that
// touch projects.

#include "projectactions.h"

#include "Application/application.h"
#include "outputguard.h"
#include "terminallog.h"

#include "Messages/project.h"
#include "Messages/projectrequests.h"

#include "mediamodel/mediafile.h"
#include "project/projectfile.h"
#include "pubsub/subscriber.h"
#include "timeline/effect.h"
#include "util/format.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <iterator>

#include <glog/logging.h>

namespace Shell {

namespace {

MTime elapsed(const QElapsedTimer &timer)
{
    return MTime::fromMSec(timer.elapsed());
}

QString trackTypeName(Timeline::TrackType type)
{
    switch (type) {
    case Timeline::TrackType::Video:
        return QStringLiteral("video");
    case Timeline::TrackType::Audio:
        return QStringLiteral("audio");
    case Timeline::TrackType::Title:
        return QStringLiteral("title");
    case Timeline::TrackType::Overlay:
        return QStringLiteral("overlay");
    default:
        return QStringLiteral("?");
    }
}

QString clipKindName(Timeline::ClipKind kind)
{
    switch (kind) {
    case Timeline::ClipKind::Clip:
        return QStringLiteral("clip");
    case Timeline::ClipKind::Intro:
        return QStringLiteral("intro");
    case Timeline::ClipKind::Title:
        return QStringLiteral("title");
    case Timeline::ClipKind::Audio:
        return QStringLiteral("audio");
    case Timeline::ClipKind::IntroAudio:
        return QStringLiteral("intro audio");
    }
    return QStringLiteral("?");
}

// An effect with its settings as the project file holds them: "Crop (left 0.1, top 0, ...)".
QString effectText(const Effect::Object &effect)
{
    const std::string_view id = Effect::idText(effect.id());
    const QString kind = QString::fromLatin1(id.data(), static_cast<int>(id.size()));
    QString text = effect.name() == kind
        ? kind
        : QStringLiteral("%1 \"%2\"").arg(kind, Format::printable(effect.name()));
    QStringList settings;
    const QJsonObject object = Project::effectToJson(effect);
    for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
        if (it.key() == QLatin1String("type") || it.key() == QLatin1String("name")
            || it.key() == QLatin1String("enabled"))
            continue;
        const QJsonValue v = it.value();
        QString value;
        if (v.isString())
            value = v.toString();
        else if (v.isDouble())
            value = QString::number(v.toDouble());
        else if (v.isBool())
            value = QString::fromLatin1(v.toBool() ? "true" : "false");
        else
            value = QString::fromUtf8(
                (v.isArray() ? QJsonDocument(v.toArray()) : QJsonDocument(v.toObject()))
                    .toJson(QJsonDocument::Compact));
        settings << it.key() + QLatin1Char(' ') + Format::printable(value);
    }
    if (!settings.isEmpty())
        text += QStringLiteral(" (") + settings.join(QStringLiteral(", ")) + QLatin1Char(')');
    if (!effect.isEnabled())
        text += QStringLiteral(" [off]");
    return text;
}

const char *blendingName(Timeline::BlendingMode mode)
{
    // As `clip --blend` takes them.
    static const char *const names[] = {
        "overlay",     "lighten",    "color",      "color_dodge", "linear_dodge",
        "source_over", "screen",     "difference", "multiply",    "darken",
        "color_burn",  "hard_light", "soft_light", "exclusion",
    };
    const auto index = static_cast<std::size_t>(mode);
    return index < std::size(names) ? names[index] : "?";
}

QString clipText(const Timeline::IClip &clip)
{
    QString what;
    if (clip.file())
        what = Format::printable(clip.file()->path)
            + (clip.file()->state == Media::File::State::Failed ? QStringLiteral(" (missing)")
                                                                : QString());
    else if (clip.titleItem())
        what = QStringLiteral("\"%1\"").arg(Format::printable(clip.titleItem()->text));
    else if (!clip.contentId().isEmpty())
        what = Format::printable(clip.contentId());
    QString text = QStringLiteral("  clip %1  %2 +%3  %4  %5")
                       .arg(clip.id())
                       .arg(clip.position().toClockString(), clip.duration().toClockString(),
                            clipKindName(clip.kind()), what);
    // Percent, as `clip --speed` takes it.
    if (clip.speed() != 1.0)
        text += QStringLiteral("  speed %1%%2")
                    .arg(std::lround(clip.speed() * 100))
                    .arg(clip.isSpeedCompensated() ? QStringLiteral(" (pitch kept)") : QString());
    if (clip.isStabilized())
        text += QStringLiteral("  stabilized");
    if (clip.opacity() != Timeline::Clip::maxOpacity)
        text += QStringLiteral("  opacity %1%").arg(clip.opacity());
    if (clip.volume() != 100)
        text += QStringLiteral("  volume %1%").arg(clip.volume());
    if (!clip.fadeIn().isNull())
        text += QStringLiteral("  fade in %1 s").arg(clip.fadeIn().toSecF());
    if (!clip.fadeOut().isNull())
        text += QStringLiteral("  fade out %1 s").arg(clip.fadeOut().toSecF());
    if (clip.blendingMode() != Timeline::BlendingMode::SourceOver)
        text += QStringLiteral("  blending %1")
                    .arg(QLatin1String(blendingName(clip.blendingMode())));
    if (!clip.effects().empty()) {
        QStringList effects;
        for (const auto &effect : clip.effects())
            effects << effectText(*effect);
        text += QStringLiteral("  effects: ") + effects.join(QStringLiteral(", "));
    }
    return text;
}

void printProject(QTextStream &out, const Project::Object &project, int lostFiles)
{
    const Timeline::Model &timeline = project.timeline();
    out << "Project " << project.id() << "  " << project.resolution().width() << 'x'
        << project.resolution().height() << (project.isPortable() ? "  portable" : "") << "  "
        << Format::printable(project.path()) << '\n';
    out << "Duration " << timeline.duration().toClockString() << '\n';
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::Track &track = timeline.track(t);
        out << "Track " << t << ' ' << trackTypeName(track.type()) << ": " << track.clipCount()
            << " clips\n";
        for (const auto &clip : track.clips())
            out << clipText(*clip) << '\n';
    }
    out << "Transitions: " << timeline.transitionCount() << '\n';
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const Transition::Object &transition = timeline.transition(i);
        const std::string_view id = Transition::idText(transition.id());
        auto side = [](const Timeline::IClip *clip) {
            return clip ? QStringLiteral("clip %1").arg(clip->id())
                        : QStringLiteral("the open end");
        };
        out << "  [" << i << "] " << QString::fromLatin1(id.data(), static_cast<int>(id.size()))
            << ' ' << transition.duration().toClockString() << "  from "
            << side(transition.leftClip()) << " to " << side(transition.rightClip())
            << (transition.hasAudioResources() ? "  with sound" : "") << '\n';
    }
    out << "Collection: " << project.userFiles().count() << " files\n";
    for (const auto &file : project.userFiles().files())
        out << "  " << Format::printable(file->path) << '\n';
    if (lostFiles)
        out << "Missing media files: " << lostFiles << '\n';
}

QJsonObject clipJson(const Timeline::IClip &clip)
{
    QJsonObject o { { QStringLiteral("id"), static_cast<qint64>(clip.id()) },
                    { QStringLiteral("kind"), clipKindName(clip.kind()) },
                    { QStringLiteral("position"), clip.position().toSecF() },
                    { QStringLiteral("duration"), clip.duration().toSecF() },
                    { QStringLiteral("speed"), static_cast<int>(std::lround(clip.speed() * 100)) },
                    { QStringLiteral("opacity"), clip.opacity() },
                    { QStringLiteral("volume"), clip.volume() },
                    { QStringLiteral("fadeIn"), clip.fadeIn().toSecF() },
                    { QStringLiteral("fadeOut"), clip.fadeOut().toSecF() },
                    { QStringLiteral("blend"),
                      QString::fromLatin1(blendingName(clip.blendingMode())) } };
    if (clip.file()) {
        o[QStringLiteral("file")] = clip.file()->path;
        o[QStringLiteral("missing")] = clip.file()->state == Media::File::State::Failed;
    }
    if (clip.titleItem())
        o[QStringLiteral("title")] = clip.titleItem()->text;
    QJsonArray effects;
    for (const auto &effect : clip.effects())
        effects.append(Project::effectToJson(*effect));
    o[QStringLiteral("effects")] = effects;
    return o;
}

void publishSaved(const Project::Object *project, bool success, MTime duration)
{
    Statistics::ProjectSavedNotification saved;
    saved.project = project;
    saved.success = success;
    saved.saveDuration = duration;
    PubSub::publish(saved);
}

} // namespace

QJsonObject projectJson(const Project::Object &project, int lostFiles)
{
    const Timeline::Model &timeline = project.timeline();
    QJsonArray tracks;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        QJsonArray clips;
        for (const auto &clip : timeline.track(t).clips())
            clips.append(clipJson(*clip));
        tracks.append(
            QJsonObject { { QStringLiteral("index"), t },
                          { QStringLiteral("type"), trackTypeName(timeline.track(t).type()) },
                          { QStringLiteral("clips"), clips } });
    }
    QJsonArray transitions;
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const Transition::Object &transition = timeline.transition(i);
        const std::string_view id = Transition::idText(transition.id());
        auto side = [](const Timeline::IClip *clip) {
            return clip ? QJsonValue(static_cast<qint64>(clip->id())) : QJsonValue();
        };
        QJsonArray resources;
        for (const Transition::Resource &r : transition.resources()) {
            if (r.file)
                resources.append(r.file->path);
        }
        transitions.append(QJsonObject {
            { QStringLiteral("index"), static_cast<qint64>(i) },
            { QStringLiteral("name"), QString::fromLatin1(id.data(), static_cast<int>(id.size())) },
            { QStringLiteral("duration"), transition.duration().toSecF() },
            { QStringLiteral("left"), side(transition.leftClip()) },
            { QStringLiteral("right"), side(transition.rightClip()) },
            { QStringLiteral("sound"), transition.hasAudioResources() },
            { QStringLiteral("resources"), resources } });
    }
    QJsonArray collection;
    for (const auto &file : project.userFiles().files())
        collection.append(file->path);
    return { { QStringLiteral("id"), static_cast<qint64>(project.id()) },
             { QStringLiteral("path"), project.path() },
             { QStringLiteral("width"), project.resolution().width() },
             { QStringLiteral("height"), project.resolution().height() },
             { QStringLiteral("portable"), project.isPortable() },
             { QStringLiteral("duration"), timeline.duration().toSecF() },
             { QStringLiteral("tracks"), tracks },
             { QStringLiteral("transitions"), transitions },
             { QStringLiteral("collection"), collection },
             { QStringLiteral("missingFiles"), lostFiles } };
}

bool openProject(Context &context, const QString &path, bool print)
{
    QElapsedTimer timer;
    timer.start();
    Statistics::ProjectOpenedNotification opened;
    try {
        Project::OpenResult result = Project::open(path);
        opened.success = true;
        opened.lostFiles = result.lostFiles;
        opened.portable = result.project->isPortable();
        opened.projectId = result.project->id();
        opened.readDuration = elapsed(timer);
        context.app.setProject(std::move(result.project));
        opened.project = &context.app.project();
        if (print && context.json())
            context.out << QJsonDocument(projectJson(context.app.project(), opened.lostFiles))
                               .toJson(QJsonDocument::Compact)
                        << '\n';
        else if (print)
            printProject(context.out, context.app.project(), opened.lostFiles);
        else
            context.out << "Opened project " << Format::printable(path) << '\n';
        PubSub::publish(opened);
        return true;
    } catch (const Project::FileError &e) {
        opened.errorReason = QString::fromStdString(e.what());
        opened.readDuration = elapsed(timer);
        PubSub::publish(opened);
        {
            const TerminalLog::Told told;
            LOG(WARNING) << e.what();
        }
        context.failure(Format::printable(QString::fromStdString(e.what())));
        return false;
    }
}

bool saveProject(Context &context, const QString &path, bool portable)
{
    Project::Object &project = context.app.project();
    if (!checkOutput(context, path, QStringLiteral("project"), true, project.path()))
        return false;
    if (portable)
        project.setPortable(true);
    QElapsedTimer timer;
    timer.start();
    try {
        Project::save(project, path);
    } catch (const Project::FileError &e) {
        publishSaved(&project, false, elapsed(timer));
        {
            const TerminalLog::Told told;
            LOG(ERROR) << e.what();
        }
        context.failure(Format::printable(QString::fromStdString(e.what())));
        return false;
    }
    publishSaved(&project, true, elapsed(timer));
    releaseProject(path);
    if (project.isPortable())
        PubSub::publish(Statistics::PortableProjectSavedNotification(project.id()));
    // The saved project is handed to the file storage like every save of the editor.
    PubSub::publish(Project::SaveRequest(path));
    context.out << "Saved project " << Format::printable(project.path()) << '\n';
    return true;
}

} // namespace Shell
