#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <QString>

namespace Command {

// A content package (effects, titles, transitions) for the package installer, which unpacks it
// into the resources.
class APPLOGIC_EXPORT InstallPackageRequest : public Message::Types::Request<Command::Object> {
public:
    explicit InstallPackageRequest(QString path)
        : Request(globalObject())
        , path(std::move(path))
    {
    }
    QString path;
};

} // namespace Command
