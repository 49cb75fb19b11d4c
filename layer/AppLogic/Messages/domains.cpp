#include "Messages/domains.h"

namespace {
// One identity per domain; a distinct type each so a debugger names the sender.
template<int Tag> class DomainIdentity final : public PubSub::Object {
};

template<int Tag> const PubSub::Object *identity()
{
    static const DomainIdentity<Tag> object;
    return &object;
}
} // namespace

const PubSub::Object *AppEvents::globalObject()
{
    return identity<0>();
}
const PubSub::Object *Command::globalObject()
{
    return identity<1>();
}
const PubSub::Object *FileAdder::globalObject()
{
    return identity<2>();
}
const PubSub::Object *Stabilization::globalObject()
{
    return identity<3>();
}
const PubSub::Object *Statistics::globalObject()
{
    return identity<4>();
}
