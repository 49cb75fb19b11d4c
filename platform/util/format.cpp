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

QString printable(const QString &text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const ushort u = c.unicode();
        const bool control = u < 0x20 || (u >= 0x7f && u < 0xa0);
        const bool turning = (u >= 0x202a && u <= 0x202e) || (u >= 0x2066 && u <= 0x2069)
            || u == 0x200e || u == 0x200f || u == 0x061c;
        if (u == '\\')
            out += QLatin1String("\\\\");
        else if (u == '\n')
            out += QLatin1String("\\n");
        else if (u == '\t')
            out += QLatin1String("\\t");
        else if (u == '\r')
            out += QLatin1String("\\r");
        else if (control)
            out += QStringLiteral("\\x%1").arg(u, 2, 16, QLatin1Char('0'));
        else if (turning)
            out += QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

} // namespace Format
