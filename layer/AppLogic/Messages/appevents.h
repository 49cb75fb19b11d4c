#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <cstdint>

namespace AppEvents {

class APPLOGIC_EXPORT AppEventNotification
    : public Message::Types::Notification<AppEvents::Object> {
public:
    explicit AppEventNotification(std::uint32_t event)
        : Notification(globalObject())
        , event(event)
    {
    }
    std::uint32_t event;
};

} // namespace AppEvents
