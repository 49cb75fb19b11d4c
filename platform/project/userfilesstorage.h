#pragma once

#include "project_export.h"

#include <QString>

#include <cstddef>
#include <memory>
#include <vector>

namespace Media {
class File;
}

// The user's media collection of a project: the files the user brought in, whether or not they
// are on the timeline. Holds each file once (by path) in the order it came. Main thread only.
namespace Project {

class PROJECT_EXPORT UserFilesStorage {
public:
    UserFilesStorage();
    ~UserFilesStorage();

    // Takes in the files it does not hold yet (null entries are ignored) and returns how many
    // were new. Any ordered range of shared files will do (a vector, the deque of a request).
    template<class Range> std::size_t add(const Range &files)
    {
        std::size_t added = 0;
        for (const auto &file : files)
            added += add(file) ? 1 : 0;
        return added;
    }
    bool add(const std::shared_ptr<Media::File> &file);
    bool remove(const QString &path);
    void clear();

    std::size_t count() const noexcept { return m_files.size(); }
    const std::vector<std::shared_ptr<Media::File>> &files() const noexcept { return m_files; }
    std::shared_ptr<Media::File> find(const QString &path) const;
    bool contains(const QString &path) const { return find(path) != nullptr; }

private:
    std::vector<std::shared_ptr<Media::File>> m_files;
};

} // namespace Project
