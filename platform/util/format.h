#pragma once

#include <QSize>
#include <QString>

#include <boost/rational.hpp>

// The editor's value formatters. Statistics send these texts, so they must never change shape.
namespace Format {

// "1920x1080"; "0x0" for an empty size.
QString videoResolution(const QSize &size);
// Up to two decimals without trailing zeros: 30000/1001 gives "29.97", 25/1 gives "25";
// "0" for a zero or invalid rate.
QString videoFrameRate(const boost::rational<int> &rate);
// A byte count for people: "512 B", "1.5 MB" (binary multiples).
QString fileSize(qint64 bytes);

} // namespace Format
