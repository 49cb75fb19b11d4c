#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "util/mtime.h"

#include <QSize>
#include <QString>

#include <cstdint>

namespace Project {
class Object;
}

// What happened to the project as a whole. Published by whoever opened, saved or reshaped it,
// after the fact; the project pointer is valid for the delivery only and null when there is no
// project to describe (a failed open).
namespace Statistics {

class APPLOGIC_EXPORT ProjectOpenedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    ProjectOpenedNotification()
        : Notification(globalObject())
    {
    }
    const Project::Object *project = nullptr;
    bool success = false;
    int lostFiles = 0; // media of the project that were not found
    QString errorReason; // why it failed; empty on success
    bool portable = false;
    std::int64_t projectId = 0;
    MTime readDuration;
};

class APPLOGIC_EXPORT ProjectSavedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    ProjectSavedNotification()
        : Notification(globalObject())
    {
    }
    const Project::Object *project = nullptr;
    bool success = false;
    MTime saveDuration;
};

class APPLOGIC_EXPORT PortableProjectSavedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit PortableProjectSavedNotification(std::int64_t projectId)
        : Notification(globalObject())
        , projectId(projectId)
    {
    }
    std::int64_t projectId;
};

// The editor offered to adapt the project's frame shape to the first clip; `accepted` says
// whether the user took it.
class APPLOGIC_EXPORT AdjustProjectAspectSuggestedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    AdjustProjectAspectSuggestedNotification(bool accepted, int ratioWidth, int ratioHeight)
        : Notification(globalObject())
        , accepted(accepted)
        , ratioWidth(ratioWidth)
        , ratioHeight(ratioHeight)
    {
    }
    bool accepted;
    int ratioWidth; // 16 of 16:9
    int ratioHeight; // 9 of 16:9
};

class APPLOGIC_EXPORT AspectRatioChanged : public Message::Types::Notification<Statistics::Object> {
public:
    explicit AspectRatioChanged(QSize frameSize)
        : Notification(globalObject())
        , frameSize(frameSize)
    {
    }
    QSize frameSize;
};

} // namespace Statistics
