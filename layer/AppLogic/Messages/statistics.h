#pragma once

#include "Messages/domains.h"

#include "profiler/profiler.h"
#include "pubsub/message.h"

#include <QMap>
#include <QString>

// Notifications the statistics controller turns into usage events. All are sent by
// Statistics::globalObject().
namespace Statistics {

// An interaction without a notification type of its own. Fill `parameters` before publishing.
class APPLOGIC_EXPORT InteractionNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    InteractionNotification(QString event, QString value)
        : Notification(globalObject())
        , event(std::move(event))
        , value(std::move(value))
    {
    }
    QString event;
    QString value;
    QMap<QString, QString> parameters;
};

// Published once per run when start-up is complete.
class APPLOGIC_EXPORT AppLaunchedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit AppLaunchedNotification(Vantel::Profiler::Result result)
        : Notification(globalObject())
        , result(std::move(result))
    {
    }
    Vantel::Profiler::Result result;
};

// The operating system is shutting down the session.
class APPLOGIC_EXPORT OsShutdownNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    OsShutdownNotification()
        : Notification(globalObject())
    {
    }
};

} // namespace Statistics
