#include "collection/payloads.h"

const QString Import::Object::MIME = QStringLiteral("application/x-editor-store-item");

Effect::ShaderISF::ShaderISF(QString uniqueId)
    : m_uniqueId(std::move(uniqueId))
{
}

Transition::ShaderISF::ShaderISF(const QString &uniqueId)
    : Object(Id::ShaderISF)
{
    addResource(Resource { ResourceType::Shader, nullptr, uniqueId });
}

namespace EditorCollection {

QString Payload::filePath() const
{
    if (import)
        return import->filePath;
    if (effect)
        return effect->shaderPath;
    if (transition)
        return transition->shaderPath;
    return {};
}

QString Payload::tag() const
{
    if (import)
        return import->tag;
    if (effect)
        return effect->tag;
    if (transition)
        return transition->tag;
    return {};
}

} // namespace EditorCollection
