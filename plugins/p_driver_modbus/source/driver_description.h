#pragma once

#include <QVariantMap>

// What the driver says of itself to a host: see lib_plugins_management/plugin_description.h.
QVariantMap modbusDriverDescription();
