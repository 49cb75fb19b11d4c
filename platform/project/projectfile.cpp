#include "project/projectfile.h"

#include "media/mediafile.h"
#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <glog/logging.h>

#include <cmath>
#include <functional>
#include <limits>
#include <unordered_map>

namespace Project {

namespace {

// Times beyond a few years are damage, not edits; the bound also keeps sums of positions and
// lengths far from overflowing.
constexpr std::int64_t maxTimeMs = 100'000'000'000;

// ---------------------------------------------------------------------------------------------
// Reading. Every value is checked where it is read, and the first bad one ends the reading with
// its place in the document ("tracks[0].clips[2].speed"), so a user or a bug report can find it.

[[noreturn]] void fail(const QString &where, const QString &what)
{
    throw FileError((where.isEmpty() ? what : where + QStringLiteral(": ") + what).toStdString());
}

QString at(const QString &where, const char *key)
{
    return where.isEmpty() ? QString::fromLatin1(key)
                           : where + QLatin1Char('.') + QLatin1String(key);
}

QString at(const QString &where, int index)
{
    return where + QLatin1Char('[') + QString::number(index) + QLatin1Char(']');
}

class Node {
public:
    Node(QJsonObject object, QString where)
        : m_object(std::move(object))
        , m_where(std::move(where))
    {
    }

    const QString &where() const { return m_where; }
    bool has(const char *key) const { return m_object.contains(QLatin1String(key)); }

    double real(const char *key, double fallback) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return fallback;
        if (!v.isDouble() || !std::isfinite(v.toDouble()))
            fail(at(m_where, key), QStringLiteral("must be a number"));
        return v.toDouble();
    }

    std::int64_t
    integer(const char *key, std::int64_t fallback, std::int64_t min, std::int64_t max) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return fallback;
        const double d = v.toDouble(std::numeric_limits<double>::quiet_NaN());
        // Compare as doubles before converting: a huge value must not reach the cast.
        if (!v.isDouble() || !std::isfinite(d) || std::floor(d) != d || d < static_cast<double>(min)
            || d > static_cast<double>(max))
            fail(at(m_where, key),
                 QStringLiteral("must be a whole number from %1 to %2").arg(min).arg(max));
        return static_cast<std::int64_t>(d);
    }

    int int32(const char *key, int fallback) const
    {
        return static_cast<int>(integer(key, fallback, std::numeric_limits<int>::min(),
                                        std::numeric_limits<int>::max()));
    }

    MTime time(const char *key, MTime fallback = MTime()) const
    {
        return MTime::fromMSec(integer(key, fallback.toMSec(), 0, maxTimeMs));
    }

    bool flag(const char *key, bool fallback) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return fallback;
        if (!v.isBool())
            fail(at(m_where, key), QStringLiteral("must be true or false"));
        return v.toBool();
    }

    QString text(const char *key, const QString &fallback = {}) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return fallback;
        if (!v.isString())
            fail(at(m_where, key), QStringLiteral("must be a text"));
        return v.toString();
    }

    QJsonArray array(const char *key) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return {};
        if (!v.isArray())
            fail(at(m_where, key), QStringLiteral("must be a list"));
        return v.toArray();
    }

    // Present and an object, or nothing.
    std::optional<Node> child(const char *key) const
    {
        const QJsonValue v = value(key);
        if (v.isUndefined())
            return std::nullopt;
        if (!v.isObject())
            fail(at(m_where, key), QStringLiteral("must be an object"));
        return Node(v.toObject(), at(m_where, key));
    }

    QJsonValue value(const char *key) const { return m_object.value(QLatin1String(key)); }

private:
    QJsonObject m_object;
    QString m_where;
};

Node elementNode(const QJsonArray &array, int index, const QString &where)
{
    const QJsonValue v = array.at(index);
    if (!v.isObject())
        fail(at(where, index), QStringLiteral("must be an object"));
    return Node(v.toObject(), at(where, index));
}

