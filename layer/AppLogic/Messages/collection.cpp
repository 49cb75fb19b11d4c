#include "Messages/collection.h"

namespace {
class CollectionIdentity final : public PubSub::Object { };
} // namespace

const QString Import::Object::MIME = QStringLiteral("application/x-editor-store-item");

const PubSub::Object *EditorCollection::globalObject()
{
    static const CollectionIdentity object;
    return &object;
}
