#pragma once

#include "export_export.h"

#include "export/exportstate.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// The named export presets the editor offers, read from the file bundled with it
// (resources/export/presets.json). Parsing is a pure function of the bytes, called by the loader,
// the tests and the fuzzer.
namespace Export {

struct PresetList {
    std::vector<ExportPreset> presets;
    // One line per preset or field that had to be skipped, naming it.
    QStringList warnings;
};

// Reads a preset document: {"presets": [{"id": ..., "tag": ..., "format": ..., ...}]}. A preset
// without an identifier, with a duplicate one, or with a field of the wrong type or out of range
// is skipped with a warning; the rest are kept. A document that is not JSON gives no presets and
// one warning.
EXPORT_EXPORT PresetList parsePresets(const QByteArray &json);

// The bundled presets, read once; warnings are logged.
EXPORT_EXPORT const std::vector<ExportPreset> &bundledPresets();
// The bundled preset with that identifier; null when there is none.
EXPORT_EXPORT const ExportPreset *findPreset(const QString &id);

} // namespace Export
