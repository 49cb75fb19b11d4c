#pragma once

#include "Messages/domains.h"

#include "pubsub/message.h"
#include "timeline/audioeffects.h"
#include "timeline/videoeffects.h"

#include <cstdint>

// The effect panels publish one of these when the user applies an effect to the selected clips.
// The record carries a copy of the effect as applied, so a report can compare it with the
// defaults after the panel has moved on.
namespace Effect {

template<class E>
class APPLOGIC_EXPORT AppliedNotification : public Message::Types::Notification<Effect::Object> {
public:
    AppliedNotification(E effect, std::uint64_t clipsCount)
        : ::Message::Types::Notification<Effect::Object>(Statistics::globalObject())
        , effect(std::move(effect))
        , clipsCount(clipsCount)
    {
    }
    E effect;
    std::uint64_t clipsCount; // clips in the selection the effect went to
};

} // namespace Effect
