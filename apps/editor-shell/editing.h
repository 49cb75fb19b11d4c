#pragma once

#include "shellcontext.h"

#include <QJsonObject>
#include <QString>

#include <set>
#include <vector>

namespace Timeline {
class Clip;
class Model;
} // namespace Timeline

// What the editing commands share: opening the project they change, the clips they act on, and
// printing their result for people or, with --json, as one JSON object.
namespace Shell {

// The clips named by a "N,M,..." list, in the list's order, each once. Empty, with a message on
// the error stream, when the list is bad or names a clip the timeline does not have.
std::vector<Timeline::Clip *>
selectedClips(Context &context, Timeline::Model &timeline, const QString &list);

// Opens the project named by the first argument without showing it (the open is reported as
// always); with --json the progress lines go to the error stream so the output stays one object.
bool openForReading(Context &context);
// The same, for a command that saves the project after: the project is locked from the open on,
// so a concurrent change waits for this one's save instead of being lost.
bool openForEditing(Context &context);

// Saves the project back to the file it came from, quietly with --json.
bool saveForEditing(Context &context);

// The result: one JSON object on a line with --json, else the lines of `text`.
void printResult(Context &context, const QJsonObject &json, const QString &text);

} // namespace Shell
