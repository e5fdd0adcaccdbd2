#pragma once

#include <lib_host/lib_host_global.h>

#include <QJsonObject>
#include <QList>
#include <QString>

// One thing that is wrong in a configuration.
struct DConfigurationError
{
    QString file;
    // Where in the file, as "/objects/0/id"; empty for the file as a whole.
    QString path;
    // What is wrong and what is allowed.
    QString message;

    // "file: path: message"
    QString toString() const;
};

struct DLoadedConfiguration
{
    // Complete and ready for DHost::configure(); empty when there are errors.
    QJsonObject configuration;
    QList<DConfigurationError> errors;
};

// Reads a bench configuration: the file with the list "objects", and the files that an object's
// "configurationFiles" names (relative to it), whose members "channels" and "parameters" are joined
// with the object's own "configuration" in the order given. Every file is checked against the
// schema of its kind; a channel or parameter that is given twice is an error that names both files.
// `path` may be a resource (":/…"). Never throws; whatever the files contain, errors say so.
LIB_HOST_EXPORT DLoadedConfiguration loadConfiguration(const QString& path);
