#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantMap>

// How the driver that a device is linked to speaks to its controller, as far as the controller has to go
// along with it.
struct ControllerLink
{
    int unitId = 1;
    // What the driver adds to each register of the configuration before it goes on the wire.
    int addressOffset = 0;

    // `description` is what the driver's kind says of itself (lib_plugins_management/plugin_description.h),
    // `configuration` that of the driver object. What either does not say is as above.
    static ControllerLink describedBy(const QVariantMap& description, const QJsonObject& configuration);

    // "unit 7, address offset -1"; an offset of 0 is not told.
    QString toText() const;
};