double elementReal(const QJsonArray &array, int index, const QString &where)
{
    const QJsonValue v = array.at(index);
    if (!v.isDouble() || !std::isfinite(v.toDouble()))
        fail(at(where, index), QStringLiteral("must be a number"));
    return v.toDouble();
}

std::int64_t
elementInteger(const QJsonArray &array, int index, const QString &where, std::int64_t max)
{
    const double d = elementReal(array, index, where);
    if (std::floor(d) != d || d < 0 || d > static_cast<double>(max))
        fail(at(where, index), QStringLiteral("must be a whole number from 0 to %1").arg(max));
    return static_cast<std::int64_t>(d);
}

QString elementText(const QJsonArray &array, int index, const QString &where)
{
    const QJsonValue v = array.at(index);
    if (!v.isString())
        fail(at(where, index), QStringLiteral("must be a text"));
    return v.toString();
}

// Enumerations are written as words so a file stays readable and survives renumbering.
template<class Enum, std::size_t N>
Enum wordValue(const Node &node, const char *key, const std::pair<Enum, const char *> (&table)[N])
{
    const QString word = node.text(key);
    for (const auto &[value, text] : table) {
        if (word == QLatin1String(text))
            return value;
    }
    fail(at(node.where(), key), QStringLiteral("\"%1\" is not a known value").arg(word));
}

template<class Enum, std::size_t N>
QString wordOf(Enum value, const std::pair<Enum, const char *> (&table)[N])
{
    for (const auto &[v, text] : table) {
        if (v == value)
            return QString::fromLatin1(text);
    }
    return {};
}

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

constexpr const char *toolNames[Effect::ManualEnhance::toolCount] = {
    "Brightness", "Contrast", "Saturation",  "Highlights", "Gamma",
    "Shadows",    "Hue",      "Temperature", "Tint",
};

QJsonArray rectArray(const QRectF &r)
{
    return QJsonArray { r.x(), r.y(), r.width(), r.height() };
}

QRectF readRect(const Node &node, const char *key, const QRectF &fallback)
{
    if (!node.has(key))
        return fallback;
    const QJsonArray a = node.array(key);
    const QString where = at(node.where(), key);
    if (a.size() != 4)
        fail(where, QStringLiteral("must hold four numbers: x, y, width, height"));
    return QRectF(elementReal(a, 0, where), elementReal(a, 1, where), elementReal(a, 2, where),
                  elementReal(a, 3, where));
}

QJsonObject writeMaskShape(const Effect::MaskShape &s)
{
    return { { QStringLiteral("shape"), s.shape },
             { QStringLiteral("area"), rectArray(s.area) },
             { QStringLiteral("opacity"), s.opacity },
             { QStringLiteral("smoothBorder"), s.smoothBorder },
             { QStringLiteral("pixelationPercent"), s.pixelationPercent },
             { QStringLiteral("outline"), s.outline } };
}

std::vector<Effect::MaskShape> readMaskShapes(const Node &node, const char *key)
{
    std::vector<Effect::MaskShape> shapes;
    const QJsonArray list = node.array(key);
    const QString where = at(node.where(), key);
    for (int i = 0; i < list.size(); ++i) {
        const Node n = elementNode(list, i, where);
        Effect::MaskShape s;
        s.shape = n.int32("shape", s.shape);
        s.area = readRect(n, "area", s.area);
        s.opacity = n.real("opacity", s.opacity);
        s.smoothBorder = n.real("smoothBorder", s.smoothBorder);
        s.pixelationPercent = n.real("pixelationPercent", s.pixelationPercent);
        s.outline = n.flag("outline", s.outline);
        shapes.push_back(s);
    }
    return shapes;
}

qint64 ms(MTime t)
{
    return t.toMSec();
}

