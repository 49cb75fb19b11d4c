// The featured configuration is downloaded: whatever the bytes, reading it must not crash or
// hang, and what it keeps must be what it promises (named, bounded, counted right).
#include "Collection/featuredconfig.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

// Qt 5.15's JSON parser keeps what it built when it meets an error; the sanitizer builds suppress
// that by name, but here Qt's frames carry no symbols, so the library is named instead. Nothing
// else in this program allocates through Qt.
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libQt5Core\n";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace EditorCollection;
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const FeaturedConfigParse result = parseFeaturedConfig(bytes);
    int count = 0;
    for (auto collection = result.collections.cbegin(); collection != result.collections.cend();
         ++collection) {
        if (collection.key().isEmpty() || collection.key().size() > maxFeaturedNameLength)
            std::abort();
        for (auto pack = collection->cbegin(); pack != collection->cend(); ++pack) {
            if (pack.key().isEmpty() || pack.key().size() > maxFeaturedNameLength)
                std::abort();
            for (const QString &id : *pack) {
                if (id.isEmpty() || id.size() > maxFeaturedNameLength)
                    std::abort();
            }
            count += pack->size();
        }
    }
    if (count != result.assetCount || result.warnings.size() > 21)
        std::abort();
    return 0;
}
