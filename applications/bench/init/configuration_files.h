#pragma once

#include "applications/bench/init/planned_configuration.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// The files that a planned configuration becomes, written as a person would: members in the order in which
// one reads them, an entry on a line.
struct ConfigurationFile
{
    QString name; // within the folder
    QByteArray text;
};

// "bench.json" first, the schemas for editors last. What is not known is left out: the check names it.
QList<ConfigurationFile> configurationFiles(const PlannedConfiguration& plan);

// Every name that a file of any configuration may have.
QStringList possibleFileNames();
