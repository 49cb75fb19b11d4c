#pragma once

#include "pubsub_export.h"

// The identity of a publishing domain. Each domain owns exactly one, reached through its
// globalObject(); messages carry it as their sender and subscribers may listen to it alone.
namespace PubSub {

class PUBSUB_EXPORT Object {
public:
    Object() = default;
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
    virtual ~Object() = default;
};

} // namespace PubSub
