#pragma once

#include "project/internal/jsonreader.h"

#include "timeline/effect.h"

#include <QJsonObject>
#include <QString>

#include <memory>

// Effects as the project file holds them: each kind's parameters read and written through its
// field table (Effect::Kind), so a kind's fields are listed once for both directions.
namespace Project::FileFormat {

// Throws FileError for an effect the file could not read back.
QJsonObject writeEffect(const Effect::Object &effect, const QString &where);
std::unique_ptr<Effect::Object> readEffect(const Node &n);

} // namespace Project::FileFormat
