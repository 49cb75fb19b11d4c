#include "project/internal/jsonreader.h"

#include "project/projectfile.h"

#include <QJsonDocument>

namespace Project::FileFormat {

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

namespace {

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

} // namespace

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

} // namespace Project::FileFormat
