#pragma once

#include "project_export.h"

#include "project/userfilesstorage.h"
#include "timeline/timeline.h"

#include <QHash>
#include <QSet>
#include <QSize>
#include <QString>

#include <cstdint>
#include <memory>

// A project: the timeline, the user's collection and the few settings that travel with them.
// The shell (or the editor) owns the current project; opening another builds a new object and
// swaps it in only when the whole file was read, so a bad file never damages the open project.
// Main thread only.
namespace Project {

// What the project knows about the colour tables and colour presets its effects came from, so a
// report can tell the user's own from the shipped ones.
struct EffectLibrary {
    QSet<QString> loadedLuts; // identifiers of tables the user loaded from files
    QHash<QString, bool> colorPresets; // known colour presets: identifier -> saved by the user

    bool operator==(const EffectLibrary &o) const
    {
        return loadedLuts == o.loadedLuts && colorPresets == o.colorPresets;
    }
};

class PROJECT_EXPORT Object {
public:
    // An empty project: no tracks, a fresh identifier, 1920x1080.
    Object();
    ~Object();
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;

    // What File > New gives: one video track and one audio track.
    static std::unique_ptr<Object> createNew();

    // A number that stays with the project through saves, so reports of one project can be told
    // apart from those of another. Positive.
    std::int64_t id() const noexcept { return m_id; }
    void setId(std::int64_t id) { m_id = id; }

    static constexpr int maxResolutionSide = 1 << 16;
    // The frame size of the edit. Throws std::invalid_argument for a side below 1 or above
    // maxResolutionSide.
    QSize resolution() const noexcept { return m_resolution; }
    void setResolution(QSize size);

    // A portable project keeps its media paths relative to the project file, so the folder can
    // be moved or copied as a whole.
    bool isPortable() const noexcept { return m_portable; }
    void setPortable(bool portable) { m_portable = portable; }

    // The file it was opened from or last saved to; empty for a project never saved.
    const QString &path() const noexcept { return m_path; }
    void setPath(QString path) { m_path = std::move(path); }

    Timeline::Model &timeline() noexcept { return m_timeline; }
    const Timeline::Model &timeline() const noexcept { return m_timeline; }
    UserFilesStorage &userFiles() noexcept { return m_userFiles; }
    const UserFilesStorage &userFiles() const noexcept { return m_userFiles; }
    EffectLibrary &effectLibrary() noexcept { return m_library; }
    const EffectLibrary &effectLibrary() const noexcept { return m_library; }

    // Every distinct media file the project uses (timeline clips, transition resources and the
    // collection), each once, in first-use order.
    std::vector<std::shared_ptr<Media::File>> mediaFiles() const;

private:
    std::int64_t m_id;
    QSize m_resolution { 1920, 1080 };
    bool m_portable = false;
    QString m_path;
    Timeline::Model m_timeline;
    UserFilesStorage m_userFiles;
    EffectLibrary m_library;
};

} // namespace Project
