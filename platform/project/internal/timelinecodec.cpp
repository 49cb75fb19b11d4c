#include "project/internal/timelinecodec.h"

#include "project/internal/effectfields.h"
#include "project/internal/jsonreader.h"
#include "project/projectfile.h"

#include "mediamodel/mediafile.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <unordered_map>

namespace Project::FileFormat {

namespace {

constexpr std::pair<Timeline::TrackType, const char *> trackTypes[] = {
    { Timeline::TrackType::Video, "video" },
    { Timeline::TrackType::Audio, "audio" },
    { Timeline::TrackType::Title, "title" },
    { Timeline::TrackType::Overlay, "overlay" },
};

constexpr std::pair<Timeline::ClipKind, const char *> clipKinds[] = {
    { Timeline::ClipKind::Clip, "clip" },
    { Timeline::ClipKind::Intro, "intro" },
    { Timeline::ClipKind::Title, "title" },
    { Timeline::ClipKind::Audio, "audio" },
    { Timeline::ClipKind::IntroAudio, "introAudio" },
};

constexpr std::pair<Transition::ResourceType, const char *> resourceTypes[] = {
    { Transition::ResourceType::Image, "image" },
    { Transition::ResourceType::Video, "video" },
    { Transition::ResourceType::Audio, "audio" },
    { Transition::ResourceType::Shader, "shader" },
};

std::shared_ptr<Media::File> readMedia(const Node &n)
{
    const QString path = n.text("path");
    if (path.isEmpty())
        fail(at(n.where(), "path"), QStringLiteral("must name a file"));
    auto file = std::make_shared<Media::File>(path);
    // The facts below come from the analysis of an earlier session; they are trusted until the
    // file is analysed again.
    file->state = Media::File::State::Opened;
    file->format = n.text("format");
    file->size = n.integer("size", 0, 0, std::numeric_limits<qint64>::max() / 2);
    file->duration
        = MTime::fromMSec(n.integer("durationMs", 0, 0, std::numeric_limits<qint64>::max() / 2));
    const QJsonArray video = n.array("video");
    for (int i = 0; i < video.size(); ++i) {
        const Node v = elementNode(video, i, at(n.where(), "video"));
        Media::VideoTrack track;
        track.codecName = v.text("codec");
        track.frameSize = QSize(static_cast<int>(v.integer("width", 0, 0, maxFact)),
                                static_cast<int>(v.integer("height", 0, 0, maxFact)));
        track.stillImage = v.flag("still", false);
        file->videoTracks.push_back(track);
    }
    const QJsonArray audio = n.array("audio");
    for (int i = 0; i < audio.size(); ++i) {
        const Node a = elementNode(audio, i, at(n.where(), "audio"));
        Media::AudioTrack track;
        track.codecName = a.text("codec");
        track.channels = static_cast<int>(a.integer("channels", 0, 0, maxFact));
        track.sampleRate = static_cast<int>(a.integer("sampleRate", 0, 0, maxFact));
        file->audioTracks.push_back(track);
    }
    return file;
}

QJsonObject writeMedia(const Media::File &file, const QString &path)
{
    QJsonObject o { { QStringLiteral("path"), path },
                    { QStringLiteral("durationMs"), ms(file.duration) },
                    { QStringLiteral("size"), static_cast<qint64>(file.size) } };
    if (!file.format.isEmpty())
        o[QStringLiteral("format")] = file.format;
    QJsonArray video, audio;
    for (const auto &v : file.videoTracks) {
        video.append(QJsonObject { { QStringLiteral("codec"), v.codecName },
                                   { QStringLiteral("width"), v.frameSize.width() },
                                   { QStringLiteral("height"), v.frameSize.height() },
                                   { QStringLiteral("still"), v.stillImage } });
    }
    for (const auto &a : file.audioTracks) {
        audio.append(QJsonObject { { QStringLiteral("codec"), a.codecName },
                                   { QStringLiteral("channels"), a.channels },
                                   { QStringLiteral("sampleRate"), a.sampleRate } });
    }
    if (!video.isEmpty())
        o[QStringLiteral("video")] = video;
    if (!audio.isEmpty())
        o[QStringLiteral("audio")] = audio;
    return o;
}

using Media_ = std::vector<std::shared_ptr<Media::File>>;

std::shared_ptr<Media::File> mediaRef(const Node &n, const char *key, const Media_ &media)
{
    if (!n.has(key))
        return nullptr;
    const auto index = n.integer(key, 0, 0, std::numeric_limits<int>::max());
    if (index >= static_cast<std::int64_t>(media.size()))
        fail(at(n.where(), key),
             QStringLiteral("names media %1, but the file lists %2").arg(index).arg(media.size()));
    return media[static_cast<std::size_t>(index)];
}

// What a clip is when the file does not say: what a drop on its track would make.
Timeline::ClipKind defaultKind(Timeline::TrackType track)
{
    switch (track) {
    case Timeline::TrackType::Audio:
        return Timeline::ClipKind::Audio;
    case Timeline::TrackType::Title:
        return Timeline::ClipKind::Title;
    default:
        return Timeline::ClipKind::Clip;
    }
}

std::unique_ptr<Timeline::Clip>
readClip(const Node &n, Timeline::TrackType track, const Media_ &media)
{
    const Timeline::ClipKind kind
        = n.has("kind") ? wordValue(n, "kind", clipKinds) : defaultKind(track);
    auto clip = std::make_unique<Timeline::Clip>(kind, mediaRef(n, "media", media));
    clip->setPosition(n.time("positionMs"));
    clip->setDuration(n.time("durationMs"));
    clip->setSourceIn(n.time("sourceInMs"));
    const double speed = n.real("speed", 1.0);
    if (!(speed > 0.0 && speed <= Timeline::Clip::maxSpeed))
        fail(at(n.where(), "speed"), QStringLiteral("must be above 0 and at most 100"));
    clip->setSpeed(speed, n.flag("speedCompensated", false));
    clip->setStabilized(n.flag("stabilized", false));
    if (const auto a = n.child("animation")) {
        Timeline::AnimationItem animation;
        animation.presetId = a->text("preset");
        const QJsonArray keys = a->array("keyframesMs");
        for (int i = 0; i < keys.size(); ++i)
            animation.keyframes.push_back(
                MTime::fromMSec(elementInteger(keys, i, at(a->where(), "keyframesMs"), maxTimeMs)));
        clip->setAnimation(std::move(animation));
    }
    if (const auto t = n.child("title")) {
        Timeline::TitleItem title;
        title.subtype = static_cast<int>(t->integer(
            "subtype", title.subtype, Timeline::TitleItem::Invalid, Timeline::TitleItem::Subtitle));
        title.text = t->text("text");
        title.styleId = t->text("style");
        clip->setTitleItem(std::move(title));
    }
    clip->setResourceId(n.text("resourceId"));
    clip->setContentId(n.text("contentId"));
    clip->setOpacity(static_cast<int>(n.integer("opacity", 100, 0, Timeline::Clip::maxOpacity)));
    clip->setVolume(static_cast<int>(n.integer("volume", 100, 0, Timeline::Clip::maxVolume)));
    // A fade longer than its clip cannot play; the clip's length is read above.
    const std::int64_t length = clip->duration().toMSec();
    clip->setFadeIn(MTime::fromMSec(n.integer("fadeInMs", 0, 0, length)));
    clip->setFadeOut(MTime::fromMSec(n.integer("fadeOutMs", 0, 0, length)));
    clip->setBlendingMode(static_cast<Timeline::BlendingMode>(
        n.integer("blending", static_cast<int>(Timeline::BlendingMode::SourceOver), 0,
                  Timeline::blendingModeCount - 1)));
    const QJsonArray effects = n.array("effects");
    for (int i = 0; i < effects.size(); ++i)
        clip->addEffect(readEffect(elementNode(effects, i, at(n.where(), "effects"))));
    return clip;
}

using MediaIndex = std::unordered_map<const Media::File *, int>;

QJsonObject
writeClip(const Timeline::IClip &clip, const MediaIndex &mediaIndex, const QString &where)
{
    QJsonObject o { { QStringLiteral("id"), static_cast<qint64>(clip.id()) },
                    { QStringLiteral("kind"), wordOf(clip.kind(), clipKinds) },
                    { QStringLiteral("positionMs"), ms(clip.position()) },
                    { QStringLiteral("durationMs"), ms(clip.duration()) } };
    if (clip.file())
        o[QStringLiteral("media")] = mediaIndex.at(clip.file().get());
    if (!clip.sourceIn().isNull())
        o[QStringLiteral("sourceInMs")] = ms(clip.sourceIn());
    if (clip.speed() != 1.0 || clip.isSpeedCompensated()) {
        o[QStringLiteral("speed")] = clip.speed();
        o[QStringLiteral("speedCompensated")] = clip.isSpeedCompensated();
    }
    if (clip.isStabilized())
        o[QStringLiteral("stabilized")] = true;
    if (!clip.animation().isEmpty()) {
        QJsonArray keys;
        for (MTime k : clip.animation().keyframes)
            keys.append(ms(k));
        o[QStringLiteral("animation")]
            = QJsonObject { { QStringLiteral("preset"), clip.animation().presetId },
                            { QStringLiteral("keyframesMs"), keys } };
    }
    if (const auto &title = clip.titleItem()) {
        o[QStringLiteral("title")] = QJsonObject { { QStringLiteral("subtype"), title->subtype },
                                                   { QStringLiteral("text"), title->text },
                                                   { QStringLiteral("style"), title->styleId } };
    }
    if (!clip.resourceId().isEmpty())
        o[QStringLiteral("resourceId")] = clip.resourceId();
    if (!clip.contentId().isEmpty())
        o[QStringLiteral("contentId")] = clip.contentId();
    if (clip.opacity() != Timeline::Clip::maxOpacity)
        o[QStringLiteral("opacity")] = clip.opacity();
    if (clip.volume() != 100)
        o[QStringLiteral("volume")] = clip.volume();
    if (!clip.fadeIn().isNull())
        o[QStringLiteral("fadeInMs")] = ms(clip.fadeIn());
    if (!clip.fadeOut().isNull())
        o[QStringLiteral("fadeOutMs")] = ms(clip.fadeOut());
    if (clip.blendingMode() != Timeline::BlendingMode::SourceOver)
        o[QStringLiteral("blending")] = static_cast<int>(clip.blendingMode());
    if (!clip.effects().empty()) {
        QJsonArray effects;
        const QString effectsAt = at(where, "effects");
        for (const auto &effect : clip.effects())
            effects.append(writeEffect(*effect, at(effectsAt, effects.size())));
        o[QStringLiteral("effects")] = effects;
    }
    return o;
}

} // namespace

QByteArray writeDocument(const Object &project,
                         const std::function<QString(const QString &)> &pathOf)
{
    // One path is one entry: a file brought in twice is two objects in the model but one file
    // on disk, and its clips all name the first.
    const std::vector<std::shared_ptr<Media::File>> files = project.mediaFiles();
    MediaIndex mediaIndex;
    QHash<QString, int> indexOfPath;
    QJsonArray media;
    for (const auto &file : files) {
        const auto known = indexOfPath.constFind(file->path);
        if (known != indexOfPath.constEnd()) {
            mediaIndex.emplace(file.get(), *known);
            continue;
        }
        if (file->path.isEmpty())
            fail(at(QStringLiteral("media"), media.size()),
                 QStringLiteral("a media file without a path cannot be saved"));
        indexOfPath.insert(file->path, media.size());
        mediaIndex.emplace(file.get(), media.size());
        media.append(writeMedia(*file, pathOf(file->path)));
    }

    const Timeline::Model &timeline = project.timeline();
    QJsonArray tracks;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::Track &track = timeline.track(t);
        QJsonArray clips;
        const QString clipsAt = at(at(QStringLiteral("tracks"), t), "clips");
        for (const auto &clip : track.clips())
            clips.append(writeClip(*clip, mediaIndex, at(clipsAt, clips.size())));
        tracks.append(QJsonObject { { QStringLiteral("type"), wordOf(track.type(), trackTypes) },
                                    { QStringLiteral("clips"), clips } });
    }

