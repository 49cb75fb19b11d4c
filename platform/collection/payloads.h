#pragma once

#include "collection_export.h"

#include "timeline/transition.h"

#include <QString>

#include <memory>

// What an item of the collection becomes when the user applies it: a file to import, a shader
// effect for a clip, or a shader transition. Each carries the file it needs once installed.

namespace Import {

// How an item becomes part of a project: the collection hands this object to the import when the
// user applies the item. Store items carry MIME; files carry their own types.
struct COLLECTION_EXPORT Object {
    static const QString MIME;
    // What the import makes of it. A pack only groups other items and is never used itself.
    enum Kind : int { Media = 0, Effect = 1, Title = 2, Transition = 3, Sticker = 4, Pack = 5 };

    QString mimeType;
    int kind = Media;
    // For media: how the timeline files the audio (1 music, 0 sound, 7 anything else).
    int mediaKind = 7;
    QString tag;
    QString description;
    QString filePath;
};

} // namespace Import

namespace Effect {

// A shader effect described by an ISF file (JSON with the shader beside it). It lives in the
// collection until applied; the timeline's effect kinds do not include it.
class COLLECTION_EXPORT ShaderISF {
public:
    explicit ShaderISF(QString uniqueId);

    const QString &uniqueId() const noexcept { return m_uniqueId; }
    QString tag;
    QString description;
    QString shaderPath;

private:
    QString m_uniqueId;
};

} // namespace Effect

namespace Transition {

// A transition drawn by an ISF shader; its one resource names the shader by the item's identifier.
class COLLECTION_EXPORT ShaderISF : public Object {
public:
    explicit ShaderISF(const QString &uniqueId);

    QString tag;
    QString description;
    QString shaderPath;
};

} // namespace Transition

namespace EditorCollection {

// At most one of the three is set; an item without any is never created from a list.
struct COLLECTION_EXPORT Payload {
    std::shared_ptr<Import::Object> import;
    std::shared_ptr<Effect::ShaderISF> effect;
    std::shared_ptr<Transition::ShaderISF> transition;

    bool isNull() const noexcept { return !import && !effect && !transition; }
    // Where the payload's file is (or will be, once installed).
    QString filePath() const;
    QString tag() const;
};

} // namespace EditorCollection
