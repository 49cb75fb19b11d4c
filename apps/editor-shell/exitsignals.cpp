#include "exitsignals.h"

#include <glog/logging.h>

#include <QCoreApplication>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace Shell {

namespace {

// Long enough for a command to notice and return, short enough for a user who pressed Ctrl+C.
constexpr std::chrono::seconds Grace { 2 };

std::atomic<int> g_signal { 0 };
int g_pipe[2] = { -1, -1 };
struct sigaction g_previous[2];
constexpr int Signals[2] = { SIGINT, SIGTERM };

using Taker = std::function<void()>;
std::mutex g_takersMutex;
std::vector<std::weak_ptr<Taker>> g_takers; // latest last

// Only what is allowed in a signal handler: a write. The watcher decides what the signal means.
void onSignal(int signal)
{
    const int saved = errno;
    const unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] const ssize_t n = ::write(g_pipe[1], &byte, 1);
    errno = saved;
}

// Hands the signal to the latest living taker, on the main thread; false when nobody took it.
bool passToTaker()
{
    std::lock_guard<std::mutex> lock(g_takersMutex);
    while (!g_takers.empty()) {
        std::weak_ptr<Taker> taker = g_takers.back();
        if (taker.expired()) {
            g_takers.pop_back();
            continue;
        }
        QCoreApplication *app = QCoreApplication::instance();
        if (!app)
            return false;
        // Given up between the signal and the call, the token's handler is not called.
        QMetaObject::invokeMethod(
            app,
            [taker] {
                if (const auto handler = taker.lock())
                    (*handler)();
            },
            Qt::QueuedConnection);
        return true;
    }
    return false;
}

} // namespace

std::shared_ptr<void> ExitSignals::take(std::function<void()> onInterrupt)
{
    auto handler = std::make_shared<Taker>(std::move(onInterrupt));
    std::lock_guard<std::mutex> lock(g_takersMutex);
    g_takers.push_back(handler);
    return handler;
}

ExitSignals::ExitSignals()
{
    if (::pipe2(g_pipe, O_CLOEXEC) != 0) {
        PLOG(WARNING) << "Ctrl+C and SIGTERM keep their default action";
        return;
    }
    m_watcher = std::thread(&ExitSignals::watch, this);
    struct sigaction action = {};
    action.sa_handler = &onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int i = 0; i < 2; ++i)
        ::sigaction(Signals[i], &action, &g_previous[i]);
}

ExitSignals::~ExitSignals()
{
    if (!m_watcher.joinable())
        return;
    for (int i = 0; i < 2; ++i)
        ::sigaction(Signals[i], &g_previous[i], nullptr);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_stopped.notify_all();
    const unsigned char stop = 0;
    [[maybe_unused]] const ssize_t n = ::write(g_pipe[1], &stop, 1);
    m_watcher.join();
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
    g_pipe[0] = g_pipe[1] = -1;
}

void ExitSignals::setCleanUp(std::function<void()> cleanUp)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cleanUp = std::move(cleanUp);
}

bool ExitSignals::exitRequested()
{
    return g_signal.load() != 0;
}

int ExitSignals::receivedSignal()
{
    return g_signal.load();
}

void ExitSignals::watch()
{
    unsigned char byte = 0;
    for (;;) {
        const ssize_t n = ::read(g_pipe[0], &byte, 1);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0 || byte == 0)
            return;
        if (!passToTaker())
            break;
    }
    g_signal.store(byte);
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_stopped.wait_for(lock, Grace, [this] { return m_stopping; }))
        return;
    // The main thread is busy with something that does not look at the request. The lock stays
    // held: whoever wants to change the clean-up now waits for the exit.
    LOG(WARNING) << "ending on signal " << int(byte) << " without waiting for the command";
    if (m_cleanUp)
        m_cleanUp();
    google::FlushLogFiles(google::GLOG_INFO);
    std::_Exit(128 + byte);
}

} // namespace Shell
