#include "Collection/iteminstaller.h"

#include "Statistics/istatistics.h"

#include "downloader/localfile.h"
#include "downloader/resourcedownloader.h"
#include "util/fs.h"
#include "util/settingspaths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>
#include <QTimer>

#include <glog/logging.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

namespace EditorCollection {

using Statistics::ItemInstallResult;

namespace {

// Far beyond any real path; a list entry that makes one longer is refused before the disk is.
constexpr int maxPathLength = 4000;
// What a file of unannounced size may weigh.
constexpr qint64 unannouncedLimit = 512LL * 1024 * 1024;

bool noSpace(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

// The nearest folder of `path` that exists, for asking about free space.
QString existingFolderOf(const QString &path)
{
    QFileInfo info(QFileInfo(path).absolutePath());
    while (!info.exists() && !info.isRoot())
        info = QFileInfo(info.absolutePath());
    return info.absoluteFilePath();
}

// Removes the folders an install made for its file, from the file's own folder up to the one
// that was there before; a folder that holds anything (a kept partial download) stays.
void removeEmptyFolders(const QString &folder, const QString &existed)
{
    QString current = QDir::cleanPath(folder);
    const QString stop = QDir::cleanPath(existed);
    while (current.startsWith(stop + QLatin1Char('/')) && QDir().rmdir(current))
        current = QFileInfo(current).absolutePath();
}

} // namespace

ItemInstallResult installResultOf(const Downloader::DownloadReport &report)
{
    using Local = Downloader::DownloadReport::Local;
    switch (report.code) {
    case Downloader::Success:
        return ItemInstallResult::Ok;
    case Downloader::Cancel:
        return ItemInstallResult::DownloadCancelled;
    case Downloader::Failed:
        break;
    }
    switch (report.local) {
    case Local::None:
        return ItemInstallResult::ConnectionError;
    case Local::CreateFile:
    case Local::WriteFile:
        return noSpace(report.systemError) ? ItemInstallResult::NotEnoughSpace
                                           : ItemInstallResult::CantCreateFile;
    case Local::ReplaceFile:
        return noSpace(report.systemError) ? ItemInstallResult::NotEnoughSpace
                                           : ItemInstallResult::CantMoveFile;
    }
    return ItemInstallResult::Unknown;
}

QString unsafeInstallPath(const QString &root, const QString &path)
{
    if (path.isEmpty() || path.size() > maxPathLength || path.contains(QChar(0)))
        return QStringLiteral("not a usable path");
    if (!FS::isInside(root, path))
        return path + QStringLiteral(" is outside ") + root;
    const QString cleanRoot = QDir::cleanPath(QDir(root).absolutePath());
    const QStringList parts
        = QDir(cleanRoot)
              .relativeFilePath(QDir::cleanPath(QDir(root).absoluteFilePath(path)))
              .split(QLatin1Char('/'));
    // The root itself lies in the data folder, where nobody but us makes links.
    QString current = cleanRoot;
    for (int i = -1; i < parts.size(); ++i) {
        if (i >= 0)
            current += QLatin1Char('/') + parts.at(i);
        struct stat st { };
        if (::lstat(QFile::encodeName(current).constData(), &st) != 0) {
            if (errno == ENOENT)
                return {};
            return QStringLiteral("cannot inspect ") + current + QStringLiteral(": ")
                + QString::fromLocal8Bit(std::strerror(errno));
        }
        if (S_ISLNK(st.st_mode))
            return current + QStringLiteral(" is a symbolic link");
        const bool last = i == parts.size() - 1;
        if (!last && !S_ISDIR(st.st_mode))
            return current + QStringLiteral(" is not a folder");
        if (last && !S_ISREG(st.st_mode))
            return current + QStringLiteral(" is not a regular file");
    }
    return {};
}

bool installedOnDisk(const IItem &item)
{
    // Most items of a list are not installed: one stat says so before the walk along the path.
    const QString path = item.localPath();
    const QFileInfo file(path);
    if (!file.isFile())
        return false;
    return unsafeInstallPath(Settings::downloadableResourcesPath(), path).isEmpty()
        && (item.remoteSize() <= 0 || file.size() == item.remoteSize());
}

class ItemInstaller::Impl {
public:
    struct Install {
        ItemPtr item;
        ImportReason reason;
        QString staging;
        // The nearest folder that was there before the install made the item's folders.
        QString existed;
        QElapsedTimer clock;
        bool mismatched = false;
        qint64 received = 0;
        Downloader::ResourceDownloader *downloader = nullptr;
    };

