#pragma once

#include "applogicexport.h"

#include <QSet>
#include <QString>

// What the user did to collection items that must outlive the run: favourites, and items deleted
// from the collection (hidden until installed again). Kept in one small JSON file in the data
// folder, written all or nothing under a lock and re-read first, so two editors sharing the folder
// keep each other's marks. Main thread.
namespace EditorCollection {

class APPLOGIC_EXPORT UserMarks {
public:
    // Reads the file; a missing one is an empty record. Throws FS::Error when the file is there
    // but cannot be read (a link, a FIFO, too large); a damaged one reads as empty with a warning
    // in the log, and is replaced at the next change.
    UserMarks();

    // Items are named by collection and unique identifier: identifiers are unique per collection.
    bool isFavorite(const QString &collection, const QString &uniqueId) const;
    bool isDeleted(const QString &collection, const QString &uniqueId) const;

    // Each changes the record on disk at once. False when the mark was already so (nothing is
    // written). Throws FS::Error when the file cannot be written; the old file stays.
    bool setFavorite(const QString &collection, const QString &uniqueId, bool on);
    bool setDeleted(const QString &collection, const QString &uniqueId, bool on);

    static QString path();

private:
    enum class Kind { Favorite, Deleted };
    bool change(Kind kind, const QString &key, bool on);
    void load();

    QSet<QString> m_favorites;
    QSet<QString> m_deleted;
};

} // namespace EditorCollection
