#pragma once

// EditorAppLogic is built with hidden visibility; what the shell and the editor call is marked.
#define APPLOGIC_EXPORT __attribute__((visibility("default")))
