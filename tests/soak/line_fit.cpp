#include "tests/soak/line_fit.h"

double slopeOf(const QVector<QPair<double, double>>& points)
{
    double meanX = 0;
    double meanY = 0;
    for (const auto& [x, y] : points) {
        meanX += x / points.size();
        meanY += y / points.size();
    }
    double square = 0;
    double product = 0;
    for (const auto& [x, y] : points) {
        square += (x - meanX) * (x - meanX);
        product += (x - meanX) * (y - meanY);
    }
    return square > 0 ? product / square : 0;
}
