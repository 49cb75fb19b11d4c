#include "tracking/jsonlinessink.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <glog/logging.h>

#include <stdexcept>

namespace Vantel::Tracking {

QByteArray eventToJsonLine(const TrackedEvent &event)
{
    QJsonObject params;
    for (const auto &[key, value] : event.params)
        params.insert(QString::fromStdString(key), QString::fromStdString(value));
    QJsonObject line;
    line.insert(QStringLiteral("event"), QString::fromStdString(event.name));
    line.insert(QStringLiteral("params"), params);
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

JsonLinesSink::JsonLinesSink(const QString &path)
    : m_file(path)
{
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        throw std::runtime_error("cannot write the event file " + path.toStdString() + ": "
                                 + m_file.errorString().toStdString());
    }
}

JsonLinesSink::~JsonLinesSink() = default;

void JsonLinesSink::consume(const TrackedEvent &event)
{
    const QByteArray line = eventToJsonLine(event);
    if (m_file.write(line) == line.size() || m_failed)
        return;
    // One warning: a full disk would otherwise add a line to the log for every event.
    m_failed = true;
    LOG(WARNING) << "cannot write to the event file " << m_file.fileName().toStdString() << ": "
                 << m_file.errorString().toStdString() << "; later events may be missing from it";
}

} // namespace Vantel::Tracking
