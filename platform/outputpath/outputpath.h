#pragma once

#include "outputpath_export.h"

#include <QString>
#include <QStringList>

// The one check every writer of a user's file (an export, a recording, a saved project) makes
// before it writes anything, and the memory of what those writers wrote, so that running the same
// command again may replace its own earlier result the way a build replaces its own output.
// Any thread; the memory is a small state file shared by every editor on the data folder.
namespace FS {

struct OutputRules {
    // What writes ("export", "record", "project"); an existing file that the same kind of writer
    // made and that nobody has changed since may be replaced without asking.
    QString kind;
    // Files the output must never replace: the project being worked on and every file it uses.
    QStringList inputs;
    // The one existing file this write is meant to replace (a project saved where it was opened).
    QString replaces;
    // The user agreed to replace whatever regular file is there.
    bool replaceExisting = false;
};

struct OutputRefusal {
    enum class Why {
        None,
        // A regular file is there that the user did not agree to replace.
        Exists,
        // Never writable: not a regular file, a file the project uses, the editor's own state.
        Forbidden,
    };
    Why why = Why::None;
    QString message; // for the user, naming the path
    explicit operator bool() const { return why != Why::None; }
};

// Why `path` may not be written under `rules`; empty when it may. An output is a regular file or
// a new name, never a folder, a pipe, a device or a socket (nor a link to one), never one of
// `rules.inputs` under any name, and never one of the files the editor keeps in its data folder.
OUTPUTPATH_EXPORT OutputRefusal checkOutputPath(const QString &path, const OutputRules &rules);

// Notes that a writer of `kind` has just finished `path`. A failure to note it only means the
// next run asks again, so it is logged, not thrown.
OUTPUTPATH_EXPORT void rememberOutput(const QString &path, const QString &kind);

} // namespace FS
