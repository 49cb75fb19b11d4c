#pragma once

#include <QString>

// Every file the application keeps lives under one data folder, chosen once at start-up (the
// shell's --data-dir, or the user's application data location). Nothing else decides a path.
namespace Settings {

// Sets the data folder and creates it. Throws std::runtime_error when it is empty or cannot be
// created or written to, so the caller can refuse to start with one clear message.
void setDataFolder(const QString &folder);
// The folder set above; until one is set, the user's application data location.
QString dataFolder();

QString trackingDatabasePath();
QString sessionsPath();
QString applicationSettingsPath();
QString fileStoragePath();
QString externalAudioCachePath();
QString externalEffectsCachePath();
QString collectionsTrendingConfigCachePath();
QString downloadableResourcesPath();
QString defaultWebConfigPath();
QString webConfigCachePath();
QString recordingsPath();

// Project files are told by their extension alone (".edproj", any case), so a drop of many
// paths can be sorted without opening each one.
QString projectFileExtension();
bool isProjectFilePath(const QString &path);

// Files and lists the project ships (sample lists, the product configuration).
QString bundledResourcesPath();

} // namespace Settings
