#include "timeline/transition.h"
#include "timeline/idtexts.h"

#include "mediamodel/mediafile.h"

#include <array>

namespace Transition {

namespace {
constexpr std::array<std::string_view, idCount> idTexts = {
    "Dissolve", "Fade", "Wipe", "Slide", "Zoom", "ShaderISF",
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

Object::Object(Id id, MTime duration)
    : m_id(id)
    , m_duration(duration)
{
}

Object::~Object() = default;

std::unique_ptr<Object> Object::copy() const
{
    auto copy = std::make_unique<Object>(m_id, m_duration);
    copy->m_resources = m_resources;
    return copy;
}

bool Object::hasAudioResources() const noexcept
{
    for (const Resource &resource : m_resources) {
        if (resource.type == ResourceType::Audio)
            return true;
        if (resource.type == ResourceType::Video && resource.file
            && !resource.file->audioTracks.empty())
            return true;
    }
    return false;
}

} // namespace Transition
