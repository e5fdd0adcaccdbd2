#pragma once

#include <lib_host/lib_host_global.h>

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <functional>

class DAbstractPlugin;

// One thing that is wrong in a configuration.
struct DConfigurationError
{
    QString file;
    // Where in the file, as "/objects/0/id"; empty for the file as a whole.
    QString path;
    // What is wrong and what is allowed.
    QString message;

    // "file: path: message"
    LIB_HOST_EXPORT QString toString() const;
};

struct DLoadedConfiguration
{
    // Complete and ready for DHost::configure(); empty when there are errors.
    QJsonObject configuration;
    QList<DConfigurationError> errors;
};

// The root objects of plug-in kinds, by the kind's identity. See DHost::kinds().
using DPluginKinds = QHash<QUuid, DAbstractPlugin*>;

// The most bytes that a file of a configuration has: the bundled ones have a hundredth of it.
constexpr qint64 c_configurationSizeLimit = 4 << 20;
// The most bytes that all its files have together.
constexpr qint64 c_configurationTotalLimit = 32 << 20;
// The most objects; the most files that one of them names.
constexpr int c_objectsLimit = 1000;
constexpr int c_objectFilesLimit = 100;
// The most channels of all objects together, each counted as often as an object has it; the most entries of
// one channel; and how many of all entries have the value "information": a maintenance page has a row for
// each.
constexpr int c_channelsLimit = 10000;
constexpr int c_channelEntriesLimit = 100;
constexpr int c_pageRowsLimit = 500;
// The most errors that are told of one configuration.
constexpr int c_configurationErrorsLimit = 1000;

// Reads a bench configuration: the file with the list "objects", and the files that an object's
// "configurationFiles" names (relative to it), whose members "channels" and "parameters" are joined
// with the object's own "configuration" in the order given. Every file is checked against the
// schema of its kind; a channel or parameter that is given twice is an error that names both files.
// An object's own "configuration" is checked against the schema that its plug-in kind has of it
// (plugin_description.h) as well; of a kind that is not among `kinds`, or has none, it is not.
// `path` may be a resource (":/…"). Never throws; whatever the files contain, errors say so.
LIB_HOST_EXPORT DLoadedConfiguration loadConfiguration(const QString& path, const DPluginKinds& kinds = {});

// Why a file that "configurationFiles" names is not used, as the end of a sentence about it; empty for one
// that is. Asked with its path and all that it holds.
using DFileJudge = std::function<QString(const QString& path, const QByteArray& text)>;
// The same, for who tells errors to others than the user: of a file that is not used they tell the path and
// why, and nothing of what it holds.
LIB_HOST_EXPORT DLoadedConfiguration loadConfiguration(const QString& path, const DPluginKinds& kinds,
                                                       const DFileJudge& judge);