    explicit Impl(ItemInstaller *q)
        : q(q)
    {
    }

    void start(const ItemPtr &item, ImportReason reason);
    void onProgress(Install &install, qint64 received, qint64 total);
    void onReport(Install *install, const Downloader::DownloadReport &report);
    void place(Install &install);
    // Reports the install and forgets it.
    void end(Install &install, ItemInstallResult result, const QString &error);
    void endLater(const ItemPtr &item,
                  ImportReason reason,
                  ItemInstallResult result,
                  const QString &error);

    ItemInstaller *q;
    std::vector<std::unique_ptr<Install>> installs;
    int waiting = 0; // refusals not reported yet
};

void ItemInstaller::Impl::start(const ItemPtr &item, ImportReason reason)
{
    if (!item)
        return endLater(item, reason, ItemInstallResult::Unknown, QStringLiteral("no item"));
    const QString root = Settings::downloadableResourcesPath();
    const QString path = item->localPath();
    if (const QString why = unsafeInstallPath(root, path); !why.isEmpty())
        return endLater(item, reason, ItemInstallResult::CantCreateFile, why);
    const QUrl url = item->downloadUrl();
    if (!url.isValid() || url.isEmpty())
        return endLater(item, reason, ItemInstallResult::ConnectionError,
                        QStringLiteral("the item has no download address"));
    const qint64 expected = item->remoteSize();
    const QStorageInfo volume(existingFolderOf(path));
    if (volume.isValid() && expected > 0 && volume.bytesAvailable() < expected)
        return endLater(item, reason, ItemInstallResult::NotEnoughSpace,
                        QString::number(expected) + QStringLiteral(" bytes needed, ")
                            + QString::number(volume.bytesAvailable()) + QStringLiteral(" free"));
    const QString folder = QFileInfo(path).absolutePath();
    const QString existed = existingFolderOf(path);
    if (!QDir().mkpath(folder)) {
        removeEmptyFolders(folder, existed);
        return endLater(item, reason, ItemInstallResult::CantCreateFile,
                        QStringLiteral("cannot create the folder ") + folder);
    }
    // Made just now: nothing may have slipped a link in between.
    if (const QString why = unsafeInstallPath(root, path); !why.isEmpty())
        return endLater(item, reason, ItemInstallResult::CantCreateFile, why);

    auto install = std::make_unique<Install>();
    install->item = item;
    install->reason = reason;
    install->staging = path + QStringLiteral(".download");
    install->existed = existed;
    install->downloader = new Downloader::ResourceDownloader(q);
    Install *raw = install.get();
    QObject::connect(install->downloader, &Downloader::ResourceDownloader::progress, q,
                     [this, raw](const Downloader::DownloadParams &, qint64 got, qint64 total) {
                         onProgress(*raw, got, total);
                     });
    QObject::connect(
        install->downloader, &Downloader::ResourceDownloader::reported, q,
        [this, raw](const Downloader::DownloadParams &, const Downloader::DownloadReport &report) {
            onReport(raw, report);
        });
    Downloader::DownloadParams params;
    params.url = url;
    params.destination = install->staging;
    // A little over the announced size, so the progress check sees an oversized body first
    // and names it for what it is.
    params.maxBytes = expected > 0 ? expected + 4 * 1024 * 1024 : unannouncedLimit;
    // Media is asked for as stored (it does not shrink), and a cut-off install goes on from
    // where it stopped.
    params.flags = Downloader::Resume;
    install->clock.start();
    installs.push_back(std::move(install));
    raw->downloader->download(params, 1, 0);
}

void ItemInstaller::Impl::onProgress(Install &install, qint64 received, qint64 total)
{
    const qint64 expected = install.item->remoteSize();
    install.received = received;
    if (expected > 0 && ((total >= 0 && total != expected) || received > expected)) {
        install.mismatched = true;
        install.downloader->cancel();
        return;
    }
    emit q->progress(install.item->uniqueId(), received, expected > 0 ? expected : total);
}

void ItemInstaller::Impl::onReport(Install *install, const Downloader::DownloadReport &report)
{
    if (install->mismatched) {
        // Not the file the list describes: nothing of it is worth continuing.
        Downloader::discardPartial(install->staging);
        QFile::remove(install->staging);
        return end(*install, ItemInstallResult::MismatchedResourceSize,
                   QStringLiteral("the file is not of the announced ")
                       + QString::number(install->item->remoteSize()) + QStringLiteral(" bytes"));
    }
    const ItemInstallResult result = installResultOf(report);
    if (result != ItemInstallResult::Ok)
        return end(*install, result, report.error);
    place(*install);
}

void ItemInstaller::Impl::place(Install &install)
{
    const QString path = install.item->localPath();
    const qint64 size = QFileInfo(install.staging).size();
    const qint64 expected = install.item->remoteSize();
    if (expected > 0 && size != expected) {
        QFile::remove(install.staging);
        return end(install, ItemInstallResult::MismatchedResourceSize,
                   QString::number(size) + QStringLiteral(" bytes arrived, ")
                       + QString::number(expected) + QStringLiteral(" announced"));
    }
    // Checked again: the download took a while, and a link planted meanwhile must not lead
    // the file out of the resources folder.
    if (const QString why = unsafeInstallPath(Settings::downloadableResourcesPath(), path);
        !why.isEmpty()) {
        QFile::remove(install.staging);
        return end(install, ItemInstallResult::CantCreateFile, why);
    }
    if (std::rename(QFile::encodeName(install.staging).constData(),
                    QFile::encodeName(path).constData())
        != 0) {
        const QString error = QStringLiteral("cannot move the file to ") + path
            + QStringLiteral(": ") + QString::fromLocal8Bit(std::strerror(errno));
        QFile::remove(install.staging);
        return end(install, ItemInstallResult::CantMoveFile, error);
    }
    install.item->setSize(size);
    install.item->setInstalled(true);
    end(install, ItemInstallResult::Ok, {});
}

void ItemInstaller::Impl::end(Install &install, ItemInstallResult result, const QString &error)
{
    const ItemPtr item = install.item;
    const ImportReason reason = install.reason;
    const MTime took = MTime::fromMSec(install.clock.elapsed());
    if (result != ItemInstallResult::Ok)
        removeEmptyFolders(QFileInfo(item->localPath()).absolutePath(), install.existed);
    for (auto it = installs.begin(); it != installs.end(); ++it) {
        if (it->get() == &install) {
            // Deleted later: this runs inside the downloader's own signal.
            (*it)->downloader->deleteLater();
            installs.erase(it);
            break;
        }
    }
    if (result != ItemInstallResult::Ok)
        LOG(WARNING) << "Install of " << item->uniqueId().toStdString() << " from "
                     << item->downloadUrl().toString().toStdString() << " failed ("
                     << Statistics::itemInstallErrorText(result) << "): " << error.toStdString();
    if (Statistics::IStatistics *statistics = Statistics::statistics())
        statistics->collectionStatistics()->itemInstallFinished(item.get(), result, reason, took);
    emit q->finished(item, result, error);
}

void ItemInstaller::Impl::endLater(const ItemPtr &item,
                                   ImportReason reason,
                                   ItemInstallResult result,
                                   const QString &error)
{
    ++waiting;
    QTimer::singleShot(0, q, [this, item, reason, result, error] {
        --waiting;
        if (item)
            LOG(WARNING) << "Install of " << item->uniqueId().toStdString()
                         << " refused: " << error.toStdString();
        if (Statistics::IStatistics *statistics = Statistics::statistics())
            statistics->collectionStatistics()->itemInstallFinished(item.get(), result, reason, {});
        emit q->finished(item, result, error);
    });
}

ItemInstaller::ItemInstaller(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Impl>(this))
{
}

ItemInstaller::~ItemInstaller() = default;

void ItemInstaller::install(const ItemPtr &item, ImportReason reason)
{
    d->start(item, reason);
}

void ItemInstaller::cancel()
{
    // Each cancel reports at once and removes its install from the list.
    std::vector<QPointer<Downloader::ResourceDownloader>> downloaders;
    for (const auto &install : d->installs)
        downloaders.emplace_back(install->downloader);
    for (const auto &downloader : downloaders) {
        if (downloader)
            downloader->cancel();
    }
}

int ItemInstaller::pending() const
{
    return static_cast<int>(d->installs.size()) + d->waiting;
}

} // namespace EditorCollection
