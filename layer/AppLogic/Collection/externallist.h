#pragma once

#include "applogicexport.h"

#include "collection/externalresourceinfo.h"
#include "translator/translator.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <utility>
#include <vector>

// The external audio and effects lists: what a downloaded list file says, read by one pure
// function from bytes, so the controller, the tests and the fuzzers read it the same way. Nothing
// here touches the disk or the collection.
namespace EditorCollection {

// The fourteen interface locales, in the order translations are registered.
inline constexpr std::size_t externalListLocaleCount = 14;

struct ExternalListEntry {
    QString collectionId;
    QString uniqueId;
    QString downloadUrl;
    // In bytes; 0 when the list gives none (an entry whose size is no size is left out).
    int remoteSize = 0;
    QString tag;
    QString description;
    QString fileFormat;
    // The name of the item's file in its folder: the cleaned tag and format for audio, the tag
    // and ".json" for shaders.
    QString fileName;
    // tag, author, source, licence, status and commercial use, as the item will carry them.
    std::shared_ptr<ExternalResourceInfo> info;
    QStringList categories;
    std::vector<std::pair<QString, QString>> previewUrls;
};

struct ExternalList {
    // False when the bytes are no JSON object: the list then adds nothing.
    bool valid = false;
    // Columns are the supported locales in their fixed order; a locale the list leaves out for a
    // key has that key's "en_US" text.
    Translator::TranslationTable translations;
    // Entries of the collections that carry a payload, in list order; the rest are left out.
    std::vector<ExternalListEntry> items;
    // One line per translation or entry left out or read with a fallback, in list order
    // (translations first), worded for the log.
    QStringList warnings;
};

// The most entries a list may bring; the rest are left out with one warning. Twice the load
// benchmark's 50,000, five times the largest list served today; a load of this many is measured
// (collectionload_bench).
inline constexpr std::size_t maxExternalListItems = 100000;

// Reads a list. Never throws; whatever it cannot use is left out with a warning (each kind of
// warning given for the first few entries, then once with the count). `bytes` should
// have at least externalListPadding bytes of capacity beyond its size (FS::readRegularFile with
// that padding gives it), else the parser copies them once.
APPLOGIC_EXPORT ExternalList parseExternalList(const QByteArray &bytes);
inline constexpr int externalListPadding = 64;

// The file name an audio entry is saved under: the tag with every run of characters other than
// ASCII letters, digits and white space removed, then "." and the file format. A tag that keeps
// no letter or digit gives way to the unique id cleaned the same way (else "audio").
APPLOGIC_EXPORT QString cleanedAudioFileName(const QString &tag,
                                             const QString &fileFormat,
                                             const QString &uniqueId = QString());

// Why `bytes` must not replace a cached list: not JSON, or not an object with an "items"
// array. Empty when it may. Checks the whole document, where the reader skips what it does not
// use.
APPLOGIC_EXPORT QString externalListRefusal(const QByteArray &bytes);

// Where an entry's file is kept under `root`: root/collection/uniqueId/fileName; empty for
// collections without a payload.
APPLOGIC_EXPORT QString externalItemFilePath(const ExternalListEntry &entry, const QString &root);

// Whether a text taken from a list can be one component of a path under the resources folder:
// not empty, at most 255 bytes, no "..", no separator or drive colon, no control character.
APPLOGIC_EXPORT bool isSafePathComponent(const QString &text);

} // namespace EditorCollection