    QJsonArray transitions;
    for (std::size_t i = 0; i < timeline.transitionCount(); ++i) {
        const Transition::Object &transition = timeline.transition(i);
        const std::string_view type = Transition::idText(transition.id());
        QJsonObject o { { QStringLiteral("type"),
                          QString::fromLatin1(type.data(), static_cast<int>(type.size())) },
                        { QStringLiteral("durationMs"), ms(transition.duration()) } };
        if (transition.leftClip())
            o[QStringLiteral("left")] = static_cast<qint64>(transition.leftClip()->id());
        if (transition.rightClip())
            o[QStringLiteral("right")] = static_cast<qint64>(transition.rightClip()->id());
        QJsonArray resources;
        for (const auto &resource : transition.resources()) {
            QJsonObject r { { QStringLiteral("type"), wordOf(resource.type, resourceTypes) } };
            if (resource.file)
                r[QStringLiteral("media")] = mediaIndex.at(resource.file.get());
            if (!resource.resourceId.isEmpty())
                r[QStringLiteral("resourceId")] = resource.resourceId;
            resources.append(r);
        }
        if (!resources.isEmpty())
            o[QStringLiteral("resources")] = resources;
        transitions.append(o);
    }

    QJsonArray collection;
    QSet<int> inCollection;
    for (const auto &file : project.userFiles().files()) {
        const int index = mediaIndex.at(file.get());
        if (!inCollection.contains(index)) {
            inCollection.insert(index);
            collection.append(index);
        }
    }

