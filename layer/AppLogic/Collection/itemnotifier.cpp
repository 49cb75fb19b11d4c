#include "Collection/itemnotifier.h"

#include "Constants/resourcecategories.h"
#include "Messages/collection.h"

#include "collection/collection.h"
#include "pubsub/subscriber.h"

#include <utility>

namespace EditorCollection {

namespace {

ItemKind kindOf(const QString &collection)
{
    namespace RC = ResourceCategories;
    static const std::pair<const QString *, ItemKind> kinds[] = {
        { &RC::Title, ItemKind::Title },
        { &RC::Callout, ItemKind::Callout },
        { &RC::Sticker, ItemKind::Sticker },
        { &RC::Intro, ItemKind::Intro },
        { &RC::Backgrounds, ItemKind::Background },
        { &RC::Videos, ItemKind::Video },
        { &RC::Music, ItemKind::Music },
        { &RC::Sounds, ItemKind::Sound },
        { &RC::Frames, ItemKind::Frame },
        { &RC::Transitions, ItemKind::Transition },
        { &RC::ShaderEffects, ItemKind::Effect },
        { &RC::Effects, ItemKind::Effect },
        { &RC::OverlayEffects, ItemKind::OverlayEffect },
        { &RC::Luts, ItemKind::Lut },
        { &RC::SpecialEffects, ItemKind::SpecialFx },
    };
    for (const auto &[name, kind] : kinds)
        if (*name == collection)
            return kind;
    return ItemKind::Video;
}

Item messageItem(const IItem &item)
{
    const Payload &payload = item.payload();
    Item out;
    out.key = item.uniqueId();
    out.name = payload.tag();
    if (out.name.isEmpty() && item.externalResourceInfo())
        out.name = item.externalResourceInfo()->tag;
    out.kind = kindOf(item.collectionId());
    // Content shipped with the editor has neither an address to fetch it from nor an attribution.
    out.builtIn = item.downloadAddress().isEmpty() && !item.externalResourceInfo();
    if (payload.import) {
        out.contentDescription = payload.import->description;
        out.importObject = payload.import;
    } else {
        auto import = std::make_shared<Import::Object>();
        import->mimeType = Import::Object::MIME;
        import->kind = payload.transition ? Import::Object::Transition : Import::Object::Effect;
        if (payload.effect)
            import->description = out.contentDescription = payload.effect->description;
        if (payload.transition)
            import->description = out.contentDescription = payload.transition->description;
        import->tag = out.name;
        import->filePath = payload.filePath();
        out.importObject = std::move(import);
    }
    return out;
}

} // namespace

struct ItemNotifier::Impl final : ICollectionObserver {
    void itemAdded(Collection &, const ItemPtr &item) override
    {
        PubSub::publish(RegisterItemNotification(messageItem(*item)));
    }
    void itemRemoved(Collection &, const ItemPtr &item) override
    {
        PubSub::publish(UnregisterItemNotification(messageItem(*item)));
    }
};

ItemNotifier::ItemNotifier()
    : d(std::make_unique<Impl>())
{
    CollectionProvider::itemStorage().registerObserver(d.get());
}

ItemNotifier::~ItemNotifier()
{
    CollectionProvider::itemStorage().unregisterObserver(d.get());
}

} // namespace EditorCollection
