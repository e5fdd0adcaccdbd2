#pragma once

#include "applications/bench/core/driver_description.h"
#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/device_configuration/finding.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QVariantMap>

// An order, and what it meets.
struct OrderedCommand
{
    QJsonObject configuration; // of the device object
    QString command;
    QVariantMap arguments = {};
    ConnectedController controller = {};
    // What the device's driver says.
    RegisterTypes types = {};
    AddressOffset offset = {};
};

// What speaks against an order: the errors that a look at the whole configuration has about what this command
// looks up for this controller. What another command or another controller needs is not looked at, so that a
// command can be run with a configuration that is half finished.
//
// A channel that "getRegister" is to read and that is not there is the order's mistake, not the
// configuration's: nothing is said of it.
QList<Finding> checkOrder(const OrderedCommand& order);
