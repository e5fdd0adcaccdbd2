#pragma once

#include <QLatin1String>

// The names that a driver plug-in, the devices that are reached through it and the host have in common.
// docs/driver-contract.md says what they stand for and what a driver promises.
namespace driver_contract {

// The length is counted here: not every compiler counts it at compile time.
template <int Size>
constexpr QLatin1String text(const char (&characters)[Size])
{
    return QLatin1String(characters, Size - 1);
}

// Instructions, each a command of the driver.
constexpr QLatin1String c_read = text("read");
constexpr QLatin1String c_write = text("write");
constexpr QLatin1String c_listen = text("listen");
constexpr QLatin1String c_deviceInformation = text("deviceInformation");
constexpr QLatin1String c_stopListening = text("stopListening"); // ends what "listen" began

// Arguments.
constexpr QLatin1String c_register = text("register");
constexpr QLatin1String c_registerType = text("registerType");
constexpr QLatin1String c_dataSize = text("dataSize");
constexpr QLatin1String c_data = text("data");
constexpr QLatin1String c_recurrentInterval = text("recurrentInterval");

// Replies. That of "deviceInformation" has one entry of the instruction's name, a map with "info".
constexpr QLatin1String c_values = text("values");
constexpr QLatin1String c_info = text("info");

// Register types.
constexpr QLatin1String c_holdingRegisters = text("holdingRegisters");
constexpr QLatin1String c_singleRegister = text("singleRegister");
constexpr QLatin1String c_inputRegisters = text("inputRegisters");
constexpr QLatin1String c_coils = text("coils");
constexpr QLatin1String c_discreteInputs = text("discreteInputs");

// Milliseconds, for a caller who says none.
constexpr int c_defaultDeadline = 3000;
constexpr int c_defaultInterval = 100;

// Properties of an instance.
constexpr QLatin1String c_connected = text("connected");
constexpr QLatin1String c_address = text("address");
constexpr QLatin1String c_configurationErrors = text("configurationErrors");
constexpr QLatin1String c_statistics = text("statistics");

// Entries of the statistics.
constexpr QLatin1String c_sent = text("sent");
constexpr QLatin1String c_answered = text("answered");
constexpr QLatin1String c_refused = text("refused");
constexpr QLatin1String c_timedOut = text("timedOut");
constexpr QLatin1String c_malformed = text("malformed");
constexpr QLatin1String c_skippedPolls = text("skippedPolls");
constexpr QLatin1String c_connections = text("connections");
constexpr QLatin1String c_reconnects = text("reconnects");
constexpr QLatin1String c_failedOpenings = text("failedOpenings");
constexpr QLatin1String c_roundTrips = text("roundTrips");
constexpr QLatin1String c_roundTripMinimum = text("roundTripMinimum");
constexpr QLatin1String c_roundTripMedian = text("roundTripMedian");
constexpr QLatin1String c_roundTripPercentile99 = text("roundTripPercentile99");

} // namespace driver_contract
