#pragma once

#include "Messages/domains.h"

#include "collection/payloads.h"
#include "pubsub/message.h"

#include <QString>

#include <memory>

// What the content collection tells the rest of the editor about the items it holds: an item was
// registered (it can be shown, installed and used) or unregistered. Sent by
// EditorCollection::globalObject(), on the thread that loaded the list.
namespace EditorCollection {

class Object;
APPLOGIC_EXPORT const PubSub::Object *globalObject();

// The kinds of content the store offers, as the export census names them.
enum class ItemKind : int {
    Title = 0,
    Callout,
    Sticker,
    Intro,
    Background,
    Video,
    Music,
    Sound,
    Frame,
    Transition,
    Effect,
    OverlayEffect,
    Lut,
    SpecialFx,
};
inline constexpr int itemKindCount = static_cast<int>(ItemKind::SpecialFx) + 1;

struct Item {
    // The identifier clips and transitions made from the item carry as their resource id.
    QString key;
    QString name;
    ItemKind kind = ItemKind::Video;
    QString contentDescription;
    // Content that ships with the editor is listed like store items but is not store content.
    bool builtIn = false;
    std::shared_ptr<const Import::Object> importObject;
};

class APPLOGIC_EXPORT RegisterItemNotification
    : public Message::Types::Notification<EditorCollection::Object> {
public:
    explicit RegisterItemNotification(Item item)
        : Notification(globalObject())
        , item(std::move(item))
    {
    }
    Item item;
};

class APPLOGIC_EXPORT UnregisterItemNotification
    : public Message::Types::Notification<EditorCollection::Object> {
public:
    explicit UnregisterItemNotification(Item item)
        : Notification(globalObject())
        , item(std::move(item))
    {
    }
    Item item;
};

} // namespace EditorCollection
