#pragma once

#include <QPair>
#include <QVector>

// The slope of the straight line that lies nearest to the points (least squares); 0 for fewer than two
// points and for points above one another.
double slopeOf(const QVector<QPair<double, double>>& points);
