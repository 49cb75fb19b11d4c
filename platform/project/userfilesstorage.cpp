#include "project/userfilesstorage.h"

#include "media/mediafile.h"

#include <algorithm>

namespace Project {

UserFilesStorage::UserFilesStorage() = default;
UserFilesStorage::~UserFilesStorage() = default;

bool UserFilesStorage::add(const std::shared_ptr<Media::File> &file)
{
    if (!file || find(file->path))
        return false;
    m_files.push_back(file);
    return true;
}

bool UserFilesStorage::remove(const QString &path)
{
    const auto it = std::find_if(m_files.begin(), m_files.end(),
                                 [&](const auto &f) { return f->path == path; });
    if (it == m_files.end())
        return false;
    m_files.erase(it);
    return true;
}

void UserFilesStorage::clear()
{
    m_files.clear();
}

std::shared_ptr<Media::File> UserFilesStorage::find(const QString &path) const
{
    const auto it = std::find_if(m_files.begin(), m_files.end(),
                                 [&](const auto &f) { return f->path == path; });
    return it == m_files.end() ? nullptr : *it;
}

} // namespace Project
