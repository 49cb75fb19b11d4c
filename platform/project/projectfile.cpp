#include "project/projectfile.h"

#include "mediamodel/mediafile.h"
#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"
#include "util/fs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <cmath>
#include <functional>
#include <limits>
#include <unordered_map>

namespace Project {

namespace {

constexpr std::int64_t maxTimeMs = Timeline::maxTime.toMSec();
// Facts an analysis found rather than edits: kept as found, only bounded by their types.
constexpr std::int64_t maxFact = std::numeric_limits<int>::max();

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

qint64 ms(MTime t)
{
    return t.toMSec();
}

QString rangeText(double min, double max)
{
    return QStringLiteral("must be a number from %1 to %2").arg(min).arg(max);
}

QString wholeRangeText(std::int64_t min, std::int64_t max)
{
    return QStringLiteral("must be a whole number from %1 to %2").arg(min).arg(max);
}

bool within(double value, double min, double max)
{
    return value >= min && value <= max; // false for NaN
}

// Reads an effect's parameters through its kind's field table (Effect::Kind). A parameter that
// is missing keeps the effect's default; one outside the table's range is an error.
template<class T> class FieldReader {
public:
    FieldReader(T &target, const Node &node)
        : m_target(target)
        , m_node(node)
    {
    }

    template<class I> void integer(const char *key, I T::*m, std::int64_t min, std::int64_t max)
    {
        m_target.*m = static_cast<I>(m_node.integer(key, m_target.*m, min, max));
    }
    void real(const char *key, double T::*m, double min, double max)
    {
        const double v = m_node.real(key, m_target.*m);
        if (!within(v, min, max))
            fail(at(m_node.where(), key), rangeText(min, max));
        m_target.*m = v;
    }
    void time(const char *key, MTime T::*m, MTime min, MTime max)
    {
        m_target.*m = MTime::fromMSec(
            m_node.integer(key, (m_target.*m).toMSec(), min.toMSec(), max.toMSec()));
    }
    void flag(const char *key, bool T::*m) { m_target.*m = m_node.flag(key, m_target.*m); }
    void text(const char *key, QString T::*m) { m_target.*m = m_node.text(key, m_target.*m); }
    template<class Get, class Set> void name(const char *key, Get, Set set)
    {
        (m_target.*set)(m_node.text(key));
    }
    void rect(const char *key, QRectF T::*m, double min, double max)
    {
        if (!m_node.has(key))
            return;
        std::array<double, 4> v {};
        readList(key, v, min, max, "must hold four numbers: x, y, width, height");
        if (v[2] < 0 || v[3] < 0)
            fail(at(m_node.where(), key), QStringLiteral("must not have a negative size"));
        m_target.*m = QRectF(v[0], v[1], v[2], v[3]);
    }
    template<std::size_t N>
    void reals(const char *key, std::array<double, N> T::*m, double min, double max)
    {
        if (m_node.has(key))
            readList(key, m_target.*m, min, max, nullptr);
    }
    template<std::size_t N>
    void namedReals(const char *key,
                    std::array<double, N> T::*m,
                    const char *const (&names)[N],
                    const std::array<double, N> &defaults,
                    double min,
                    double max)
    {
        const auto values = m_node.child(key);
        if (!values)
            return;
        for (std::size_t i = 0; i < N; ++i) {
            const double v = values->real(names[i], defaults[i]);
            if (!within(v, min, max))
                fail(at(values->where(), names[i]), rangeText(min, max));
            (m_target.*m)[i] = v;
        }
    }
    template<class Shape> void shapes(const char *key, std::vector<Shape> T::*m)
    {
        const QJsonArray list = m_node.array(key);
        const QString where = at(m_node.where(), key);
        auto &shapes = m_target.*m;
        shapes.clear();
        for (int i = 0; i < list.size(); ++i) {
            Shape shape;
            FieldReader<Shape> reader(shape, elementNode(list, i, where));
            Shape::fields(reader);
            shapes.push_back(shape);
        }
    }

private:
    template<std::size_t N>
    void readList(const char *key,
                  std::array<double, N> &out,
                  double min,
                  double max,
                  const char *sizeMessage)
    {
        const QJsonArray list = m_node.array(key);
        const QString where = at(m_node.where(), key);
        if (list.size() != static_cast<int>(N))
            fail(where,
                 sizeMessage ? QString::fromLatin1(sizeMessage)
                             : QStringLiteral("must hold %1 numbers").arg(N));
        for (std::size_t i = 0; i < N; ++i) {
            const double v = elementReal(list, static_cast<int>(i), where);
            if (!within(v, min, max))
                fail(at(where, static_cast<int>(i)), rangeText(min, max));
            out[i] = v;
        }
    }

    T &m_target;
    const Node m_node;
};

// Writes an effect's parameters through the same table, refusing a value the reader would
// refuse: a file that cannot be opened again is worse than a save that says why it failed.
template<class T> class FieldWriter {
public:
    FieldWriter(const T &source, QJsonObject &out, const QString &where)
        : m_source(source)
        , m_out(out)
        , m_where(where)
    {
    }

    template<class I> void integer(const char *key, I T::*m, std::int64_t min, std::int64_t max)
    {
        const auto v = static_cast<std::int64_t>(m_source.*m);
        if (v < min || v > max)
            fail(at(m_where, key), wholeRangeText(min, max));
        m_out[QLatin1String(key)] = static_cast<qint64>(v);
    }
    void real(const char *key, double T::*m, double min, double max)
    {
        m_out[QLatin1String(key)] = checked(key, m_source.*m, min, max);
    }
    void time(const char *key, MTime T::*m, MTime min, MTime max)
    {
        const MTime v = m_source.*m;
        if (v < min || v > max)
            fail(at(m_where, key), wholeRangeText(min.toMSec(), max.toMSec()));
        m_out[QLatin1String(key)] = ms(v);
    }
    void flag(const char *key, bool T::*m) { m_out[QLatin1String(key)] = m_source.*m; }
    void text(const char *key, QString T::*m) { m_out[QLatin1String(key)] = m_source.*m; }
    template<class Get, class Set> void name(const char *key, Get get, Set)
    {
        m_out[QLatin1String(key)] = (m_source.*get)();
    }
    void rect(const char *key, QRectF T::*m, double min, double max)
    {
        const QRectF &r = m_source.*m;
        if (r.width() < 0 || r.height() < 0)
            fail(at(m_where, key), QStringLiteral("must not have a negative size"));
        m_out[QLatin1String(key)]
            = QJsonArray { checked(key, r.x(), min, max), checked(key, r.y(), min, max),
                           checked(key, r.width(), min, max), checked(key, r.height(), min, max) };
    }
    template<std::size_t N>
    void reals(const char *key, std::array<double, N> T::*m, double min, double max)
    {
        QJsonArray list;
        for (double v : m_source.*m)
            list.append(checked(key, v, min, max));
        m_out[QLatin1String(key)] = list;
    }
    template<std::size_t N>
    void namedReals(const char *key,
                    std::array<double, N> T::*m,
                    const char *const (&names)[N],
                    const std::array<double, N> &,
                    double min,
                    double max)
    {
        QJsonObject values;
        for (std::size_t i = 0; i < N; ++i)
            values[QLatin1String(names[i])] = checked(key, (m_source.*m)[i], min, max);
        m_out[QLatin1String(key)] = values;
    }
    template<class Shape> void shapes(const char *key, std::vector<Shape> T::*m)
    {
        QJsonArray list;
        const QString where = at(m_where, key);
        for (const Shape &shape : m_source.*m) {
            QJsonObject o;
            FieldWriter<Shape> writer(shape, o, at(where, list.size()));
            Shape::fields(writer);
            list.append(o);
        }
        m_out[QLatin1String(key)] = list;
    }

private:
    double checked(const char *key, double v, double min, double max) const
    {
        if (!within(v, min, max))
            fail(at(m_where, key), rangeText(min, max));
        return v;
    }

    const T &m_source;
    QJsonObject &m_out;
    const QString m_where;
};

template<class T> struct KindTag {
    using type = T;
};

// The one list of effect kinds the file knows; `f` is called with a tag of the kind's class.
template<class F> decltype(auto) withKind(Effect::Id id, F &&f)
{
    using namespace Effect;
    switch (id) {
    case Id::AudioEqualizer:
        return f(KindTag<AudioEqualizer> {});
    case Id::AudioReverb:
        return f(KindTag<AudioReverb> {});
    case Id::AudioCompressor:
        return f(KindTag<AudioCompressor> {});
    case Id::AudioNoiseGate:
        return f(KindTag<AudioNoiseGate> {});
    case Id::AudioMonoChannel:
        return f(KindTag<AudioMonoChannel> {});
    case Id::ChromaKey:
        return f(KindTag<ChromaKey> {});
    case Id::Mask:
        return f(KindTag<Mask> {});
    case Id::Crop:
        return f(KindTag<Crop> {});
    case Id::ManualEnhance:
        return f(KindTag<ManualEnhance> {});
    case Id::BackgroundRemove:
        return f(KindTag<BackgroundRemove> {});
    case Id::Lut:
        break;
    }
    return f(KindTag<Lut> {});
}

QJsonObject writeEffect(const Effect::Object &effect, const QString &where)
{
    const std::string_view idText = Effect::idText(effect.id());
    if (idText.empty())
        fail(at(where, "type"), QStringLiteral("is not an effect this editor knows"));
    QJsonObject o { { QStringLiteral("type"),
                      QString::fromLatin1(idText.data(), static_cast<int>(idText.size())) } };
    if (!effect.uniqueId().isEmpty())
        o[QStringLiteral("uniqueId")] = effect.uniqueId();
    if (!effect.isEnabled())
        o[QStringLiteral("enabled")] = false;
    withKind(effect.id(), [&](auto tag) {
        using E = typename decltype(tag)::type;
        FieldWriter<E> writer(static_cast<const E &>(effect), o, where);
        E::fields(writer);
    });
    return o;
}

std::unique_ptr<Effect::Object> readEffect(const Node &n)
{
    Effect::Id id;
    const QString type = n.text("type");
    if (!Effect::idFromText(type.toStdString(), &id))
        fail(at(n.where(), "type"),
             QStringLiteral("\"%1\" is not an effect this editor knows").arg(type));
    std::unique_ptr<Effect::Object> effect
        = withKind(id, [&](auto tag) -> std::unique_ptr<Effect::Object> {
              using E = typename decltype(tag)::type;
              auto e = std::make_unique<E>();
              FieldReader<E> reader(*e, n);
              E::fields(reader);
              return e;
          });
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

} // namespace

namespace {

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

} // namespace

std::unique_ptr<Object> readProjectFile(const QByteArray &bytes)
{
    return readDocument(bytes, [](const QString &path) { return path; });
}

QByteArray writeProjectFile(const Object &project)
{
    return writeDocument(project, [](const QString &path) { return path; });
}

OpenResult open(const QString &path)
{
    // Project files are small; anything this large is not one, and reading it would only cost
    // the user memory and time. A pipe or a device named as a project is refused, not waited on.
    constexpr qint64 maxProjectFileSize = 256 * 1024 * 1024;
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(path, maxProjectFileSize, FS::LinkPolicy::UsersOwn);
    } catch (const FS::Error &e) {
        throw FileError(e.what());
    }
    OpenResult result;
    try {
        // Relative paths are made whole before anything indexes the files by path.
        const QDir folder = QFileInfo(path).absoluteDir();
        result.project = readDocument(bytes, [&](const QString &media) {
            return QDir::isRelativePath(media) ? QDir::cleanPath(folder.absoluteFilePath(media))
                                               : media;
        });
    } catch (const FileError &e) {
        throw FileError(
            QStringLiteral("%1: %2").arg(path, QString::fromStdString(e.what())).toStdString());
    }

    for (const auto &media : result.project->mediaFiles()) {
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
    // A link at the path is the user's: the project replaces the link, and whatever it pointed
    // at is left alone.
    try {
        FS::writeFileAtomically(path, bytes, FS::LinkPolicy::UsersOwn);
    } catch (const FS::Error &e) {
        throw FileError(e.what());
    }
    project.setPath(QFileInfo(path).absoluteFilePath());
}

QJsonObject effectToJson(const Effect::Object &effect)
{
    return writeEffect(effect, QStringLiteral("effect"));
}

std::unique_ptr<Effect::Object> effectFromJson(const QJsonObject &object)
{
    return readEffect(Node(object, QString()));
}

} // namespace Project
