#pragma once

#include <QList>
#include <QString>

struct DPluginReport;

// What somebody needs to be told who is asked for help: a line each for the program with the commit of its
// sources, the contract that plug-ins are built against, Qt as built with and as running, and each file of
// the plug-in folder, or why it is refused.
QString versionText(const QList<DPluginReport>& plugins);
