#include "tracking/filesessiontracker.h"

#include "util/fs.h"
#include "util/settingspaths.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUuid>

#include <glog/logging.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Vantel::Tracking {

namespace {

enum class State { Running, Clean, Restarting };

const char *stateName(State state)
{
    switch (state) {
    case State::Running:
        return "running";
    case State::Clean:
        return "clean";
    case State::Restarting:
        return "restarting";
    }
    return "running";
}

std::optional<State> stateFromName(const QString &name)
{
    for (State state : { State::Running, State::Clean, State::Restarting }) {
        if (name == QLatin1String(stateName(state)))
            return state;
    }
    return std::nullopt;
}

// The crash file of the running session, for the failure writer. Only this atomic and write()
// are touched inside the signal handler.
std::atomic<int> g_crashFd { -1 };
std::atomic<std::size_t> g_crashBytes { 0 };

void writeFully(int fd, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

// glog calls this, piece by piece, from its signal handler: no allocation, no locks.
void writeFailure(const char *data, std::size_t size)
{
    const int savedErrno = errno;
    // What glog's own writer would have done.
    writeFully(STDERR_FILENO, data, size);
    const int fd = g_crashFd.load();
    if (fd >= 0) {
        const std::size_t used = g_crashBytes.fetch_add(size);
        if (used < static_cast<std::size_t>(MaxFailureText))
            writeFully(fd, data, std::min(size, static_cast<std::size_t>(MaxFailureText) - used));
    }
    errno = savedErrno;
}

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd)
        : m_fd(fd)
    {
    }
    ~FileDescriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor &) = delete;
    FileDescriptor &operator=(const FileDescriptor &) = delete;
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    int get() const { return m_fd; }

private:
    int m_fd = -1;
};

