#pragma once

#include "applogicexport.h"

#include "pubsub/object.h"

// The publishing identities of the layer's domains. Each is one object for the life of the
// process; records carry it as their sender.
namespace AppEvents {
class Object;
APPLOGIC_EXPORT const PubSub::Object *globalObject();
} // namespace AppEvents

namespace Command {
class Object;
APPLOGIC_EXPORT const PubSub::Object *globalObject();
} // namespace Command

namespace FileAdder {
APPLOGIC_EXPORT const PubSub::Object *globalObject();
} // namespace FileAdder

namespace Stabilization {
class Object;
APPLOGIC_EXPORT const PubSub::Object *globalObject();
} // namespace Stabilization

namespace Statistics {
class Object;
APPLOGIC_EXPORT const PubSub::Object *globalObject();
} // namespace Statistics
