#pragma once

#include "FileAnalyzer/object.h"

#include "pubsub/subscriber.h"

#include <vector>

namespace FileAnalyzer {

class View;

// The domain of analysis objects: takes the Add, Change and Remove requests from any sender,
// keeps the objects and tells every view. Views are the one way it speaks: whoever watches the
// analysis, the file adder and the analysis controller among them, is a View, and outlives none
// of them. The application owns one and hands it to whoever watches; main thread.
class APPLOGIC_EXPORT Model final
    : public PubSub::Subscriber<AddRequest, ChangeRequest, RemoveRequest> {
public:
    Model();
    ~Model() override;
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    // In the order they were added.
    const std::vector<ObjectPtr> &objects() const noexcept { return m_objects; }
    ObjectPtr find(std::uint64_t id) const;
    ObjectPtr find(const Object *object) const;

    void notify(const AddRequest &m) override;
    void notify(const ChangeRequest &m) override;
    void notify(const RemoveRequest &m) override;

private:
    friend class View;

    void attach(View *view);
    void detach(View *view);
    // The views as they are now; one that goes away during a call is skipped for the rest.
    template<class Call> void forEachView(Call call);

    std::vector<ObjectPtr> m_objects;
    std::vector<View *> m_views;
};

} // namespace FileAnalyzer