// A live run holds an exclusive lock on its crash file until its process ends, however it ends.
bool heldByLiveRun(const QString &crashPath)
{
    const FileDescriptor fd(::open(QFile::encodeName(crashPath).constData(),
                                   O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    if (fd.get() < 0)
        return false;
    return ::flock(fd.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

struct EarlierRun {
    std::string id;
    State state = State::Running;
    qint64 started = 0;
    std::optional<FailureDetails> details;
};

// Records are tiny; anything larger was never written by this code.
constexpr qint64 MaxRecordSize = 64 * 1024;

std::optional<EarlierRun> readRecord(const QString &path, const QString &id, std::string &problem)
{
    QByteArray bytes;
    try {
        bytes = FS::readRegularFile(path, MaxRecordSize);
    } catch (const FS::Error &e) {
        problem = e.what();
        return std::nullopt;
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        problem = "not a JSON object";
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    if (object.value(QStringLiteral("id")).toString() != id) {
        problem = "its id does not match its name";
        return std::nullopt;
    }
    const auto state = stateFromName(object.value(QStringLiteral("state")).toString());
    if (!state) {
        problem = "unknown state";
        return std::nullopt;
    }
    EarlierRun run;
    run.id = id.toStdString();
    run.state = *state;
    run.started = static_cast<qint64>(object.value(QStringLiteral("started")).toDouble());
    return run;
}

std::optional<FailureDetails> readFailureDetails(const QString &crashPath)
{
    QByteArray text;
    try {
        // The handler writes MaxFailureText at most; a larger file is not its.
        text = FS::readRegularFile(crashPath, MaxRecordSize);
    } catch (const FS::Error &e) {
        if (!e.notFound())
            LOG(WARNING) << "ignoring the crash details of an earlier session: " << e.what();
        return std::nullopt;
    }
    if (text.trimmed().isEmpty())
        return std::nullopt;
    return parseFailureText(text);
}

} // namespace

FailureDetails parseFailureText(const QByteArray &text)
{
    const QString readable = QString::fromUtf8(text.left(MaxFailureText)).trimmed();
    // glog: "*** SIGSEGV (@0x0) received by PID 123 (TID 0x...) from PID 0; stack trace: ***"
    static const QRegularExpression signalName(QStringLiteral("\\*\\*\\* (SIG[A-Z0-9]+) "));
    const QRegularExpressionMatch match = signalName.match(readable);
    FailureDetails details;
    details.area = match.hasMatch() ? match.captured(1).toStdString() : std::string("UNKNOWN");
    details.debugInfo = readable.toStdString();
    return details;
}

class FileSessionTracker::Impl {
public:
    Impl(const QString &folder, CrashHandler crashHandler);
    ~Impl();

    QString recordPath(const std::string &id) const
    {
        return folder.filePath(QString::fromStdString(id) + QStringLiteral(".session"));
    }
    QString crashPath(const std::string &id) const
    {
        return folder.filePath(QString::fromStdString(id) + QStringLiteral(".crash"));
    }
    void start();
    void readEarlierRuns();
    bool writeRecord(State state, QString &error) const;
    // Takes an earlier run's record for reporting. False when another instance already took it.
    bool claim(const EarlierRun &run) const;

    const QDir folder;
    const std::string id;
    const qint64 started;
    FileDescriptor crashFile;
    bool recorded = false;
    std::vector<EarlierRun> failed;
    std::vector<EarlierRun> restarted;
};

FileSessionTracker::Impl::Impl(const QString &folderPath, CrashHandler crashHandler)
    : folder(QDir(folderPath).absolutePath())
    , id(QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString())
    , started(QDateTime::currentMSecsSinceEpoch())
{
    // Sessions serve the usage statistics only: a folder that cannot hold them costs this run
    // its record (a failure of it goes unreported), never the editor.
    try {
        start();
        recorded = true;
    } catch (const std::exception &e) {
        LOG(WARNING) << "this run is not recorded, so a failure of it will not be reported: "
                     << e.what();
    }

    if (crashHandler == CrashHandler::Install) {
        g_crashBytes = 0;
        g_crashFd = crashFile.get();
        // SIGTERM asks the program to end; it is no failure, and whoever handled it before
        // (the application, or the default) keeps it.
        struct sigaction terminate = {};
        ::sigaction(SIGTERM, nullptr, &terminate);
        google::InstallFailureSignalHandler();
        ::sigaction(SIGTERM, &terminate, nullptr);
        google::InstallFailureWriter(&writeFailure);
    }
}

void FileSessionTracker::Impl::start()
{
    if (!QDir().mkpath(folder.path()))
        throw std::runtime_error("cannot create the sessions folder "
                                 + folder.path().toStdString());
    readEarlierRuns();

    const QString crash = crashPath(id);
    crashFile
        = FileDescriptor(::open(QFile::encodeName(crash).constData(),
                                O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (crashFile.get() < 0) {
        throw std::runtime_error("cannot create the session file " + crash.toStdString() + ": "
                                 + std::strerror(errno));
    }
    ::flock(crashFile.get(), LOCK_EX | LOCK_NB);

    QString error;
    if (!writeRecord(State::Running, error)) {
        crashFile = FileDescriptor();
        QFile::remove(crash);
        throw std::runtime_error("cannot write the session record " + recordPath(id).toStdString()
                                 + ": " + error.toStdString());
    }
}

FileSessionTracker::Impl::~Impl()
{
    // A crash after this point has no session to belong to.
    int mine = crashFile.get();
    g_crashFd.compare_exchange_strong(mine, -1);
}

void FileSessionTracker::Impl::readEarlierRuns()
{
    const QFileInfoList records = folder.entryInfoList({ QStringLiteral("*.session") },
                                                       QDir::Files | QDir::System, QDir::Name);
    for (const QFileInfo &info : records) {
        const QString runId = info.completeBaseName();
        std::string problem;
        const std::optional<EarlierRun> run = readRecord(info.filePath(), runId, problem);
        if (!run) {
            LOG(WARNING) << "skipping the unreadable session record "
                         << info.filePath().toStdString() << ": " << problem;
            // Read once, warned once: it can only be the same next time.
            QFile::remove(info.filePath());
            QFile::remove(crashPath(runId.toStdString()));
            continue;
        }
        switch (run->state) {
        case State::Clean:
            QFile::remove(info.filePath());
            QFile::remove(crashPath(run->id));
            break;
        case State::Restarting:
            restarted.push_back(*run);
            break;
        case State::Running:
            if (heldByLiveRun(crashPath(run->id)))
                break; // another editor, still running
            failed.push_back(*run);
            failed.back().details = readFailureDetails(crashPath(run->id));
            break;
        }
    }
    const auto byStart
        = [](const EarlierRun &a, const EarlierRun &b) { return a.started < b.started; };
    std::stable_sort(failed.begin(), failed.end(), byStart);
    std::stable_sort(restarted.begin(), restarted.end(), byStart);
}

bool FileSessionTracker::Impl::writeRecord(State state, QString &error) const
{
    QJsonObject record;
    record.insert(QStringLiteral("id"), QString::fromStdString(id));
    record.insert(QStringLiteral("state"), QLatin1String(stateName(state)));
    record.insert(QStringLiteral("started"), static_cast<double>(started));
    record.insert(QStringLiteral("pid"), static_cast<double>(QCoreApplication::applicationPid()));
    try {
        FS::writeFileAtomically(recordPath(id),
                                QJsonDocument(record).toJson(QJsonDocument::Compact));
    } catch (const FS::Error &e) {
        error = QString::fromUtf8(e.what());
        return false;
    }
    return true;
}

bool FileSessionTracker::Impl::claim(const EarlierRun &run) const
{
    const QString record = recordPath(run.id);
    if (!QFile::remove(record)) {
        if (!QFileInfo::exists(record))
            return false;
        LOG(WARNING) << "cannot remove the session record " << record.toStdString()
                     << "; the next start reports it again";
    }
    QFile::remove(crashPath(run.id));
    return true;
}

FileSessionTracker::FileSessionTracker()
    : FileSessionTracker(Settings::sessionsPath(), CrashHandler::Install)
{
}

FileSessionTracker::FileSessionTracker(const QString &folder, CrashHandler crashHandler)
    : d(std::make_unique<Impl>(folder, crashHandler))
{
}

FileSessionTracker::~FileSessionTracker() = default;

std::string FileSessionTracker::sessionId() const
{
    return d->id;
}

std::vector<FailedSession> FileSessionTracker::failedSessions()
{
    std::vector<FailedSession> result;
    for (const EarlierRun &run : std::exchange(d->failed, {})) {
        if (d->claim(run))
            result.push_back(FailedSession { run.id, run.details });
    }
    return result;
}

std::vector<std::string> FileSessionTracker::restartedSessions()
{
    std::vector<std::string> result;
    for (const EarlierRun &run : std::exchange(d->restarted, {})) {
        if (d->claim(run))
            result.push_back(run.id);
    }
    return result;
}

void FileSessionTracker::markRestarting()
{
    if (!d->recorded)
        return;
    QString error;
    if (!d->writeRecord(State::Restarting, error)) {
        LOG(WARNING) << "cannot mark session " << d->id << " as restarting: " << error.toStdString()
                     << "; the next start reports it as failed";
    }
}

void FileSessionTracker::endSession()
{
    if (!d->recorded)
        return;
    QString error;
    if (!d->writeRecord(State::Clean, error)) {
        LOG(WARNING) << "cannot mark session " << d->id << " as ended: " << error.toStdString()
                     << "; the next start reports it as failed";
    }
}

} // namespace Vantel::Tracking
