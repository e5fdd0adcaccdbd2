#pragma once

#include "applications/panel/panel_library.h"

class PanelWindow;

// Waits until the window's first page shows all its values, presses what the request names, waits until
// that is done, and writes the picture. Runs an event loop; ends early when the application is told to
// quit (Closed).
PanelEnd takePicture(PanelWindow& window, const PanelRequest& request, QString* error);
