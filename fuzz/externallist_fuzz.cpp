// The external lists' reader, on anything. Besides not crashing, every entry it keeps must give a
// file inside the resources folder, however its identifier, tag and format are made, and every
// text it keeps must lie inside its block. Built once per list so each keeps its corpus:
// fuzz/corpus/externalaudio and fuzz/corpus/externaleffects (the bundled lists and hostile
// variants).
#include "Collection/externallist.h"

#include "util/fs.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes;
    bytes.reserve(static_cast<int>(size) + EditorCollection::externalListPadding);
    bytes.append(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const EditorCollection::ExternalList list = EditorCollection::parseExternalList(bytes);
    // Every text span lies inside the block, and every key has one per locale.
    const Translator::TranslationTable &texts = list.translations;
    if (texts.spans.size() != texts.keys.size() * texts.locales.size())
        std::abort();
    for (const auto &[offset, length] : texts.spans)
        if (static_cast<quint64>(offset) + length > static_cast<quint64>(texts.utf8.size()))
            std::abort();
    const QString root = QStringLiteral("/data/resources");
    for (const auto &entry : list.items) {
        if (!FS::isInside(root, EditorCollection::externalItemFilePath(entry, root)))
            std::abort();
    }
    return 0;
}
