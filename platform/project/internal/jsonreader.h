#pragma once

#include "timeline/clip.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

// The project file's checked reading of JSON. Every value is checked where it is read, and the
// first bad one ends the reading with its place in the document ("tracks[0].clips[2].speed"), so
// a user or a bug report can find it. Shared by the readers of the effects and the timeline;
// nothing outside this library includes it.
namespace Project::FileFormat {

constexpr std::int64_t maxTimeMs = Timeline::maxTime.toMSec();
// Facts an analysis found rather than edits: kept as found, only bounded by their types.
constexpr std::int64_t maxFact = std::numeric_limits<int>::max();

// Throws FileError with `what` at `where`.
[[noreturn]] void fail(const QString &where, const QString &what);
// The place of a member or an element below `where`.
QString at(const QString &where, const char *key);
QString at(const QString &where, int index);

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

Node elementNode(const QJsonArray &array, int index, const QString &where);
double elementReal(const QJsonArray &array, int index, const QString &where);
std::int64_t
elementInteger(const QJsonArray &array, int index, const QString &where, std::int64_t max);
QString elementText(const QJsonArray &array, int index, const QString &where);

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

qint64 ms(MTime t);
QString rangeText(double min, double max);
QString wholeRangeText(std::int64_t min, std::int64_t max);
bool within(double value, double min, double max);

// The document in `bytes`, whose top level must be an object; throws FileError.
QJsonDocument parseDocument(const QByteArray &bytes);

} // namespace Project::FileFormat
