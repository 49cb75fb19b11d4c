#include "project/userfilesstorage.h"

#include "mediamodel/mediafile.h"

#include <algorithm>

namespace Project {

UserFilesStorage::UserFilesStorage() = default;
UserFilesStorage::~UserFilesStorage() = default;

bool UserFilesStorage::add(const std::shared_ptr<Media::File> &file)
{
    if (!file || m_byPath.contains(file->path))
        return false;
    m_byPath.insert(file->path, file);
    m_files.push_back(file);
    return true;
}

bool UserFilesStorage::remove(const QString &path)
{
    const auto known = m_byPath.find(path);
    if (known == m_byPath.end())
        return false;
    const Media::File *file = known->get();
    m_byPath.erase(known);
    m_files.erase(std::find_if(m_files.begin(), m_files.end(),
                               [&](const auto &f) { return f.get() == file; }));
    return true;
}

void UserFilesStorage::clear()
{
    m_files.clear();
    m_byPath.clear();
}

std::shared_ptr<Media::File> UserFilesStorage::find(const QString &path) const
{
    return m_byPath.value(path);
}

} // namespace Project