// One reader and one writer per effect kind, so the two cannot drift apart unnoticed: the round
// trip test covers every kind.
QJsonObject writeEffect(const Effect::Object &effect)
{
    using namespace Effect;
    const std::string_view idText = Effect::idText(effect.id());
    QJsonObject o { { QStringLiteral("type"),
                      QString::fromLatin1(idText.data(), static_cast<int>(idText.size())) } };
    if (!effect.uniqueId().isEmpty())
        o[QStringLiteral("uniqueId")] = effect.uniqueId();
    if (!effect.isEnabled())
        o[QStringLiteral("enabled")] = false;
    if (const auto *e = as<AudioEqualizer>(effect)) {
        QJsonArray gains;
        for (double g : e->gains)
            gains.append(g);
        o[QStringLiteral("preset")] = e->preset;
        o[QStringLiteral("gains")] = gains;
    } else if (const auto *e = as<AudioReverb>(effect)) {
        o[QStringLiteral("durationMs")] = ms(e->duration);
        o[QStringLiteral("delayMs")] = ms(e->delay);
        o[QStringLiteral("dryWetBalance")] = e->dryWetBalance;
        o[QStringLiteral("frequency")] = e->frequency;
    } else if (const auto *e = as<AudioCompressor>(effect)) {
        o[QStringLiteral("threshold")] = e->threshold;
        o[QStringLiteral("ratio")] = e->ratio;
        o[QStringLiteral("attackMs")] = ms(e->attack);
        o[QStringLiteral("releaseMs")] = ms(e->release);
        o[QStringLiteral("gainOut")] = e->gainOut;
        o[QStringLiteral("blend")] = e->blend;
    } else if (const auto *e = as<AudioNoiseGate>(effect)) {
        o[QStringLiteral("threshold")] = e->threshold;
        o[QStringLiteral("range")] = e->range;
        o[QStringLiteral("attackMs")] = ms(e->attack);
        o[QStringLiteral("releaseMs")] = ms(e->release);
    } else if (const auto *e = as<AudioMonoChannel>(effect)) {
        o[QStringLiteral("source")] = e->source;
    } else if (const auto *e = as<ChromaKey>(effect)) {
        o[QStringLiteral("keyColor")] = static_cast<qint64>(e->keyColor);
        o[QStringLiteral("tolerance")] = e->tolerance;
        o[QStringLiteral("noise")] = e->noise;
        o[QStringLiteral("edges")] = e->edges;
        o[QStringLiteral("opacity")] = e->opacity;
    } else if (const auto *e = as<Mask>(effect)) {
        QJsonArray highlights, conceals;
        for (const auto &s : e->highlights)
            highlights.append(writeMaskShape(s));
        for (const auto &s : e->conceals)
            conceals.append(writeMaskShape(s));
        o[QStringLiteral("edgeMode")] = e->edgeMode;
        o[QStringLiteral("highlights")] = highlights;
        o[QStringLiteral("conceals")] = conceals;
    } else if (const auto *e = as<Crop>(effect)) {
        o[QStringLiteral("left")] = e->left;
        o[QStringLiteral("top")] = e->top;
        o[QStringLiteral("right")] = e->right;
        o[QStringLiteral("bottom")] = e->bottom;
    } else if (const auto *e = as<ManualEnhance>(effect)) {
        QJsonObject values;
        for (int t = 0; t < ManualEnhance::toolCount; ++t)
            values[QLatin1String(toolNames[t])] = e->values[static_cast<std::size_t>(t)];
        o[QStringLiteral("name")] = e->name();
        o[QStringLiteral("values")] = values;
    } else if (const auto *e = as<BackgroundRemove>(effect)) {
        o[QStringLiteral("qualityMode")] = e->qualityMode;
    } else if (const auto *e = as<Lut>(effect)) {
        o[QStringLiteral("name")] = e->name();
        o[QStringLiteral("path")] = e->path;
        o[QStringLiteral("intensity")] = e->intensity;
    }
    return o;
}

