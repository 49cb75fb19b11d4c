#include "timeline/effect.h"

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
    const auto index = static_cast<int>(id);
    return index >= 0 && index < idCount ? idTexts[index] : std::string_view();
}

bool idFromText(std::string_view text, Id *id) noexcept
{
    for (int i = 0; i < idCount; ++i) {
        if (idTexts[i] == text) {
            *id = static_cast<Id>(i);
            return true;
        }
    }
    return false;
}

Object::~Object() = default;

QString Object::name() const
{
    const std::string_view text = idText(id());
    return QString::fromLatin1(text.data(), static_cast<int>(text.size()));
}

} // namespace Effect
