#pragma once

#include "appcontext_export.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// The application context: where the application's managers are announced once they exist, to
// every observer registered at that time. An observer implements one sub-interface per manager
// kind and ignores the kinds it does not need.
namespace ExternalStimulus {
class IGateway;
}
namespace Networking {
class IHttpClient;
}
namespace WebSocket {
class IMessageBroker;
}

namespace Vantel::App {

class ICustomizationManager;
class ILookAndFeelManager;
class IApplicationSettingsManager;
class IMailSettingsManager;
class IInstallerSettingsManager;
class ILaunchTypeProcessor;
class ILinksManager;
class ILifetimeManager;
class IInternetConnectionChecker;
class IUserSettingsManager;
class IPCBaseProtocol;
class IIdleManager;
class IPartnerTracking;

// What the product says about itself (the product-information keys, such as "PRODUCT_VERSION"
// and "USER_ID"); empty for a key it does not know.
class APPCONTEXT_EXPORT IProductSettingsManager {
public:
    virtual ~IProductSettingsManager();
    virtual std::string productValue(const std::string &key) const = 0;
};

// The real one: a fixed table given at start-up.
class APPCONTEXT_EXPORT ProductSettingsManager final : public IProductSettingsManager {
public:
    explicit ProductSettingsManager(std::vector<std::pair<std::string, std::string>> values);
    std::string productValue(const std::string &key) const override;

private:
    std::vector<std::pair<std::string, std::string>> m_values;
};

template<class I> class TApplicationContextObserver {
public:
    virtual ~TApplicationContextObserver() = default;
    virtual void managerAnnounced(const std::shared_ptr<I> &) { }
};

template<class... Is>
class TApplicationContextObservers : public TApplicationContextObserver<Is>... {
public:
    using TApplicationContextObserver<Is>::managerAnnounced...;
};

class APPCONTEXT_EXPORT TopManagerObserver
    : public TApplicationContextObservers<ICustomizationManager,
                                          ILookAndFeelManager,
                                          IApplicationSettingsManager,
                                          IProductSettingsManager,
                                          IMailSettingsManager,
                                          IInstallerSettingsManager,
                                          ILaunchTypeProcessor,
                                          ILinksManager,
                                          ExternalStimulus::IGateway,
                                          ILifetimeManager,
                                          IInternetConnectionChecker,
                                          IUserSettingsManager,
                                          Networking::IHttpClient,
                                          IPCBaseProtocol,
                                          IIdleManager,
                                          WebSocket::IMessageBroker,
                                          IPartnerTracking> { };

class APPCONTEXT_EXPORT ApplicationContext {
public:
    // The process's context.
    static ApplicationContext &instance();

    void addObserver(TopManagerObserver *observer);
    void removeObserver(TopManagerObserver *observer);

    // Tells every observer registered now, in registration order, on the calling thread.
    template<class I> void announce(const std::shared_ptr<I> &manager)
    {
        for (TopManagerObserver *observer : observers())
            static_cast<TApplicationContextObserver<I> *>(observer)->managerAnnounced(manager);
    }

private:
    std::vector<TopManagerObserver *> observers() const;

    mutable std::mutex m_mutex;
    std::vector<TopManagerObserver *> m_observers;
};

} // namespace Vantel::App
