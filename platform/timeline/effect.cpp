#include "timeline/effect.h"
#include "timeline/idtexts.h"

#include <array>

namespace Effect {

namespace {
constexpr std::array<std::string_view, idCount> idTexts = {
    "AudioEqualizer",
    "ChromaKey",
    "Mask",
    "Crop",
    "ManualEnhance",
    "AudioReverb",
    "AudioCompressor",
    "AudioNoiseGate",
    "AudioMonoChannel",
    "BackgroundRemove",
    "Lut",
};
} // namespace

std::string_view idText(Id id) noexcept
{
    return Timeline::Detail::idText(idTexts, id);
}

bool idFromText(std::string_view text, Id *id) noexcept
{
    return Timeline::Detail::idFromText(idTexts, text, id);
}

Object::~Object() = default;

QString Object::name() const
{
    const std::string_view text = idText(id());
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

} // namespace Effect
