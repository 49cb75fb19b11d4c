#include "project/project.h"

#include "mediamodel/mediafile.h"

#include <QRandomGenerator>

#include <stdexcept>
#include <unordered_set>

namespace Project {

Object::Object()
    : m_id(QRandomGenerator::global()->bounded(1, std::numeric_limits<int>::max()))
{
}

Object::~Object() = default;

void Object::setResolution(QSize size)
{
    auto bad = [](int side) { return side < 1 || side > maxResolutionSide; };
    if (bad(size.width()) || bad(size.height()))
        throw std::invalid_argument("a project's frame size must be from 1x1 to 65536x65536");
    m_resolution = size;
}

std::unique_ptr<Object> Object::createNew()
{
    auto project = std::make_unique<Object>();
    project->timeline().addTrack(Timeline::TrackType::Video);
    project->timeline().addTrack(Timeline::TrackType::Audio);
    return project;
}

std::vector<std::shared_ptr<Media::File>> Object::mediaFiles() const
{
    std::vector<std::shared_ptr<Media::File>> files;
    std::unordered_set<const Media::File *> seen;
    auto take = [&](const std::shared_ptr<Media::File> &file) {
        if (file && seen.insert(file.get()).second)
            files.push_back(file);
    };
    for (int t = 0; t < m_timeline.trackCount(); ++t) {
        for (const auto &clip : m_timeline.track(t).clips())
            take(clip->file());
    }
    for (std::size_t i = 0; i < m_timeline.transitionCount(); ++i) {
        for (const auto &resource : m_timeline.transition(i).resources())
            take(resource.file);
    }
    for (const auto &file : m_userFiles.files())
        take(file);
    return files;
}

} // namespace Project
