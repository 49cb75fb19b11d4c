#include "export/exportpresets.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <glog/logging.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace Export {

namespace {

// The presets file is a few kilobytes; anything far larger is not ours.
constexpr qint64 maxPresetFileSize = 1 << 20;

struct BadField : std::runtime_error {
    using std::runtime_error::runtime_error;
};

QString text(const QJsonObject &o, const char *key)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined())
        return {};
    if (!v.isString())
        throw BadField(std::string(key) + " is not a text");
    return v.toString();
}

// Whole numbers only, within [min, max]; `fallback` when the key is missing.
std::int64_t integer(const QJsonObject &o,
                     const char *key,
                     std::int64_t min,
                     std::int64_t max,
                     std::int64_t fallback = 0)
{
    const QJsonValue v = o.value(QLatin1String(key));
    if (v.isUndefined())
        return fallback;
    const double d = v.toDouble(std::numeric_limits<double>::quiet_NaN());
    if (!v.isDouble() || !(d >= static_cast<double>(min) && d <= static_cast<double>(max))
        || std::floor(d) != d)
        throw BadField(std::string(key) + " must be a whole number from " + std::to_string(min)
                       + " to " + std::to_string(max));
    return static_cast<std::int64_t>(d);
}

template<class Enum> std::optional<Enum> stated(const QJsonObject &o, const char *key, int last)
{
    if (!o.contains(QLatin1String(key)))
        return std::nullopt;
    return static_cast<Enum>(integer(o, key, 0, last));
}

ExportPreset readPreset(const QJsonObject &o)
{
    ExportPreset p;
    p.id = text(o, "id");
    if (p.id.isEmpty())
        throw BadField("id is missing");
    p.currentTag = text(o, "tag");
    p.outputFormat = text(o, "format");
    p.videoCodec = text(o, "videoCodec");
    p.audioCodec = text(o, "audioCodec");
    constexpr std::int64_t maxSide = 16384;
    p.frameSize = QSize(static_cast<int>(integer(o, "width", 0, maxSide)),
                        static_cast<int>(integer(o, "height", 0, maxSide)));
    const std::int64_t num = integer(o, "frameRateNum", 0, 1'000'000);
    const std::int64_t den = integer(o, "frameRateDen", 1, 1'000'000, 1);
    p.frameRate = boost::rational<std::int64_t>(num, den);
    p.bitrateMode = static_cast<BitrateMode>(integer(o, "bitrateMode", 0, 3));
    p.videoBitRate = integer(o, "bitRate", 0, 10'000'000'000);
    p.vbrQuality = static_cast<int>(integer(o, "vbrQuality", 0, 100));
    if (o.contains(QLatin1String("twoPass"))) {
        const QJsonValue v = o.value(QLatin1String("twoPass"));
        if (!v.isBool())
            throw BadField("twoPass is not true or false");
        p.twoPass = v.toBool();
    }
    p.speed = stated<EncodingSpeed>(o, "speed", 8);
    p.tune = stated<EncodingTune>(o, "tune", 7);
    p.sampleRate = static_cast<int>(integer(o, "sampleRate", 0, 768'000));
    p.channelLayout
        = static_cast<std::uint64_t>(integer(o, "channelLayout", 0, (std::int64_t(1) << 53)));
    p.quality = static_cast<Quality>(integer(o, "quality", 0, 3, 1));
    return p;
}

} // namespace

PresetList parsePresets(const QByteArray &json)
{
    PresetList list;
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) {
        list.warnings << QStringLiteral("not a preset list (%1)")
                             .arg(error.error != QJsonParseError::NoError
                                      ? error.errorString()
                                      : QStringLiteral("not an object"));
        return list;
    }
    const QJsonValue presets = doc.object().value(QLatin1String("presets"));
    if (!presets.isArray()) {
        list.warnings << QStringLiteral("presets: not a list");
        return list;
    }
    const QJsonArray array = presets.toArray();
    QSet<QString> seen;
    for (int i = 0; i < array.size(); ++i) {
        const QString where = QStringLiteral("presets[%1]").arg(i);
        if (!array.at(i).isObject()) {
            list.warnings << where + QStringLiteral(": not an object");
            continue;
        }
        try {
            ExportPreset preset = readPreset(array.at(i).toObject());
            if (seen.contains(preset.id)) {
                list.warnings << where + QStringLiteral(": \"%1\" is listed twice").arg(preset.id);
                continue;
            }
            seen.insert(preset.id);
            list.presets.push_back(std::move(preset));
        } catch (const BadField &e) {
            list.warnings << where + QStringLiteral(": ") + QString::fromStdString(e.what());
        }
    }
    return list;
}

const std::vector<ExportPreset> &bundledPresets()
{
    static const std::vector<ExportPreset> presets = [] {
        const QString path = QDir(Settings::bundledResourcesPath())
                                 .filePath(QStringLiteral("export/presets.json"));
        QByteArray bytes;
        try {
            bytes = FS::readRegularFile(path, maxPresetFileSize, FS::LinkPolicy::UsersOwn);
        } catch (const FS::Error &e) {
            LOG(WARNING) << "Export presets cannot be read, so no presets are offered: "
                         << e.what();
            return std::vector<ExportPreset>();
        }
        PresetList list = parsePresets(bytes);
        for (const QString &warning : list.warnings)
            LOG(WARNING) << "Export presets " << path.toStdString() << ": "
                         << warning.toStdString();
        return std::move(list.presets);
    }();
    return presets;
}

const ExportPreset *findPreset(const QString &id)
{
    for (const ExportPreset &preset : bundledPresets()) {
        if (preset.id == id)
            return &preset;
    }
    return nullptr;
}

} // namespace Export
