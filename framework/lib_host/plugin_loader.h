#pragma once

#include <QList>
#include <QString>

class DAbstractPlugin;

// One file of a plug-in folder: the root object it yields, or why it yields none.
struct DLoadedPlugin
{
    QString file;
    // Owned by Qt's plug-in loader; lives until the program ends. Null when there is an error.
    DAbstractPlugin* root = nullptr;
    QString error;
};

// Loads every file of the folder whose name is a library's, in file name order. No code of a file
// runs before its metadata has been found good: built with this Qt, interface identifier
// "org.mdcbench.<class name>". A folder that cannot be read is one entry, and so is one that others may write
// to.
QList<DLoadedPlugin> loadPluginFolder(const QString& folder);
