#pragma once

#include "shellcontext.h"

#include <QString>

namespace Shell {

// Opens `path` as the application's project and reports the attempt; the project changes only
// on success. With `print`, shows its tracks, clips, effects, transitions and collection.
bool openProject(Context &context, const QString &path, bool print);
// Saves the application's project to `path` (portable: media paths relative to the file),
// reports it and hands the file to the file storage.
bool saveProject(Context &context, const QString &path, bool portable = false);

} // namespace Shell