std::unique_ptr<Effect::Object> readEffect(const Node &n)
{
    using namespace Effect;
    Id id;
    const QString type = n.text("type");
    if (!idFromText(type.toStdString(), &id))
        fail(at(n.where(), "type"),
             QStringLiteral("\"%1\" is not an effect this editor knows").arg(type));

    std::unique_ptr<Effect::Object> effect;
    switch (id) {
    case Id::AudioEqualizer: {
        auto e = std::make_unique<AudioEqualizer>();
        e->preset = n.int32("preset", e->preset);
        if (n.has("gains")) {
            const QJsonArray gains = n.array("gains");
            const QString where = at(n.where(), "gains");
            if (gains.size() != AudioEqualizer::bandCount)
                fail(where, QStringLiteral("must hold %1 numbers").arg(AudioEqualizer::bandCount));
            for (int b = 0; b < AudioEqualizer::bandCount; ++b)
                e->gains[static_cast<std::size_t>(b)] = elementReal(gains, b, where);
        }
        effect = std::move(e);
        break;
    }
    case Id::AudioReverb: {
        auto e = std::make_unique<AudioReverb>();
        e->duration = n.time("durationMs", e->duration);
        e->delay = n.time("delayMs", e->delay);
        e->dryWetBalance = n.real("dryWetBalance", e->dryWetBalance);
        e->frequency = n.int32("frequency", e->frequency);
        effect = std::move(e);
        break;
    }
    case Id::AudioCompressor: {
        auto e = std::make_unique<AudioCompressor>();
        e->threshold = n.real("threshold", e->threshold);
        e->ratio = n.real("ratio", e->ratio);
        e->attack = n.time("attackMs", e->attack);
        e->release = n.time("releaseMs", e->release);
        e->gainOut = n.real("gainOut", e->gainOut);
        e->blend = n.real("blend", e->blend);
        effect = std::move(e);
        break;
    }
    case Id::AudioNoiseGate: {
        auto e = std::make_unique<AudioNoiseGate>();
        e->threshold = n.real("threshold", e->threshold);
        e->range = n.real("range", e->range);
        e->attack = n.time("attackMs", e->attack);
        e->release = n.time("releaseMs", e->release);
        effect = std::move(e);
        break;
    }
    case Id::AudioMonoChannel: {
        auto e = std::make_unique<AudioMonoChannel>();
        e->source = n.int32("source", e->source);
        effect = std::move(e);
        break;
    }
    case Id::ChromaKey: {
        auto e = std::make_unique<ChromaKey>();
        e->keyColor
            = static_cast<std::uint32_t>(n.integer("keyColor", e->keyColor, 0, 0xFFFFFFFFLL));
        e->tolerance = n.int32("tolerance", e->tolerance);
        e->noise = n.int32("noise", e->noise);
        e->edges = n.int32("edges", e->edges);
        e->opacity = n.int32("opacity", e->opacity);
        effect = std::move(e);
        break;
    }
    case Id::Mask: {
        auto e = std::make_unique<Mask>();
        e->edgeMode = n.int32("edgeMode", e->edgeMode);
        e->highlights = readMaskShapes(n, "highlights");
        e->conceals = readMaskShapes(n, "conceals");
        effect = std::move(e);
        break;
    }
    case Id::Crop: {
        auto e = std::make_unique<Crop>();
        e->left = n.real("left", e->left);
        e->top = n.real("top", e->top);
        e->right = n.real("right", e->right);
        e->bottom = n.real("bottom", e->bottom);
        effect = std::move(e);
        break;
    }
    case Id::ManualEnhance: {
        auto e = std::make_unique<ManualEnhance>();
        e->setName(n.text("name"));
        if (const auto values = n.child("values")) {
            for (int t = 0; t < ManualEnhance::toolCount; ++t) {
                e->values[static_cast<std::size_t>(t)] = values->real(
                    toolNames[t], ManualEnhance::defaults[static_cast<std::size_t>(t)]);
            }
        }
        effect = std::move(e);
        break;
    }
    case Id::BackgroundRemove: {
        auto e = std::make_unique<BackgroundRemove>();
        e->qualityMode = n.int32("qualityMode", e->qualityMode);
        effect = std::move(e);
        break;
    }
    case Id::Lut: {
        auto e = std::make_unique<Lut>();
        e->setName(n.text("name"));
        e->path = n.text("path");
        e->intensity = n.real("intensity", e->intensity);
        effect = std::move(e);
        break;
    }
    }
    effect->setUniqueId(n.text("uniqueId"));
    effect->setEnabled(n.flag("enabled", true));
    return effect;
}

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
    file->duration = n.time("durationMs");
    const QJsonArray video = n.array("video");
    for (int i = 0; i < video.size(); ++i) {
        const Node v = elementNode(video, i, at(n.where(), "video"));
        Media::VideoTrack track;
        track.codecName = v.text("codec");
        track.frameSize = QSize(static_cast<int>(v.integer("width", 0, 0, 1 << 16)),
                                static_cast<int>(v.integer("height", 0, 0, 1 << 16)));
        track.stillImage = v.flag("still", false);
        file->videoTracks.push_back(track);
    }
    const QJsonArray audio = n.array("audio");
    for (int i = 0; i < audio.size(); ++i) {
        const Node a = elementNode(audio, i, at(n.where(), "audio"));
        Media::AudioTrack track;
        track.codecName = a.text("codec");
        track.channels = static_cast<int>(a.integer("channels", 0, 0, 64));
        track.sampleRate = static_cast<int>(a.integer("sampleRate", 0, 0, 1'000'000));
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

std::unique_ptr<Timeline::Clip> readClip(const Node &n, const Media_ &media)
{
    auto clip = std::make_unique<Timeline::Clip>(wordValue(n, "kind", clipKinds),
                                                 mediaRef(n, "media", media));
    clip->setPosition(n.time("positionMs"));
    clip->setDuration(n.time("durationMs"));
    clip->setSourceIn(n.time("sourceInMs"));
    const double speed = n.real("speed", 1.0);
    if (!(speed > 0.0 && speed <= 100.0))
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
        title.subtype = t->int32("subtype", title.subtype);
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

QJsonObject writeClip(const Timeline::IClip &clip,
                      const std::unordered_map<const Media::File *, int> &mediaIndex)
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
        for (const auto &effect : clip.effects())
            effects.append(writeEffect(*effect));
        o[QStringLiteral("effects")] = effects;
    }
    return o;
}

