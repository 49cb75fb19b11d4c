#pragma once

#include "applogicexport.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

// The featured configuration: per collection, the packs whose assets the featured shelf shows.
// Read from a downloaded file, so everything in it is untrusted; the reader is a pure function
// that the controller, the tests and the fuzzer call alike.
namespace EditorCollection {

// The pack that stands for items in no pack.
inline const QString stockPackName = QStringLiteral("stock");

// Pack name to the identifiers of its featured assets (a set: duplicates collapse).
using FeaturedCollection = QHash<QString, QSet<QString>>;
// Collection name to its packs.
using FeaturedConfig = QHash<QString, FeaturedCollection>;

struct FeaturedConfigParse {
    // A JSON object with a "collections" array: something that may replace a cached copy.
    bool valid = false;
    FeaturedConfig collections;
    // Identifiers over every pack of every collection, each counted once per pack.
    int assetCount = 0;
    // One line per entry that was skipped, and one for a file that is not a configuration.
    QStringList warnings;
};

// Anything that is not a configuration reads as an empty one with a warning; a collection,
// pack or asset of the wrong type, or with an empty name, is skipped with a warning and the rest
// is kept. Names longer than maxFeaturedNameLength are skipped too: no real one comes near it.
APPLOGIC_EXPORT FeaturedConfigParse parseFeaturedConfig(const QByteArray &json);

inline constexpr int maxFeaturedNameLength = 1024;
// What a cache file may weigh before it is refused unread.
inline constexpr qint64 maxFeaturedConfigBytes = 16 * 1024 * 1024;

} // namespace EditorCollection
