#pragma once

#include "FileAnalyzer/object.h"

// A watcher of the file analysis domain. Registered with the domain for its lifetime; told of
// every request to add, change or remove an object before the domain acts on it, and of every
// status the domain then gives an object. Main thread.
namespace FileAnalyzer {

class Model;

class APPLOGIC_EXPORT View {
public:
    View(const View &) = delete;
    View &operator=(const View &) = delete;

    virtual void fileAnalyzerAddRequested(Object *object);
    // `changed` is the copy carrying the new values; `object` still has the old ones.
    virtual void fileAnalyzerChangeRequested(Object *object, Object *changed);
    virtual void fileAnalyzerRemoveRequested(Object *object);
    virtual void statusChanged(const Object *object, Object::Status status);

protected:
    explicit View(Model &model);
    virtual ~View();

    // The domain this view watches.
    Model &model() const noexcept { return m_model; }

private:
    Model &m_model;
};

} // namespace FileAnalyzer
