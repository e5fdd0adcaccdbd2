#pragma once

#include <QString>
#include <QVariantList>

#include <optional>

// The device information record: what the host and the plug-in's own commands are told about the
// connected controller.
struct DeviceInformation
{
    QString controllerModel;
    QString screwdriverModel;
    QString version;         // "4.01.2"; empty when unknown
    QString screwdriverSN;   // empty when unknown
    int softwareVersion = 1; // generation of the register map
};

// The record as a list of five maps {"id", "name", "value"} in the order of the members; "name" is
// translated by the host's catalogue, "id" is what a reader looks an entry up by.
QVariantList deviceInformationRecord(const DeviceInformation& information);

// What a record tells, each member as its entry's value; a member without an entry is empty or 0.
// Nothing when `record` is no list, or holds no entry for any member.
std::optional<DeviceInformation> deviceInformation(const QVariant& record);

// The name under which the configuration keeps what holds for the controller's model: of generation 1
// "MDgen1V1" with the first firmware, else the controller's model; of a later one "MDgen" and its
// number. Nothing for generation 0, which no controller has. Of the generation the low 16 bits count.
std::optional<QString> configurationModelName(const DeviceInformation& information);
