#pragma once

#include "resource_export.h"

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>

// The sample and stock content shipped with the editor: which file is which named sample, by
// kind. Filled from the catalogue bundled beside the samples (resources/sample-catalogue.json);
// looked up by a file's cleaned absolute path. Read-only once built, so any thread may ask.
namespace Resource {

enum class SampleKind : int { Video = 0, Background = 1, Sound = 2, Music = 3, SpecialFx = 4 };

struct Sample {
    QString name;
    SampleKind kind = SampleKind::Video;
};

class RESOURCE_EXPORT SampleCatalogue {
public:
    SampleCatalogue() = default;

    // Reads {"samples": [{"file": NAME, "name": ..., "kind": "video"|"background"|"sound"|
    // "music"|"specialFx"}]}; file names are relative to `root` and may not leave it. Entries
    // that are bad are skipped with one warning each in `warnings`.
    static SampleCatalogue
    parse(const QByteArray &json, const QString &root, QStringList *warnings);
    // The catalogue of the bundled samples, read once (warnings logged).
    static const SampleCatalogue &bundled();

    // The sample at that path, which must already be clean and absolute (see cleanPath); null
    // when the file is not a known sample.
    const Sample *find(const QString &cleanedPath) const;
    // The sample at `path`, cleaned here. A path whose file name no sample has is answered
    // without cleaning it, which is most paths and costs far less.
    const Sample *lookUp(const QString &path) const;
    static QString cleanPath(const QString &path);
    int size() const { return m_samples.size(); }

    // Adds one sample at `path` (cleaned here), replacing an entry of the same file.
    void add(const QString &path, Sample sample);

private:
    QHash<QString, Sample> m_samples;
    // Hashes of the last part of every sample's path: asking needs no copy of a part.
    QSet<uint> m_fileNames;
};

} // namespace Resource
