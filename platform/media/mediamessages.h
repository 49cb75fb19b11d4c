#pragma once

#include "media_export.h"

#include "mediamodel/mediafile.h"

#include "pubsub/message.h"

// What the media model reports about its files. Sent by Media::globalObject() on the main thread,
// after the file's record has been filled in.
namespace Media {

MEDIA_EXPORT const PubSub::Object *globalObject();

// The file was analysed and can be used; its record now holds tracks and properties.
class MEDIA_EXPORT FileOpenedNotification : public Message::Types::Notification<Media::File> {
public:
    explicit FileOpenedNotification(FilePtr file)
        : Notification(globalObject())
        , file(std::move(file))
    {
    }
    FilePtr file;
};

// The file cannot be used; `file->error` says why.
class MEDIA_EXPORT FileOpenFailedNotification : public Message::Types::Notification<Media::File> {
public:
    explicit FileOpenFailedNotification(FilePtr file)
        : Notification(globalObject())
        , file(std::move(file))
    {
    }
    FilePtr file;
};

} // namespace Media
