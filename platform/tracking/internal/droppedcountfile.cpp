#include "tracking/internal/droppedcountfile.h"

#include "tracking/internal/eventstoreimpl.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace Vantel::Tracking {

DroppedCountFile::~DroppedCountFile()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

void DroppedCountFile::open(const QString &path)
{
    m_fd = ::open(QFile::encodeName(path).constData(),
                  O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0644);
    struct stat info { };
    if (m_fd < 0 || ::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
        return;
    }
    if (info.st_size < RecordSize)
        write(0);
}

qint64 DroppedCountFile::read() const
{
    char record[RecordSize + 1] = {};
    if (m_fd < 0 || ::pread(m_fd, record, RecordSize, 0) != RecordSize)
        return 0;
    char *end = nullptr;
    const long long value = std::strtoll(record, &end, 10);
    return end == record + RecordSize - 1 && *end == '\n' && value > 0 ? value : 0;
}

void DroppedCountFile::write(qint64 count)
{
    char record[RecordSize + 1];
    std::snprintf(record, sizeof record, "%019lld\n", static_cast<long long>(count));
    if (m_fd >= 0 && ::pwrite(m_fd, record, RecordSize, 0) == RecordSize)
        ::fdatasync(m_fd);
}

// After a failed batch the count must still survive a restart; on a full disk this may fail
// too, and the next successful batch carries it.
void EventStore::Impl::persistDropped()
{
    const qint64 total = dropped.load();
    try {
        if (m_db) {
            setMeta("dropped", total);
            m_persistedDropped = total;
            return;
        }
    } catch (const Sqlite::Error &) {
    }
    m_droppedFile.write(total);
}

} // namespace Vantel::Tracking
