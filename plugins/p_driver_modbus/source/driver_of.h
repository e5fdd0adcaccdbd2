#pragma once

class DAbstractCommand;
class PDriverModbus;

// The driver instance that a command belongs to, when it has a link. Otherwise the command has been
// failed with the reason, and the result is null.
PDriverModbus* driverOf(DAbstractCommand& command);
