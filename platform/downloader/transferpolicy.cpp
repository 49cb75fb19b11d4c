#include "downloader/transferpolicy.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <algorithm>

namespace Downloader {

namespace {

bool isHttp(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https");
}

std::optional<QDateTime> parseHttpDate(const QByteArray &text)
{
    // RFC 7231 allows three forms; servers send the first.
    static const char *const formats[]
        = { "ddd, dd MMM yyyy HH:mm:ss 'GMT'", "dddd, dd-MMM-yy HH:mm:ss 'GMT'",
            "ddd MMM d HH:mm:ss yyyy" };
    const QString value = QString::fromLatin1(text.trimmed());
    for (const char *format : formats) {
        QDateTime date = QLocale::c().toDateTime(value, QLatin1String(format));
        if (date.isValid()) {
            date.setTimeSpec(Qt::UTC);
            return date;
        }
    }
    return std::nullopt;
}

} // namespace

bool redirectAllowed(const QUrl &from, const QUrl &to)
{
    if (!to.isValid() || !isHttp(to) || to.host().isEmpty())
        return false;
    return !(from.scheme().compare(QLatin1String("https"), Qt::CaseInsensitive) == 0
             && to.scheme().compare(QLatin1String("http"), Qt::CaseInsensitive) == 0);
}

std::optional<std::int64_t>
retryDelayMs(int status, const QByteArray &retryAfter, int attempt, const QDateTime &now)
{
    if (status != 429 && status != 503)
        return std::nullopt;
    const QByteArray value = retryAfter.trimmed();
    if (!value.isEmpty()) {
        bool number = false;
        const qlonglong seconds = value.toLongLong(&number);
        if (number && seconds >= 0)
            return std::min<qlonglong>(seconds, 365LL * 24 * 3600) * 1000;
        if (const auto date = parseHttpDate(value))
            return std::max<std::int64_t>(0, now.msecsTo(*date));
    }
    return std::int64_t(1000) << std::clamp(attempt, 0, 10);
}

QString validatorsPath(const QString &destination)
{
    return destination + QStringLiteral(".validators");
}

QByteArray serializeValidators(const Validators &validators)
{
    QJsonObject object;
    object.insert(QStringLiteral("etag"), QString::fromLatin1(validators.etag));
    object.insert(QStringLiteral("lastModified"), QString::fromLatin1(validators.lastModified));
    object.insert(QStringLiteral("size"), static_cast<qint64>(validators.size));
    if (validators.crc32)
        object.insert(QStringLiteral("crc32"), static_cast<qint64>(*validators.crc32));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<Validators> parseValidators(const QByteArray &bytes)
{
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    if (!doc.isObject())
        return std::nullopt;
    const QJsonObject object = doc.object();
    const QJsonValue size = object.value(QStringLiteral("size"));
    if (!size.isDouble())
        return std::nullopt;
    Validators validators;
    validators.etag = object.value(QStringLiteral("etag")).toString().toLatin1();
    validators.lastModified = object.value(QStringLiteral("lastModified")).toString().toLatin1();
    validators.size = static_cast<std::int64_t>(size.toDouble());
    const QJsonValue crc = object.value(QStringLiteral("crc32"));
    if (crc.isDouble() && crc.toDouble() >= 0 && crc.toDouble() <= 0xFFFFFFFFu)
        validators.crc32 = static_cast<quint32>(crc.toDouble());
    // A header value carrying a line break could smuggle a second header into the request.
    for (const QByteArray *value : { &validators.etag, &validators.lastModified }) {
        if (value->contains('\r') || value->contains('\n'))
            return std::nullopt;
    }
    return validators;
}

std::int64_t deadlineMsFor(std::int64_t bytes)
{
    constexpr std::int64_t base = 60 * 1000;
    constexpr std::int64_t floorBytesPerSecond = 16 * 1024;
    bytes = std::clamp<std::int64_t>(bytes, 0, std::int64_t(1) << 50);
    return base + bytes * 1000 / floorBytesPerSecond;
}

std::optional<ContentRange> parseContentRange(const QByteArray &header)
{
    const QByteArray value = header.trimmed();
    if (!value.startsWith("bytes "))
        return std::nullopt;
    const QByteArray spec = value.mid(6).trimmed();
    const int dash = spec.indexOf('-');
    const int slash = spec.indexOf('/');
    if (dash <= 0 || slash <= dash + 1)
        return std::nullopt;
    bool ok[3] = {};
    ContentRange range;
    range.first = spec.left(dash).toLongLong(&ok[0]);
    range.last = spec.mid(dash + 1, slash - dash - 1).toLongLong(&ok[1]);
    range.total = spec.mid(slash + 1).toLongLong(&ok[2]);
    if (!ok[0] || !ok[1] || !ok[2] || range.first < 0 || range.last < range.first
        || range.total <= range.last)
        return std::nullopt;
    return range;
}

} // namespace Downloader
