#pragma once

#include "customization_export.h"

#include <QHash>
#include <QString>
#include <QUrl>

// The product's own configuration: which address stands behind each link key, and whether this
// run is the first launch of the installation. Read from "product.json" in the data folder when
// the user (or an installer) put one there, else from the bundled default.
namespace Vantel::App {
enum class LaunchType : int { Regular = 0, FirstLaunch = 1 };
}

namespace Customization {

// The address stored under a link key; empty (and a warning logged once per key) when the
// configuration has none. Relative file addresses are resolved against the configuration file.
CUSTOMIZATION_EXPORT QUrl appUrl(const QString &key);

// Every link key the configuration gives an address, without a warning for the rest.
CUSTOMIZATION_EXPORT QHash<QString, QUrl> configuredLinks();

// FirstLaunch when the data folder had no launch marker yet. Decided on the first call for a data
// folder and kept for the process; the marker is written then, so the next run is Regular.
CUSTOMIZATION_EXPORT Vantel::App::LaunchType applicationLaunchType();

// The configuration file that appUrl reads. Reloaded when the path changes.
CUSTOMIZATION_EXPORT QString productConfigPath();
CUSTOMIZATION_EXPORT void setProductConfigPath(const QString &path);

} // namespace Customization
