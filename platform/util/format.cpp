#include "util/format.h"

#include <QLocale>

namespace Format {

QString videoResolution(const QSize &size)
{
    return QStringLiteral("%1x%2").arg(qMax(0, size.width())).arg(qMax(0, size.height()));
}

QString videoFrameRate(const boost::rational<int> &rate)
{
    if (rate.denominator() == 0 || rate.numerator() <= 0)
        return QStringLiteral("0");
    const double fps = static_cast<double>(rate.numerator()) / rate.denominator();
    QString text = QString::number(fps, 'f', 2);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text;
}

QString fileSize(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeTraditionalFormat);
}

} // namespace Format
