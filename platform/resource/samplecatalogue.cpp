#include "resource/samplecatalogue.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <algorithm>
#include <iterator>

namespace Resource {

namespace {

constexpr qint64 maxCatalogueSize = 1 << 20;

const std::pair<const char *, SampleKind> kinds[] = {
    { "video", SampleKind::Video },         { "background", SampleKind::Background },
    { "sound", SampleKind::Sound },         { "music", SampleKind::Music },
    { "specialFx", SampleKind::SpecialFx },
};

} // namespace

QString SampleCatalogue::cleanPath(const QString &path)
{
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path
                                                      : QDir::current().absoluteFilePath(path));
}

namespace {

// What follows the last separator. Cleaning a path removes "." and ".." parts and doubled
// separators but keeps the last part of a file's path as it is.
QStringView lastPart(const QString &path)
{
    int at = path.size();
    while (at > 0 && path[at - 1] != QLatin1Char('/') && path[at - 1] != QLatin1Char('\\'))
        --at;
    return QStringView(path).mid(at);
}

} // namespace

void SampleCatalogue::add(const QString &path, Sample sample)
{
    const QString cleaned = cleanPath(path);
    m_fileNames.insert(qHash(lastPart(cleaned)));
    m_samples.insert(cleaned, std::move(sample));
}

const Sample *SampleCatalogue::lookUp(const QString &path) const
{
    const QStringView name = lastPart(path);
    // "." and ".." (and a trailing separator) are the parts cleaning changes.
    const bool plain = !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..");
    if (plain && !m_fileNames.contains(qHash(name)))
        return nullptr;
    return find(cleanPath(path));
}

const Sample *SampleCatalogue::find(const QString &cleanedPath) const
{
    const auto it = m_samples.constFind(cleanedPath);
    return it == m_samples.constEnd() ? nullptr : &*it;
}

SampleCatalogue
SampleCatalogue::parse(const QByteArray &json, const QString &root, QStringList *warnings)
{
    SampleCatalogue catalogue;
    auto warn = [&](const QString &text) {
        if (warnings)
            *warnings << text;
    };
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    const QJsonValue samples = doc.object().value(QLatin1String("samples"));
    if (error.error != QJsonParseError::NoError || !samples.isArray()) {
        warn(QStringLiteral("not a sample catalogue"));
        return catalogue;
    }
    const QJsonArray array = samples.toArray();
    for (int i = 0; i < array.size(); ++i) {
        const QString where = QStringLiteral("samples[%1]: ").arg(i);
        const QJsonObject o = array.at(i).toObject();
        const QString file = o.value(QLatin1String("file")).toString();
        const QString name = o.value(QLatin1String("name")).toString();
        const QString kindText = o.value(QLatin1String("kind")).toString();
        if (file.isEmpty() || name.isEmpty()) {
            warn(where + QStringLiteral("needs a file and a name"));
            continue;
        }
        // A catalogue names files beside it; a name that climbs out is not a sample of ours.
        if (QDir::isAbsolutePath(file) || !FS::isInside(root, file)) {
            warn(where + QStringLiteral("\"%1\" is outside the samples folder").arg(file));
            continue;
        }
        const auto kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const auto &k) {
            return kindText == QLatin1String(k.first);
        });
        if (kind == std::end(kinds)) {
            warn(where + QStringLiteral("\"%1\" is not a kind of sample").arg(kindText));
            continue;
        }
        catalogue.add(QDir(root).filePath(file), { name, kind->second });
    }
    return catalogue;
}

const SampleCatalogue &SampleCatalogue::bundled()
{
    static const SampleCatalogue catalogue = [] {
        // Beside the samples folder, not in it: an import of the folder takes media files only.
        const QDir resources(Settings::bundledResourcesPath());
        const QString root = resources.filePath(QStringLiteral("samples"));
        const QString path = resources.filePath(QStringLiteral("sample-catalogue.json"));
        QByteArray bytes;
        try {
            bytes = FS::readRegularFile(path, maxCatalogueSize, FS::LinkPolicy::UsersOwn);
        } catch (const FS::Error &e) {
            LOG(WARNING) << "Sample catalogue cannot be read: " << e.what();
            return SampleCatalogue();
        }
        QStringList warnings;
        SampleCatalogue read = parse(bytes, root, &warnings);
        for (const QString &w : warnings)
            LOG(WARNING) << "Sample catalogue " << path.toStdString() << ": " << w.toStdString();
        return read;
    }();
    return catalogue;
}

} // namespace Resource
