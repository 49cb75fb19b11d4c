#include "util/scheduler.h"

#include <QCoreApplication>
#include <QEvent>

namespace Vantel::Util {

namespace {
const QEvent::Type scheduleEvent = static_cast<QEvent::Type>(QEvent::registerEventType());
}

SchedulerBase::SchedulerBase()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::CoarseTimer);
    m_timer.setInterval(0);
    connect(&m_timer, &QTimer::timeout, this, &SchedulerBase::fire);
}

SchedulerBase::~SchedulerBase() = default;

void SchedulerBase::schedule()
{
    // Only the first request of a pass posts; the rest find the request bit already set.
    if (m_state.fetch_or(RunRequested) & RunRequested)
        return;
    QCoreApplication::postEvent(this, new QEvent(scheduleEvent));
}

void SchedulerBase::cancel()
{
    m_state.fetch_and(~Armed);
    m_timer.stop();
}

void SchedulerBase::customEvent(QEvent *event)
{
    if (event->type() != scheduleEvent)
        return QObject::customEvent(event);
    if (!m_timer.isActive())
        m_timer.start();
}

void SchedulerBase::fire()
{
    m_timer.stop();
    const int state = m_state.fetch_and(~RunRequested);
    if (state & Armed)
        run();
}

} // namespace Vantel::Util
