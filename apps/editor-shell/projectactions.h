#pragma once

#include "shellcontext.h"

#include <QJsonObject>
#include <QString>

namespace Project {
class Object;
}

namespace Shell {

// Opens `path` as the application's project and reports the attempt; the project changes only
// on success. With `print`, shows its tracks, clips, effects, transitions and collection (as
// projectJson's object with --json).
bool openProject(Context &context, const QString &path, bool print);
// Saves the application's project to `path` (portable: media paths relative to the file),
// reports it and hands the file to the file storage.
bool saveProject(Context &context, const QString &path, bool portable = false);
// The project as `project open --json` prints it: tracks with their clips, transitions by their
// index, the collection and the number of missing media files.
QJsonObject projectJson(const Project::Object &project, int lostFiles);

} // namespace Shell
