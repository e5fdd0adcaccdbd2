#include "applications/bench/panel/panel_options.h"

#include <QRegularExpression>

QSize sizeFromText(const QString& text)
{
    static const QRegularExpression expression(QStringLiteral("^([0-9]{1,5})x([0-9]{1,5})$"));
    const QRegularExpressionMatch match = expression.match(text);
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    const auto isWithin = [](int side) { return side >= c_smallestPanel && side <= c_largestPanel; };
    return isWithin(size.width()) && isWithin(size.height()) ? size : QSize();
}
