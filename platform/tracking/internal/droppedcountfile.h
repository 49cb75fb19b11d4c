#pragma once

#include <QString>

namespace Vantel::Tracking {

// Where the count of dropped events goes when the database cannot take it: on a full disk
// every SQLite commit needs room in its log, but overwriting the bytes of a file that already
// has them needs none. One fixed-size record, so each write lands on the same block.
class DroppedCountFile {
public:
    DroppedCountFile() = default;
    ~DroppedCountFile();
    DroppedCountFile(const DroppedCountFile &) = delete;
    DroppedCountFile &operator=(const DroppedCountFile &) = delete;

    // Made while there is room, so it has its block before the disk fills up.
    void open(const QString &path);
    qint64 read() const;
    void write(qint64 count);

private:
    static constexpr int RecordSize = 20;
    int m_fd = -1;
};

} // namespace Vantel::Tracking
