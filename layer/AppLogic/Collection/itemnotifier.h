#pragma once

#include "applogicexport.h"

#include <memory>

// Tells the bus about every item that enters or leaves any collection of the item storage
// (RegisterItemNotification / UnregisterItemNotification), so the layer's subscribers (the export
// census's store-item registry) know the store content without knowing the collection library.
// The application makes one before the collection controllers and destroys it after them.
// Main thread.
namespace EditorCollection {

class APPLOGIC_EXPORT ItemNotifier {
public:
    ItemNotifier();
    ~ItemNotifier();
    ItemNotifier(const ItemNotifier &) = delete;
    ItemNotifier &operator=(const ItemNotifier &) = delete;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

} // namespace EditorCollection
