#pragma once

#include <QString>
#include <QVariantList>

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
