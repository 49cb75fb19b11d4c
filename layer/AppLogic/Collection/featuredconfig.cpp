#include "Collection/featuredconfig.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace EditorCollection {

namespace {

QString where(int collection, int pack = -1, int asset = -1)
{
    QString text = QStringLiteral("collections[") + QString::number(collection) + QLatin1Char(']');
    if (pack >= 0)
        text += QStringLiteral(".packs[") + QString::number(pack) + QLatin1Char(']');
    if (asset >= 0)
        text += QStringLiteral(".assets[") + QString::number(asset) + QLatin1Char(']');
    return text;
}

// A name the configuration can be trusted to mean: a non-empty string of sane length.
bool readName(const QJsonValue &value, QString *name)
{
    if (!value.isString())
        return false;
    *name = value.toString();
    return !name->isEmpty() && name->size() <= maxFeaturedNameLength;
}

// A hostile file may hold a million bad entries; the log gets the first few and a count.
constexpr int maxWarnings = 20;

void warn(FeaturedConfigParse &result, int &skipped, const QString &text)
{
    if (++skipped <= maxWarnings)
        result.warnings << text;
}

} // namespace

FeaturedConfigParse parseFeaturedConfig(const QByteArray &json)
{
    FeaturedConfigParse result;
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        result.warnings << QStringLiteral("not JSON (") + error.errorString()
                + QStringLiteral(" at offset ") + QString::number(error.offset) + QLatin1Char(')');
        return result;
    }
    const QJsonValue collections = document.object().value(QLatin1String("collections"));
    if (!document.isObject() || !collections.isArray()) {
        result.warnings << QStringLiteral("no \"collections\" array");
        return result;
    }
    result.valid = true;
    int skipped = 0;
    const QJsonArray collectionList = collections.toArray();
    for (int c = 0; c < collectionList.size(); ++c) {
        const QJsonObject collection = collectionList.at(c).toObject();
        QString collectionName;
        if (!readName(collection.value(QLatin1String("name")), &collectionName)) {
            warn(result, skipped, where(c) + QStringLiteral(" has no usable \"name\"; skipped"));
            continue;
        }
        const QJsonValue packs = collection.value(QLatin1String("packs"));
        if (!packs.isArray()) {
            warn(result, skipped, where(c) + QStringLiteral(" has no \"packs\" array; skipped"));
            continue;
        }
        FeaturedCollection &entry = result.collections[collectionName];
        const QJsonArray packList = packs.toArray();
        for (int p = 0; p < packList.size(); ++p) {
            const QJsonObject pack = packList.at(p).toObject();
            QString packName;
            if (!readName(pack.value(QLatin1String("name")), &packName)) {
                warn(result, skipped,
                     where(c, p) + QStringLiteral(" has no usable \"name\"; skipped"));
                continue;
            }
            const QJsonValue assets = pack.value(QLatin1String("assets"));
            if (!assets.isArray()) {
                warn(result, skipped,
                     where(c, p) + QStringLiteral(" has no \"assets\" array; skipped"));
                continue;
            }
            QSet<QString> &ids = entry[packName];
            const QJsonArray assetList = assets.toArray();
            for (int a = 0; a < assetList.size(); ++a) {
                QString id;
                if (!readName(assetList.at(a), &id)) {
                    warn(result, skipped,
                         where(c, p, a) + QStringLiteral(" is not a usable identifier; skipped"));
                    continue;
                }
                ids.insert(id);
            }
        }
    }
    if (skipped > maxWarnings)
        result.warnings << QString::number(skipped - maxWarnings)
                + QStringLiteral(" more entries skipped");
    for (const FeaturedCollection &packs : qAsConst(result.collections)) {
        for (const QSet<QString> &ids : packs)
            result.assetCount += ids.size();
    }
    return result;
}

} // namespace EditorCollection
