#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <QString>

// Sharing a finished video on a video service. Published by the upload dialog.
namespace Statistics {

enum class SharingService : int { YouTube, Vimeo, GoogleDrive, TikTok };

class APPLOGIC_EXPORT VideoUploadStartedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit VideoUploadStartedNotification(SharingService service)
        : Notification(globalObject())
        , service(service)
    {
    }
    SharingService service;
};

class APPLOGIC_EXPORT VideoUploadFinishedNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    explicit VideoUploadFinishedNotification(SharingService service)
        : Notification(globalObject())
        , service(service)
    {
    }
    SharingService service;
};

class APPLOGIC_EXPORT VideoUploadFailureNotification
    : public Message::Types::Notification<Statistics::Object> {
public:
    VideoUploadFailureNotification(SharingService service, QString error)
        : Notification(globalObject())
        , service(service)
        , error(std::move(error))
    {
    }
    SharingService service;
    QString error;
};

// The service answered with the address of the uploaded video.
class APPLOGIC_EXPORT UploadedVideoUrlReceived
    : public Message::Types::Notification<Statistics::Object> {
public:
    UploadedVideoUrlReceived(QString platform, QString videoId)
        : Notification(globalObject())
        , platform(std::move(platform))
        , videoId(std::move(videoId))
    {
    }
    QString platform;
    QString videoId;
};

} // namespace Statistics
