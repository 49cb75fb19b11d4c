#include "FileAnalyzer/model.h"

#include "FileAnalyzer/view.h"

#include <algorithm>
#include <atomic>

namespace FileAnalyzer {

namespace {
class AnalysisIdentity final : public PubSub::Object { };

std::atomic<std::uint64_t> nextId { 1 };
} // namespace

const PubSub::Object *globalObject()
{
    static const AnalysisIdentity identity;
    return &identity;
}

Object::Object()
    : m_id(nextId.fetch_add(1))
{
}

void requestAdd(ObjectPtr object)
{
    PubSub::publish(AddRequest(globalObject(), std::move(object)));
}

void requestChange(ObjectPtr copy)
{
    PubSub::publish(ChangeRequest(globalObject(), std::move(copy)));
}

void requestRemove(ObjectPtr object)
{
    PubSub::publish(RemoveRequest(globalObject(), std::move(object)));
}

View::View(Model &model)
    : m_model(model)
{
    m_model.attach(this);
}

View::~View()
{
    m_model.detach(this);
}

void View::fileAnalyzerAddRequested(Object *) { }
void View::fileAnalyzerChangeRequested(Object *, Object *) { }
void View::fileAnalyzerRemoveRequested(Object *) { }
void View::statusChanged(const Object *, Object::Status) { }

Model::Model()
{
    subscribeAllTypes();
}

Model::~Model() = default;

void Model::attach(View *view)
{
    m_views.push_back(view);
}

void Model::detach(View *view)
{
    m_views.erase(std::remove(m_views.begin(), m_views.end(), view), m_views.end());
}

template<class Call> void Model::forEachView(Call call)
{
    const std::vector<View *> views = m_views;
    for (View *view : views) {
        if (std::find(m_views.begin(), m_views.end(), view) != m_views.end())
            call(view);
    }
}

ObjectPtr Model::find(std::uint64_t id) const
{
    for (const ObjectPtr &o : m_objects) {
        if (o->id() == id)
            return o;
    }
    return nullptr;
}

ObjectPtr Model::find(const Object *object) const
{
    for (const ObjectPtr &o : m_objects) {
        if (o.get() == object)
            return o;
    }
    return nullptr;
}

void Model::notify(const AddRequest &m)
{
    if (!m.object || find(m.object->id()))
        return;
    const ObjectPtr object = m.object;
    m_objects.push_back(object);
    forEachView([&](View *v) { v->fileAnalyzerAddRequested(object.get()); });
    PubSub::publish(Added(globalObject(), object));
}

void Model::notify(const ChangeRequest &m)
{
    if (!m.object)
        return;
    const ObjectPtr object = find(m.object->id());
    if (!object)
        return;
    const ObjectPtr changed = m.object;
    forEachView([&](View *v) { v->fileAnalyzerChangeRequested(object.get(), changed.get()); });
    const Object::Status before = object->status();
    if (changed.get() != object.get())
        *object = *changed;
    if (object->status() != before) {
        const Object::Status status = object->status();
        forEachView([&](View *v) { v->statusChanged(object.get(), status); });
    }
    PubSub::publish(Changed(globalObject(), object));
}

void Model::notify(const RemoveRequest &m)
{
    if (!m.object)
        return;
    const ObjectPtr object = find(m.object->id());
    if (!object)
        return;
    forEachView([&](View *v) { v->fileAnalyzerRemoveRequested(object.get()); });
    m_objects.erase(std::remove(m_objects.begin(), m_objects.end(), object), m_objects.end());
    // The last reference may be this one: the object dies when the announcement is over.
    PubSub::publish(Removed(globalObject(), object));
}

} // namespace FileAnalyzer
