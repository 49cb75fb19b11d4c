#pragma once

#include "util_export.h"

#include <QString>

// Every file the application keeps lives under one data folder, chosen once at start-up (the
// shell's --data-dir, or the user's application data location). Nothing else decides a path.
namespace Settings {

// Sets the data folder and creates it. Throws std::runtime_error when it is empty or cannot be
// created or written to, so the caller can refuse to start with one clear message.
UTIL_EXPORT void setDataFolder(const QString &folder);
// The folder set above; until one is set, the user's application data location.
UTIL_EXPORT QString dataFolder();

UTIL_EXPORT QString trackingDatabasePath();
UTIL_EXPORT QString sessionsPath();
UTIL_EXPORT QString applicationSettingsPath();
UTIL_EXPORT QString fileStoragePath();
UTIL_EXPORT QString externalAudioCachePath();
UTIL_EXPORT QString externalEffectsCachePath();
UTIL_EXPORT QString collectionsTrendingConfigCachePath();
UTIL_EXPORT QString downloadableResourcesPath();
UTIL_EXPORT QString defaultWebConfigPath();
UTIL_EXPORT QString webConfigCachePath();
UTIL_EXPORT QString recordingsPath();
// What the editor's writers of users' files (export, record, project) last wrote there.
UTIL_EXPORT QString outputsRecordPath();

// Whether `path` names one of the files or folders the editor keeps in the data folder (or
// something inside one, or one of their lock and temporary files), however it is spelled. The
// user's own files may live in the data folder beside them.
UTIL_EXPORT bool isStatePath(const QString &path);

// Project files are told by their extension alone (".edproj", any case), so a drop of many
// paths can be sorted without opening each one.
UTIL_EXPORT QString projectFileExtension();
UTIL_EXPORT bool isProjectFilePath(const QString &path);

// Files and lists the project ships (sample lists, the product configuration).
UTIL_EXPORT QString bundledResourcesPath();

} // namespace Settings