// Where the top-level value ends (one past its closing brace or bracket), or -1 when it does
// not end. Only braces, brackets and strings are followed; the parser judges the rest.
int endOfTopLevelValue(const QByteArray &bytes)
{
    int depth = 0;
    bool inString = false;
    for (int i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            ++depth;
        } else if (c == '}' || c == ']') {
            if (--depth == 0)
                return i + 1;
        }
    }
    return -1;
}

QJsonDocument parseDocument(const QByteArray &bytes)
{
    if (bytes.trimmed().isEmpty())
        fail({}, QStringLiteral("the file is empty"));
    // Qt's parser leaks what it built when a complete document is followed by more text, so
    // that case is caught here first.
    const int end = endOfTopLevelValue(bytes);
    if (end > 0 && !bytes.mid(end).trimmed().isEmpty())
        fail({},
             QStringLiteral("not a project file (more text after the document at byte %1)")
                 .arg(end));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError)
        fail({},
             QStringLiteral("not a project file (%1 at byte %2)")
                 .arg(error.errorString())
                 .arg(error.offset));
    if (!document.isObject())
        fail({}, QStringLiteral("not a project file (no top-level object)"));
    return document;
}

QByteArray writeDocument(const Object &project,
                         const std::function<QString(const QString &)> &pathOf)
{
    const std::vector<std::shared_ptr<Media::File>> files = project.mediaFiles();
    std::unordered_map<const Media::File *, int> mediaIndex;
    QJsonArray media;
    for (const auto &file : files) {
        mediaIndex.emplace(file.get(), media.size());
        media.append(writeMedia(*file, pathOf(file->path)));
    }

    const Timeline::Model &timeline = project.timeline();
    QJsonArray tracks;
    for (int t = 0; t < timeline.trackCount(); ++t) {
        const Timeline::Track &track = timeline.track(t);
        QJsonArray clips;
        for (const auto &clip : track.clips())
            clips.append(writeClip(*clip, mediaIndex));
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
    for (const auto &file : project.userFiles().files())
        collection.append(mediaIndex.at(file.get()));

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

} // namespace

std::unique_ptr<Object> readProjectFile(const QByteArray &bytes)
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
        project->setResolution(QSize(
            static_cast<int>(elementInteger(size, 0, QStringLiteral("resolution"), 1 << 16)),
            static_cast<int>(elementInteger(size, 1, QStringLiteral("resolution"), 1 << 16))));
    }
    project->setPortable(root.flag("portable", false));

    Media_ media;
    QSet<QString> paths;
    const QJsonArray mediaList = root.array("media");
    for (int i = 0; i < mediaList.size(); ++i) {
        auto file = readMedia(elementNode(mediaList, i, QStringLiteral("media")));
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
    for (int t = 0; t < tracks.size(); ++t) {
        const Node track = elementNode(tracks, t, QStringLiteral("tracks"));
        timeline.addTrack(wordValue(track, "type", trackTypes));
        const QJsonArray clips = track.array("clips");
        for (int c = 0; c < clips.size(); ++c) {
            const Node clipNode = elementNode(clips, c, at(track.where(), "clips"));
            const auto fileId
                = clipNode.integer("id", 0, 0, std::numeric_limits<std::int64_t>::max() / 2);
            Timeline::ClipId placed = 0;
            try {
                placed = timeline.placeClip(t, readClip(clipNode, media)).id();
            } catch (const std::invalid_argument &e) {
                fail(clipNode.where(), QString::fromStdString(e.what()));
            }
            if (fileId != 0 && !clipIds.emplace(fileId, placed).second)
                fail(at(clipNode.where(), "id"),
                     QStringLiteral("clip id %1 is used twice").arg(fileId));
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

QByteArray writeProjectFile(const Object &project)
{
    return writeDocument(project, [](const QString &path) { return path; });
}

OpenResult open(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FileError(
            QStringLiteral("cannot open %1: %2").arg(path, file.errorString()).toStdString());
    // Project files are small; anything this large is not one, and reading it would only cost
    // the user memory and time.
    constexpr qint64 maxProjectFileSize = 256 * 1024 * 1024;
    if (file.size() > maxProjectFileSize)
        throw FileError(
            QStringLiteral("%1 is too large to be a project file").arg(path).toStdString());
    OpenResult result;
    try {
        result.project = readProjectFile(file.readAll());
    } catch (const FileError &e) {
        throw FileError(
            QStringLiteral("%1: %2").arg(path, QString::fromStdString(e.what())).toStdString());
    }

    const QDir folder = QFileInfo(path).absoluteDir();
    for (const auto &media : result.project->mediaFiles()) {
        if (QDir::isRelativePath(media->path))
            media->path = QDir::cleanPath(folder.absoluteFilePath(media->path));
        if (!QFileInfo::exists(media->path)) {
            media->state = Media::File::State::Failed;
            media->error = QStringLiteral("the file is missing");
            ++result.lostFiles;
        }
    }
    result.project->setPath(QFileInfo(path).absoluteFilePath());
    return result;
}

void save(Object &project, const QString &path)
{
    const QDir folder = QFileInfo(path).absoluteDir();
    const bool portable = project.isPortable();
    const QByteArray bytes = writeDocument(project, [&](const QString &media) {
        return portable ? folder.relativeFilePath(media) : media;
    });
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw FileError(
            QStringLiteral("cannot save %1: %2").arg(path, file.errorString()).toStdString());
    project.setPath(QFileInfo(path).absoluteFilePath());
}

QJsonObject effectToJson(const Effect::Object &effect)
{
    return writeEffect(effect);
}

std::unique_ptr<Effect::Object> effectFromJson(const QJsonObject &object)
{
    return readEffect(Node(object, QString()));
}

} // namespace Project
