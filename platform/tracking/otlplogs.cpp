#include "tracking/otlplogs.h"

#include "tracking/jsontext.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>

#include <simdjson.h>
#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace Vantel::Tracking::Otlp {

namespace {

void appendNumber(std::string &out, qint64 value)
{
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

// `{"key":K,"value":{"stringValue":V}}`, the one attribute shape the upload uses.
void appendAttribute(std::string &out, std::string_view key, std::string_view value)
{
    out += "{\"key\":";
    appendJsonString(out, key);
    out += ",\"value\":{\"stringValue\":";
    appendJsonString(out, value);
    out += "}}";
}

std::uint64_t mix(std::uint64_t x)
{
    // splitmix64's finaliser: a bijection, so distinct event ids stay distinct.
    x ^= x >> 30;
    x *= 0xbf58476d1ce4e5b9ULL;
    x ^= x >> 27;
    x *= 0x94d049bb133111ebULL;
    x ^= x >> 31;
    return x;
}

// The parser keeps its buffers between events; one per thread that encodes. The document parser
// checks the whole text, so a damaged row is refused as a whole rather than sent in part.
simdjson::dom::parser &paramsParser()
{
    thread_local simdjson::dom::parser parser;
    return parser;
}

} // namespace

std::string currentOsType()
{
#if defined(Q_OS_LINUX)
    return "linux";
#elif defined(Q_OS_MACOS)
    return "darwin";
#elif defined(Q_OS_WIN)
    return "windows";
#else
    return "unknown";
#endif
}

std::string recordUid(const UidSalt &salt, qint64 eventId, qint64 timeMs)
{
    static constexpr char alphabet[] = "0123456789ABCDEFGHJKMNPQRSTVWXYZ";
    const std::uint64_t time
        = static_cast<std::uint64_t>(std::clamp<qint64>(timeMs, 0, (qint64(1) << 48) - 1));
    // 128 bits: 48 of time, 16 of salt, 64 unique per event id.
    const std::uint64_t high = (time << 16) | (salt.high & 0xffff);
    const std::uint64_t low = salt.low ^ mix(static_cast<std::uint64_t>(eventId));
    std::string text(26, '0');
    // 26 digits of 5 bits cover 130 bits; the top two are zero.
    for (int digit = 25; digit >= 0; --digit) {
        const int bit = (25 - digit) * 5;
        std::uint64_t value = 0;
        if (bit < 64) {
            value = low >> bit;
            if (bit > 59)
                value |= high << (64 - bit);
        } else {
            value = high >> (bit - 64);
        }
        text[static_cast<std::size_t>(digit)] = alphabet[value & 31];
    }
    return text;
}

LogsWriter::LogsWriter(const Resource &resource)
{
    m_head = "{\"resourceLogs\":[{\"resource\":{\"attributes\":[";
    appendAttribute(m_head, "service.name", resource.serviceName);
    m_head += ',';
    appendAttribute(m_head, "service.version", resource.serviceVersion);
    m_head += ',';
    appendAttribute(m_head, "service.instance.id", resource.instanceId);
    m_head += ',';
    appendAttribute(m_head, "os.type", resource.osType);
    m_head += "]},\"scopeLogs\":[{\"scope\":{\"name\":\"usage-events\"},\"logRecords\":[";
    m_body = m_head;
}

bool LogsWriter::add(std::string_view name,
                     std::string_view paramsJson,
                     qint64 timeMs,
                     std::string_view session,
                     std::string_view uid,
                     qint64 observedNs)
{
    std::string &out = m_body;
    if (m_records > 0)
        out += ',';
    out += "{\"timeUnixNano\":\"";
    appendNumber(out, timeMs);
    if (timeMs != 0)
        out += "000000";
    out += "\",\"observedTimeUnixNano\":\"";
    appendNumber(out, observedNs);
    out += "\",\"severityNumber\":9,\"body\":{\"stringValue\":";
    appendJsonString(out, name);
    out += "},\"attributes\":[";
    const bool read = appendParamsAsAttributes(out, paramsJson, true);
    if (out.back() != '[')
        out += ',';
    appendAttribute(out, "log.record.uid", uid);
    out += ',';
    appendAttribute(out, "session.id", session);
    out += "]}";
    ++m_records;
    return read;
}

std::string LogsWriter::finish()
{
    m_body += "]}]}]}";
    std::string body;
    body.swap(m_body);
    m_body = m_head;
    m_records = 0;
    return body;
}

bool appendParamsAsAttributes(std::string &out, std::string_view paramsJson, bool first)
{
    // simdjson reads past the end in blocks; the text is copied once into a padded buffer.
    thread_local std::string padded;
    padded.assign(paramsJson.data(), paramsJson.size());
    padded.append(simdjson::SIMDJSON_PADDING, '\0');
    simdjson::dom::object object;
    if (paramsParser().parse(padded.data(), paramsJson.size(), false).get_object().get(object)
        != simdjson::SUCCESS)
        return false;
    for (const auto field : object) {
        std::string_view text;
        if (field.value.get_string().get(text) != simdjson::SUCCESS)
            continue;
        if (!first)
            out += ',';
        first = false;
        appendAttribute(out, field.key, text);
    }
    return true;
}

QByteArray gzip(std::string_view data)
{
    z_stream stream {};
    // 15 window bits + 16: a gzip header and trailer rather than zlib's.
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("cannot start gzip");
    QByteArray out;
    out.resize(static_cast<int>(deflateBound(&stream, static_cast<uLong>(data.size()))));
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int rc = deflate(&stream, Z_FINISH);
    const auto written = static_cast<int>(stream.total_out);
    deflateEnd(&stream);
    if (rc != Z_STREAM_END)
        throw std::runtime_error("gzip failed");
    out.resize(written);
    return out;
}

ExportResponse parseExportResponse(const QByteArray &body)
{
    ExportResponse response;
    const QJsonObject partial
        = QJsonDocument::fromJson(body).object().value(QLatin1String("partialSuccess")).toObject();
    // An int64: a decimal string on the wire, though a number is accepted too.
    const QJsonValue rejected = partial.value(QLatin1String("rejectedLogRecords"));
    if (rejected.isString())
        response.rejectedLogRecords = rejected.toString().toLongLong();
    else if (rejected.isDouble())
        response.rejectedLogRecords = static_cast<qint64>(rejected.toDouble());
    response.rejectedLogRecords = std::max<qint64>(response.rejectedLogRecords, 0);
    response.errorMessage
        = failureMessage(partial.value(QLatin1String("errorMessage")).toString().toUtf8());
    return response;
}

std::string failureMessage(const QByteArray &body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    QString text = document.isObject()
        ? document.object().value(QLatin1String("message")).toString()
        : QString::fromUtf8(body.left(400));
    text = text.simplified().left(200);
    for (QChar &c : text) {
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            c = QLatin1Char('?');
    }
    return text.toStdString();
}

std::optional<std::chrono::seconds> parseRetryAfter(const QByteArray &value, const QDateTime &now)
{
    const QByteArray text = value.trimmed();
    if (text.isEmpty())
        return std::nullopt;
    bool number = false;
    const qint64 seconds = text.toLongLong(&number);
    if (number)
        return seconds < 0 ? std::nullopt : std::optional(std::chrono::seconds(seconds));
    // "Sun, 06 Nov 1994 08:49:37 GMT", the one date form HTTP senders use.
    const QDateTime when = QLocale::c().toDateTime(
        QString::fromLatin1(text), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"));
    if (!when.isValid())
        return std::nullopt;
    QDateTime utc = when;
    utc.setTimeSpec(Qt::UTC);
    return std::chrono::seconds(std::max<qint64>(now.secsTo(utc), 0));
}

bool isRetryableStatus(int status)
{
    return status == 429 || status == 502 || status == 503 || status == 504;
}

std::chrono::milliseconds backoffDelay(int failures, double jitter)
{
    using std::chrono::milliseconds;
    const int doublings = std::clamp(failures - 1, 0, 20);
    const milliseconds full = std::min<milliseconds>(milliseconds(1000LL << doublings), MaxBackoff);
    return full / 2
        + milliseconds(static_cast<qint64>(full.count() / 2.0 * std::clamp(jitter, 0.0, 1.0)));
}

} // namespace Vantel::Tracking::Otlp
