#pragma once

#include "appcontext/applicationcontext.h"
#include "appcontext/componentsetter.h"

#include <memory>

// Waits for the application context to announce the product settings manager and publishes it
// to whoever observes its setter. Registered with the context for its lifetime.
namespace EditorWebConfig {

class ProductSettingsManagerWaiter : public Vantel::App::TopManagerObserver {
public:
    using Setter
        = Vantel::App::ComponentSetter<Vantel::App::IProductSettingsManager,
                                       std::shared_ptr<Vantel::App::IProductSettingsManager>>;

    ProductSettingsManagerWaiter(Vantel::App::ApplicationContext &context,
                                 std::shared_ptr<Vantel::Tracking::ComponentSetterTracker> tracker);
    ~ProductSettingsManagerWaiter() override;
    ProductSettingsManagerWaiter(const ProductSettingsManagerWaiter &) = delete;
    ProductSettingsManagerWaiter &operator=(const ProductSettingsManagerWaiter &) = delete;

    using TopManagerObserver::managerAnnounced;
    void
    managerAnnounced(const std::shared_ptr<Vantel::App::IProductSettingsManager> &manager) override;

    Setter &setter() { return m_setter; }

private:
    Vantel::App::ApplicationContext &m_context;
    Setter m_setter;
};

} // namespace EditorWebConfig
