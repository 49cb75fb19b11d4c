#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <cstdint>

namespace Stabilization {

class APPLOGIC_EXPORT ClipStabilizeRequest : public Message::Types::Request<Stabilization::Object>
{
public:
    ClipStabilizeRequest(std::uint64_t clip, bool enable)
        : Request(globalObject())
        , clip(clip)
        , enable(enable)
    {}
    std::uint64_t clip;
    bool enable;
};

} // namespace Stabilization
