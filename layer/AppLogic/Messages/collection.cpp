#include "Messages/collection.h"

namespace {
class CollectionIdentity final : public PubSub::Object { };
} // namespace

const PubSub::Object *EditorCollection::globalObject()
{
    static const CollectionIdentity object;
    return &object;
}
