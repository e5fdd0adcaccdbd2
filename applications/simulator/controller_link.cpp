#include "applications/simulator/controller_link.h"

#include <lib_plugins_management/plugin_description.h>

using namespace plugin_description;

ControllerLink ControllerLink::describedBy(const QVariantMap& description, const QJsonObject& configuration)
{
    const auto number = [&](const char* entry, int otherwise) {
        return configuration.value(description.value(QLatin1String(entry)).toString()).toInt(otherwise);
    };
    ControllerLink link;
    link.unitId = number(c_unit, link.unitId);
    link.addressOffset = number(c_addressOffset, link.addressOffset);
    return link;
}

QString ControllerLink::toText() const
{
    const QString unit = QStringLiteral("unit %1").arg(unitId);
    return addressOffset == 0 ? unit : QStringLiteral("%1, address offset %2").arg(unit).arg(addressOffset);
}
