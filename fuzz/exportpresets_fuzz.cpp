// The presets file ships with the editor but lives where anyone can edit it: whatever the bytes,
// reading it must not crash, and every preset it keeps has an identifier of its own.
#include "export/exportpresets.h"

#include <QSet>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const Export::PresetList list = Export::parsePresets(bytes);
    QSet<QString> ids;
    for (const Export::ExportPreset &preset : list.presets) {
        if (preset.id.isEmpty() || ids.contains(preset.id) || preset.frameRate.denominator() <= 0)
            std::abort();
        ids.insert(preset.id);
    }
    return 0;
}
