// The main of the suites that draw on a real X server: a private Xvfb on a display number the
// server picks itself (parallel suites never collide), reached only through its local socket, and
// stopped when the suite ends (or, should the suite die, when its last client goes). Without one
// the suite still runs, offscreen, and its tests say why they skip.

#include "virtualdisplay.h"

#include <QApplication>
#include <QStandardPaths>

#include <glog/logging.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

QString missing = QStringLiteral("no X server was asked for");

class Xvfb {
public:
    // Starts the server; its display number (":N"), or empty with `missing` saying why.
    QString start()
    {
        const QString program = QStandardPaths::findExecutable(QStringLiteral("Xvfb"));
        if (program.isEmpty()) {
            missing = QStringLiteral("Xvfb is not installed (scripts/install-deps.sh installs the "
                                     "xvfb package)");
            return {};
        }
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC) != 0) {
            missing
                = QStringLiteral("no pipe for Xvfb: ") + QString::fromLocal8Bit(strerror(errno));
            return {};
        }
        // The server writes the number it took to its standard output once it accepts clients.
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        const QByteArray path = program.toLocal8Bit();
        const char *argv[] = { path.constData(), "-displayfd", "1",   "-screen",    "0",
                               "1024x768x24",    "-nolisten",  "tcp", "-terminate", nullptr };
        const int spawned = posix_spawn(&m_pid, path.constData(), &actions, nullptr,
                                        const_cast<char **>(argv), environ);
        posix_spawn_file_actions_destroy(&actions);
        ::close(pipe[1]);
        QByteArray number;
        if (spawned == 0)
            number = readLine(pipe[0]);
        ::close(pipe[0]);
        if (spawned != 0 || number.isEmpty()) {
            missing = QStringLiteral("Xvfb did not start");
            stop();
            return {};
        }
        missing.clear();
        return QStringLiteral(":") + QString::fromLatin1(number);
    }

    void stop()
    {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGTERM);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }

    ~Xvfb() { stop(); }

private:
    // The limit only keeps a broken server from hanging the suite; a good one answers at once.
    static QByteArray readLine(int fd)
    {
        QByteArray line;
        char c = 0;
        pollfd ready { fd, POLLIN, 0 };
        while (::poll(&ready, 1, 30000) > 0 && ::read(fd, &c, 1) == 1) {
            if (c == '\n')
                return line;
            line += c;
        }
        return {};
    }

    pid_t m_pid = -1;
};

bool listingOnly(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--gtest_list_tests") == 0)
            return true;
    }
    return false;
}

} // namespace

namespace TestSupport {
QString virtualDisplayMissing()
{
    return missing;
}
} // namespace TestSupport

int main(int argc, char **argv)
{
    Xvfb server;
    const QString display = listingOnly(argc, argv) ? QString() : server.start();
    if (display.isEmpty()) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    } else {
        qputenv("DISPLAY", display.toLatin1());
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
    QStandardPaths::setTestModeEnabled(true);
    int status = 0;
    {
        QApplication app(argc, argv);
        FLAGS_logtostderr = true;
        FLAGS_minloglevel = google::GLOG_ERROR;
        google::InitGoogleLogging(argv[0]);
        ::testing::InitGoogleTest(&argc, argv);
        status = RUN_ALL_TESTS();
    }
    // The application lets go of the display before the server goes.
    server.stop();
    return status;
}
