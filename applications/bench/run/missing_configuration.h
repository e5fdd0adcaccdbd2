#pragma once

#include "applications/bench/device_configuration/order_check.h"

#include <QStringList>

// What is wrong with what the order needs of the configuration; each with what to do. It is to be known
// before the order is placed: the command itself takes register 0, or writes what another command is for.
QStringList wrongConfiguration(const OrderedCommand& order);

// The same of an order that has failed, which its command does not tell itself: the channel to read that is
// not there as well.
QStringList missingConfiguration(const OrderedCommand& order);
