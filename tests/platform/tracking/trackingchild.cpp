// A second process for the tracking suites: things a test cannot do to itself (crash, be killed
// outright, stay alive beside it). Reports progress on stdout, one line per step, so the test
// waits on lines and never on time.
#include "tracking/eventstore.h"
#include "tracking/filesessiontracker.h"
#include "tracking/uploader.h"

#include <QCoreApplication>

#include <QDateTime>
#include <QString>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>

using namespace Vantel::Tracking;

namespace {

void say(const std::string &line)
{
    std::cout << line << std::endl;
}

TrackedEvent numbered(long long i)
{
    TrackedEvent event;
    event.name = "CHILD_EVENT";
    event.params = { { "I", std::to_string(i) }, { "TEXT", std::string(64, 'x') } };
    event.timeMs = QDateTime::currentMSecsSinceEpoch();
    event.session = "child";
    return event;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 3) {
        std::cerr << "usage: trackingchild crash|hold SESSIONS_FOLDER | store|race DATABASE COUNT"
                     " | upload DATABASE COLLECTOR\n";
        return 2;
    }
    const std::string mode = argv[1];
    const QString path = QString::fromLocal8Bit(argv[2]);

    if (mode == "crash") {
        FileSessionTracker tracker(path, FileSessionTracker::CrashHandler::Install);
        say(tracker.sessionId());
        std::raise(SIGSEGV);
        return 0;
    }
    if (mode == "hold") {
        FileSessionTracker tracker(path);
        say(tracker.sessionId());
        // Alive until the test closes our input.
        std::string line;
        std::getline(std::cin, line);
        tracker.endSession();
        return 0;
    }
    if (mode == "race" && argc >= 4) {
        // Opens the store the moment the test says go, with the other children.
        say("ready");
        std::string line;
        std::getline(std::cin, line);
        EventStore store(path);
        if (!store.isAvailable()) {
            std::cerr << store.problem() << std::endl;
            return 1;
        }
        const long long count = std::stoll(argv[3]);
        for (long long i = 0; i < count; ++i)
            store.consume(numbered(i));
        return 0;
    }
    if (mode == "upload" && argc >= 4) {
        // Sends the store's events in batches of 100 until killed.
        QCoreApplication application(argc, argv);
        UploaderOptions options;
        options.maxBatchEvents = 100;
        Uploader uploader(std::make_shared<EventStore>(path), options);
        uploader.setCollector(QString::fromLocal8Bit(argv[3]));
        say("uploading");
        std::string line;
        std::getline(std::cin, line);
        return 0;
    }
    if (mode == "store" && argc >= 4) {
        const long long count = std::stoll(argv[3]);
        EventStore store(path);
        long long i = 0;
        for (; i < count; ++i)
            store.consume(numbered(i));
        store.flush();
        say("flushed " + std::to_string(count));
        // Busy until killed, so the kill lands on a writer with work in hand.
        for (;; ++i)
            store.consume(numbered(i));
    }
    std::cerr << "unknown mode " << mode << "\n";
    return 2;
}
