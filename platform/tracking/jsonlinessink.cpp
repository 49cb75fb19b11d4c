#include "tracking/jsonlinessink.h"

#include "tracking/jsontext.h"

#include <glog/logging.h>

#include <stdexcept>

namespace Vantel::Tracking {

QByteArray eventToJsonLine(const TrackedEvent &event)
{
    std::string line = "{\"event\":";
    appendJsonString(line, event.name);
    line += ",\"params\":";
    appendJsonObject(line, event.params);
    line += "}\n";
    return QByteArray(line.data(), static_cast<int>(line.size()));
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
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_file.write(line) == line.size() || m_failed)
        return;
    // One warning: a full disk would otherwise add a line to the log for every event.
    m_failed = true;
    LOG(WARNING) << "cannot write to the event file " << m_file.fileName().toStdString() << ": "
                 << m_file.errorString().toStdString() << "; later events may be missing from it";
}

} // namespace Vantel::Tracking
