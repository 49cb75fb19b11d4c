#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>

namespace TestSupport {

// Runs the event loop until `done` holds. The limit only keeps a broken build from hanging the
// suite; a passing test never comes near it.
template<class Predicate> bool waitUntil(Predicate done, int limitMs = 60000)
{
    QDeadlineTimer limit(limitMs);
    while (!done()) {
        if (limit.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    }
    return true;
}

} // namespace TestSupport
