#pragma once

#include "media_export.h"

#include <QSet>
#include <QString>

// What the editor accepts as media, decided by the decoder library this build links: a file type
// the library can read is a type the editor offers, so the list never promises more (or less)
// than the analysis can do.
namespace FileUtil {

// Lower-case extensions without the dot, of media files and of the project and package files
// that an add request may also carry. Computed once; thread-safe.
MEDIA_EXPORT const QSet<QString> &supportedFileExtensions();
// Of media files alone: containers, audio and video streams, still images.
MEDIA_EXPORT const QSet<QString> &supportedMediaExtensions();
// Of still pictures (a subset of the media extensions).
MEDIA_EXPORT const QSet<QString> &stillImageExtensions();

} // namespace FileUtil
