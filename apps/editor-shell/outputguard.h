#pragma once

#include "shellcontext.h"

#include <QString>

// What the commands that write a user's file, or change a project, check and hold first: the one
// output check (see FS::checkOutputPath) with the shell's answer to an existing file, and the
// project's edit lock for the open → change → save cycle.
namespace Shell {

// Whether the command `kind` may write `path`; false, with the reason on the error stream, when
// it may not. The open project's file and every file it uses are protected when `project` is
// set; `replaces` is the one existing file the write is meant to replace. An existing file is
// replaced only with --yes or when the same command wrote it and nobody changed it since.
bool checkOutput(Context &context,
                 const QString &path,
                 const QString &kind,
                 bool project,
                 const QString &replaces = {},
                 QString *why = nullptr);
// Warns when `path` does not end in an extension of the container `format` ("mp4", "webm"):
// players go by the name, and a WebM called .mp4 is refused by some of them.
void warnOnExtension(Context &context, const QString &path, const QString &format);
// After the write: the next run of the same command may replace it without --yes.
void rememberOutput(const QString &path, const QString &kind);

// Takes the project at `path` for this run's open → change → save, waiting a while for another
// editor or command to finish with it; false, with a message, when it does not.
bool lockProject(Context &context, const QString &path);
// Lets go of the project once it is saved (the end of the run lets go too).
void releaseProject(const QString &path);

} // namespace Shell
