#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"

#include <cstdint>

namespace Stabilization {

class APPLOGIC_EXPORT ClipStabilizeRequest : public Message::Types::Request<Stabilization::Object> {
public:
    ClipStabilizeRequest(std::uint64_t clip, bool enable)
        : Request(globalObject())
        , clip(clip)
        , enable(enable)
    {
    }
    std::uint64_t clip;
    bool enable;
};

// The stabilizer is about to analyse a file with these settings.
class APPLOGIC_EXPORT FileStabilizeRequest : public Message::Types::Request<Stabilization::Object> {
public:
    enum class Zoom : int { Disabled, Static, Adaptive };

    FileStabilizeRequest(int accuracy, int shakiness, int stepSize, int smoothing, Zoom optimalZoom)
        : Request(globalObject())
        , accuracy(accuracy)
        , shakiness(shakiness)
        , stepSize(stepSize)
        , smoothing(smoothing)
        , optimalZoom(optimalZoom)
    {
    }
    int accuracy;
    int shakiness;
    int stepSize;
    int smoothing;
    Zoom optimalZoom;
};

} // namespace Stabilization
