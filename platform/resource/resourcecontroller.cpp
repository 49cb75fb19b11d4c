#include "resource/resourcecontroller.h"

#include <mutex>

namespace Resource {

void Controller::addRedirect(const QString &from, const QString &to)
{
    if (from.isEmpty() || to.isEmpty())
        return;
    std::unique_lock lock(m_mutex);
    m_redirects.insert(from, to);
}

void Controller::removeRedirect(const QString &from)
{
    std::unique_lock lock(m_mutex);
    m_redirects.remove(from);
}

void Controller::clearRedirects()
{
    std::unique_lock lock(m_mutex);
    m_redirects.clear();
}

bool Controller::hasRedirectFrom(const QString &from) const
{
    std::shared_lock lock(m_mutex);
    return m_redirects.contains(from);
}

QString Controller::redirected(const QString &from) const
{
    std::shared_lock lock(m_mutex);
    return m_redirects.value(from, from);
}

} // namespace Resource
