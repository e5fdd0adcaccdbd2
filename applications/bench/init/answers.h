#pragma once

#include "applications/bench/init/init_options.h"

#include <QString>

#include <optional>

// What a person answers, and what is wrong with it: each function takes an answer into the options and
// returns a complaint, empty for a good one.

// "192.168.1.20", "controller:1502", "/dev/ttyUSB0", "COM3".
QString takeAddress(const QString& answer, InitOptions& options);
QString takePort(const QString& answer, InitOptions& options);
QString takeBaudRate(const QString& answer, InitOptions& options);
QString takeParity(const QString& answer, InitOptions& options);
QString takeUnit(const QString& answer, InitOptions& options);
QString takeOffset(const QString& answer, InitOptions& options);
QString takeGeneration(const QString& answer, InitOptions& options);
QString takeReference(const QString& answer, InitOptions& options);
// An empty answer is no list.
QString takeRegisterList(const QString& answer, InitOptions& options);

// "yes", "y", "no", "n"; nothing for another answer.
std::optional<bool> yesOrNo(const QString& answer);
