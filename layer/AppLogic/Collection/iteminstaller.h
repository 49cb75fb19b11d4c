#pragma once

#include "applogicexport.h"

#include "Statistics/collectionstatistics.h"

#include "collection/item.h"
#include "downloader/downloadparams.h"

#include <QObject>
#include <QString>

#include <memory>

// The collection's own download of an item's file: from the item's download address to its local
// path under the downloadable resources folder, checked against the size the list announced,
// then marked installed. Each install ends with one report to the collection statistics and one
// `finished`. The file arrives beside its place and is moved in only when whole and of the right
// size, so a failed install leaves an earlier copy as it was. Main thread.
namespace EditorCollection {

class APPLOGIC_EXPORT ItemInstaller : public QObject {
    Q_OBJECT
public:
    explicit ItemInstaller(QObject *parent = nullptr);
    ~ItemInstaller() override;

    // Every call ends with `finished`, on a later pass of the event loop, also when the install
    // cannot start (no address, no room, a path that would leave the resources folder).
    void install(const ItemPtr &item, ImportReason reason);
    // Every install under way ends as cancelled.
    void cancel();
    int pending() const;

signals:
    // Bytes of the item's file so far, and its whole size (-1 when neither list nor server says).
    void progress(const QString &uniqueId, qint64 received, qint64 total);
    void finished(const EditorCollection::ItemPtr &item,
                  Statistics::ItemInstallResult result,
                  const QString &error);

private:
    class Impl;
    std::unique_ptr<Impl> d;
};

// What a download's report means for an install.
APPLOGIC_EXPORT Statistics::ItemInstallResult
installResultOf(const Downloader::DownloadReport &report);

// Why `path` is no place to write an item's file: outside `root`, or with a symbolic link or
// something other than a folder between the two, or a link or a non-file at the path itself.
// Empty when it is fine; parts not yet made are fine (they will be made as folders).
APPLOGIC_EXPORT QString unsafeInstallPath(const QString &root, const QString &path);

// Whether an earlier run installed the item: a regular file at its local path, safely under the
// resources folder, of the announced size (any size when none was announced).
APPLOGIC_EXPORT bool installedOnDisk(const IItem &item);

} // namespace EditorCollection
