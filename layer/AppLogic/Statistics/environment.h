#pragma once

namespace Resource {
class Controller;
}
namespace Vantel::App {
class IApplicationSettingsManager;
}

namespace Statistics {

// What the statistics read beyond the notifications they are sent: the user's preferences
// (observed for "PREF_CHANGED", read by the export census) and the resources' fast-track
// redirects. The application hands in its own, which outlive the statistics; a reporter driven
// alone goes without them, which reads as the preferences' defaults and no redirects.
struct Environment {
    Vantel::App::IApplicationSettingsManager *settings = nullptr;
    const Resource::Controller *resources = nullptr;
};

} // namespace Statistics
