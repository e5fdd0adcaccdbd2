#pragma once

#include <QString>
#include <QVariantMap>

// Why the results of an order that went well are still not what it was given for, with what to do about it;
// empty when they are. A device command tells a lock state that the controller does not know, or a preset
// that is not there, as a result among others.
QString unwantedResult(const QString& command, const QVariantMap& arguments, const QVariantMap& results);
