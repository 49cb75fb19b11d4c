#include "tracking/jsonlinessink.h"

#include "tracking/jsontext.h"

#include "util/settingspaths.h"

#include <glog/logging.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
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
    // Truncating the event store, a cache or a take would lose them; a pipe or a terminal is fine.
    if (Settings::isStatePath(path))
        throw std::runtime_error("cannot write the event file " + path.toStdString()
                                 + ": it is one of the editor's own files in its data folder");
    // Without blocking: a pipe nobody reads would hold the editor's start for ever. A pipe with
    // a reader (a shell's process substitution) is fine, and is written normally after.
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (fd < 0) {
        const int code = errno;
        throw std::runtime_error("cannot write the event file " + path.toStdString() + ": "
                                 + (code == ENXIO ? std::string("it is a pipe that nobody reads")
                                                  : std::string(std::strerror(code))));
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    if (!m_file.open(fd, QIODevice::WriteOnly | QIODevice::Unbuffered,
                     QFileDevice::AutoCloseHandle)) {
        ::close(fd);
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
