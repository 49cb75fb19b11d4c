#pragma once

#include "Messages/domains.h"

#include "mediamodel/mediafile.h"
#include "pubsub/message.h"

#include <QString>

#include <deque>

namespace Project {
class Object;
class UserFilesStorage;
} // namespace Project

// Requests to the open project: take files into its collection, save it.
namespace Project {

// Analysed files for the project's collection. Sent without a domain identity (null sender).
class APPLOGIC_EXPORT FileAddRequest : public Message::Types::Request<Project::UserFilesStorage> {
public:
    FileAddRequest(std::deque<Media::FilePtr> files, bool flag)
        : Request(nullptr)
        , files(std::move(files))
        , flag(flag)
    {
    }
    std::deque<Media::FilePtr> files;
    // The files were brought to the collection on purpose (not as a by-product of a drop on
    // the timeline or a transition), so the collection shows them to the user.
    bool flag;
};

// The project is being saved to `path`, now or in the background.
class APPLOGIC_EXPORT SaveRequest : public Message::Types::Request<Project::Object> {
public:
    explicit SaveRequest(QString path, const PubSub::Object *sender = nullptr)
        : Request(sender)
        , path(std::move(path))
    {
    }
    QString path;
};

class APPLOGIC_EXPORT SaveAsyncRequest : public Message::Types::Request<Project::Object> {
public:
    explicit SaveAsyncRequest(QString path, const PubSub::Object *sender = nullptr)
        : Request(sender)
        , path(std::move(path))
    {
    }
    QString path;
};

} // namespace Project
