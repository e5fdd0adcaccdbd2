#include "applications/bench/watch/value_plot.h"

#include <algorithm>
#include <cmath>

QString valuePlot(const QList<std::optional<double>>& values)
{
    static const QString c_blocks = QStringLiteral("▁▂▃▄▅▆▇█");
    constexpr int c_middle = 3;
    std::optional<double> lowest;
    std::optional<double> highest;
    for (const std::optional<double>& value : values) {
        if (!value)
            continue;
        lowest = std::min(lowest.value_or(*value), *value);
        highest = std::max(highest.value_or(*value), *value);
    }
    QString plot;
    for (const std::optional<double>& value : values) {
        if (!value) {
            plot += QLatin1Char(' ');
            continue;
        }
        const double span = *highest - *lowest;
        const int level = span > 0 ? static_cast<int>(std::lround((*value - *lowest) / span *
                                                                  static_cast<double>(c_blocks.size() - 1)))
                                   : c_middle;
        plot += c_blocks.at(level);
    }
    return plot;
}
