#pragma once

#include "applications/bench/core/shared_options.h"

#include <QSize>
#include <QString>
#include <QStringList>

// Width and height of a panel's window, in pixels.
constexpr int c_smallestPanel = 200;
constexpr int c_largestPanel = 8000;

// What "panel" is asked for.
struct PanelOptions
{
    // Name or identity of the device whose page it is; empty: a page of each.
    QString object;
    int linkWait = c_defaultLinkWait; // ms
    // Empty: a window.
    QString screenshotFile;
    QSize size = QSize(600, 800);
    // Ends of the object names of the items that are pressed before the picture is drawn.
    QStringList presses;
    bool dark = false;
};

// "600x800"; an invalid size for anything else and for sides out of bounds.
QSize sizeFromText(const QString& text);
