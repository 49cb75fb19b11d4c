#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <QString>

// Requests the editor's command layer handles, and the file-storage announcement.
namespace Command {

class APPLOGIC_EXPORT OpenProject : public Message::Types::Request<Command::Object> {
public:
    explicit OpenProject(QString path)
        : Request(globalObject())
        , path(std::move(path))
    {
    }
    QString path;
};

class APPLOGIC_EXPORT FileStorageAvailableNotification
    : public Message::Types::Notification<Command::Object> {
public:
    explicit FileStorageAvailableNotification(bool available)
        : Notification(globalObject())
        , available(available)
    {
    }
    bool available;
};

// Asks whether the file storage service is there; answered by FileStorageAvailableNotification.
class APPLOGIC_EXPORT FileStorageAvailableRequest
    : public Message::Types::Request<Command::Object> {
public:
    FileStorageAvailableRequest()
        : Request(globalObject())
    {
    }
};

// A video or audio file the editor produced (an export, a recording) that storage should know.
class APPLOGIC_EXPORT VideoAddRequest : public Message::Types::Request<Command::Object> {
public:
    explicit VideoAddRequest(QString path)
        : Request(globalObject())
        , path(std::move(path))
    {
    }
    QString path;
};

class APPLOGIC_EXPORT AudioAddRequest : public Message::Types::Request<Command::Object> {
public:
    explicit AudioAddRequest(QString path)
        : Request(globalObject())
        , path(std::move(path))
    {
    }
    QString path;
};

} // namespace Command