    QJsonArray luts;
    QStringList lutIds(project.effectLibrary().loadedLuts.begin(),
                       project.effectLibrary().loadedLuts.end());
    lutIds.sort();
    for (const QString &id : lutIds)
        luts.append(id);
    QJsonArray presets;
    QStringList presetIds = project.effectLibrary().colorPresets.keys();
    presetIds.sort();
    for (const QString &id : presetIds) {
        presets.append(QJsonObject {
            { QStringLiteral("id"), id },
            { QStringLiteral("saved"), project.effectLibrary().colorPresets.value(id) } });
    }

    const QJsonObject root {
        { QStringLiteral("format"), QLatin1String(fileFormatName) },
        { QStringLiteral("version"), fileFormatVersion },
        { QStringLiteral("id"), static_cast<qint64>(project.id()) },
        { QStringLiteral("resolution"),
          QJsonArray { project.resolution().width(), project.resolution().height() } },
        { QStringLiteral("portable"), project.isPortable() },
        { QStringLiteral("media"), media },
        { QStringLiteral("collection"), collection },
        { QStringLiteral("tracks"), tracks },
        { QStringLiteral("transitions"), transitions },
        { QStringLiteral("library"),
          QJsonObject { { QStringLiteral("loadedLuts"), luts },
                        { QStringLiteral("colorPresets"), presets } } },
    };
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

// `pathOf` turns a path as written into the path the project holds.
std::unique_ptr<Object> readDocument(const QByteArray &bytes,
                                     const std::function<QString(const QString &)> &pathOf)
{
    const Node root(parseDocument(bytes).object(), QString());
    if (root.value("format").toString() != QLatin1String(fileFormatName))
        fail({},
             QStringLiteral("not a project file (it does not say \"format\": \"%1\")")
                 .arg(QLatin1String(fileFormatName)));
    const auto version = root.integer("version", 0, 0, std::numeric_limits<int>::max());
    if (version != fileFormatVersion)
        fail({},
             QStringLiteral(
                 "project file version %1 is not supported (this editor reads version %2)")
                 .arg(version)
                 .arg(fileFormatVersion));

    auto project = std::make_unique<Object>();
    project->setId(
        root.integer("id", project->id(), 1, std::numeric_limits<std::int64_t>::max() / 2));
    if (root.has("resolution")) {
        const QJsonArray size = root.array("resolution");
        if (size.size() != 2)
            fail(QStringLiteral("resolution"), QStringLiteral("must hold width and height"));
        int side[2] = {};
        for (int i = 0; i < 2; ++i) {
            side[i] = static_cast<int>(
                elementInteger(size, i, QStringLiteral("resolution"), Object::maxResolutionSide));
            if (side[i] < 1)
                fail(at(QStringLiteral("resolution"), i),
                     QStringLiteral("must be a whole number from 1 to %1")
                         .arg(Object::maxResolutionSide));
        }
        project->setResolution(QSize(side[0], side[1]));
    }
    project->setPortable(root.flag("portable", false));

    Media_ media;
    QSet<QString> paths;
    const QJsonArray mediaList = root.array("media");
    for (int i = 0; i < mediaList.size(); ++i) {
        auto file = readMedia(elementNode(mediaList, i, QStringLiteral("media")));
        file->path = pathOf(file->path);
        // One path is one file: two entries would count a file twice and split its clips.
        if (paths.contains(file->path))
            fail(at(QStringLiteral("media"), i),
                 QStringLiteral("\"%1\" is listed twice").arg(file->path));
        paths.insert(file->path);
        media.push_back(std::move(file));
    }

    Timeline::Model &timeline = project->timeline();
    std::unordered_map<std::int64_t, Timeline::ClipId> clipIds; // file id -> model id
    const QJsonArray tracks = root.array("tracks");
    // A clip keeps the id it was saved with: the shell's commands and the user name clips by the
    // ids `project open` showed. Clips without one are numbered after the highest in the file,
    // so none takes an id a later clip brings.
    Timeline::ClipId unnamed = 0;
    for (const QJsonValue track : tracks) {
        for (const QJsonValue clip : track.toObject().value(QLatin1String("clips")).toArray()) {
            // Ids out of range are refused below, with their place.
            const double id = clip.toObject().value(QLatin1String("id")).toDouble();
            if (id >= 1 && id <= static_cast<double>(std::numeric_limits<std::int64_t>::max() / 2))
                unnamed = std::max(unnamed, static_cast<Timeline::ClipId>(id));
        }
    }
    for (int t = 0; t < tracks.size(); ++t) {
        const Node track = elementNode(tracks, t, QStringLiteral("tracks"));
        const Timeline::TrackType type = wordValue(track, "type", trackTypes);
        timeline.addTrack(type);
        const QJsonArray clips = track.array("clips");
        for (int c = 0; c < clips.size(); ++c) {
            const Node clipNode = elementNode(clips, c, at(track.where(), "clips"));
            const auto fileId
                = clipNode.integer("id", 0, 0, std::numeric_limits<std::int64_t>::max() / 2);
            if (fileId != 0 && clipIds.count(fileId))
                fail(at(clipNode.where(), "id"),
                     QStringLiteral("clip id %1 is used twice").arg(fileId));
            Timeline::ClipId placed = 0;
            try {
                placed = timeline
                             .placeClip(t, readClip(clipNode, type, media),
                                        fileId ? static_cast<Timeline::ClipId>(fileId) : ++unnamed)
                             .id();
            } catch (const std::invalid_argument &e) {
                fail(clipNode.where(), QString::fromStdString(e.what()));
            }
            if (fileId != 0)
                clipIds.emplace(fileId, placed);
        }
    }

    const QJsonArray transitions = root.array("transitions");
    for (int i = 0; i < transitions.size(); ++i) {
        const Node n = elementNode(transitions, i, QStringLiteral("transitions"));
        Transition::Id id;
        const QString type = n.text("type");
        if (!Transition::idFromText(type.toStdString(), &id))
            fail(at(n.where(), "type"),
                 QStringLiteral("\"%1\" is not a transition this editor knows").arg(type));
        auto transition
            = std::make_unique<Transition::Object>(id, n.time("durationMs", MTime::fromMSec(1000)));
        const QJsonArray resources = n.array("resources");
        for (int r = 0; r < resources.size(); ++r) {
            const Node rn = elementNode(resources, r, at(n.where(), "resources"));
            transition->addResource({ wordValue(rn, "type", resourceTypes),
                                      mediaRef(rn, "media", media), rn.text("resourceId") });
        }
        auto clipOf = [&](const char *key) -> Timeline::ClipId {
            const auto fileId = n.integer(key, 0, 0, std::numeric_limits<std::int64_t>::max() / 2);
            if (fileId == 0)
                return 0;
            const auto it = clipIds.find(fileId);
            if (it == clipIds.end())
                fail(at(n.where(), key),
                     QStringLiteral("names clip %1, which the file does not hold").arg(fileId));
            return it->second;
        };
        const Timeline::ClipId left = clipOf("left");
        const Timeline::ClipId right = clipOf("right");
        try {
            timeline.addTransition(std::move(transition), left, right);
        } catch (const std::invalid_argument &e) {
            fail(n.where(), QString::fromStdString(e.what()));
        }
    }

    const QJsonArray collection = root.array("collection");
    for (int i = 0; i < collection.size(); ++i) {
        const auto index = elementInteger(collection, i, QStringLiteral("collection"),
                                          std::numeric_limits<int>::max());
        if (index >= static_cast<std::int64_t>(media.size()))
            fail(at(QStringLiteral("collection"), i),
                 QStringLiteral("names media %1, but the file lists %2")
                     .arg(index)
                     .arg(media.size()));
        project->userFiles().add(media[static_cast<std::size_t>(index)]);
    }

    if (const auto library = root.child("library")) {
        const QJsonArray luts = library->array("loadedLuts");
        for (int i = 0; i < luts.size(); ++i)
            project->effectLibrary().loadedLuts.insert(
                elementText(luts, i, at(library->where(), "loadedLuts")));
        const QJsonArray presets = library->array("colorPresets");
        for (int i = 0; i < presets.size(); ++i) {
            const Node p = elementNode(presets, i, at(library->where(), "colorPresets"));
            project->effectLibrary().colorPresets.insert(p.text("id"), p.flag("saved", false));
        }
    }
    return project;
}

} // namespace Project::FileFormat
