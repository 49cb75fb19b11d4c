#pragma once

#include "util_export.h"

#include <QSize>
#include <QString>

#include <boost/rational.hpp>

// The editor's value formatters. Statistics send these texts, so they must never change shape.
namespace Format {

// "1920x1080"; "0x0" for an empty size.
UTIL_EXPORT QString videoResolution(const QSize &size);
// Up to two decimals without trailing zeros: 30000/1001 gives "29.97", 25/1 gives "25";
// "0" for a zero or invalid rate.
UTIL_EXPORT QString videoFrameRate(const boost::rational<int> &rate);
// A byte count for people: "512 B", "1.5 MB" (binary multiples).
UTIL_EXPORT QString fileSize(qint64 bytes);

} // namespace Format
