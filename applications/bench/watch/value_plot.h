#pragma once

#include <QList>
#include <QString>

#include <optional>

// A line of blocks, ▁ the lowest of the values and █ the highest, a blank where there was none. Values that
// are all the same are a line in the middle.
QString valuePlot(const QList<std::optional<double>>& values);
