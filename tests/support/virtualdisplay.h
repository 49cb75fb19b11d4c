#pragma once

#include <QString>

namespace TestSupport {

// Why the suite has no X server to draw on (Xvfb not installed, or it did not start); empty
// while its private Xvfb runs. Only suites built with the Xvfb main (`editor_add_test(... XVFB)`)
// have it: that main starts the server before the Qt application and points Qt, and every
// program a test starts, at it.
QString virtualDisplayMissing();

} // namespace TestSupport
