#pragma once

#include "resource_export.h"

#include <QHash>
#include <QString>

#include <shared_mutex>

// The editor's resources by identifier, and the fast-track redirects among them: once a source
// file has been turned into a copy that is quick to edit, its resource is redirected to the
// copy. The fast track adds redirects from its worker thread while the interface asks about them,
// so every operation is thread-safe. The application owns one and hands it to who asks.
namespace Resource {

class RESOURCE_EXPORT Controller {
public:
    Controller() = default;
    Controller(const Controller &) = delete;
    Controller &operator=(const Controller &) = delete;

    // `from` now plays from `to`. An empty identifier on either side is ignored.
    void addRedirect(const QString &from, const QString &to);
    void removeRedirect(const QString &from);
    void clearRedirects();
    bool hasRedirectFrom(const QString &from) const;
    // Where `from` plays from; `from` itself when it has no redirect.
    QString redirected(const QString &from) const;

private:
    mutable std::shared_mutex m_mutex;
    QHash<QString, QString> m_redirects;
};

} // namespace Resource
