#pragma once

#include "shellcontext.h"

namespace Shell {

// `import FILE...`: adds files the way the editor's import does, through the add request, and
// shows what came of them.
Command importCommand();

} // namespace Shell
