#pragma once

#include <QString>

// Who made an item that does not ship with the editor, under which licence, and whether it costs
// money. Shared by the item that carries it (and by copies of that item's views); immutable once
// attached.
namespace EditorCollection {

enum class ExternalResourceStatus : int { Free = 0, Paid = 1 };

struct ExternalResourceInfo {
    virtual ~ExternalResourceInfo() = default;

    QString tag;
    QString author;
    QString source;
    QString licenseName;
    QString licenseUrl;
    ExternalResourceStatus status = ExternalResourceStatus::Free;
    bool commercialUse = false;
};

} // namespace EditorCollection
