#pragma once

#include <QString>

class DAbstractPlugin;

// Who answers, as far as a configuration is chosen by it. Without anything known of it, it is taken as the
// commands take it: generation 1 with its second layout of registers.
struct ConnectedController
{
    int generation = 1; // 1 or above
    int firmware = 0;   // 4012 of "4.01.2"
    bool isBm = false;
    // By which name the text of its backup is looked up; empty when it tells none.
    QString modelName = QString();
};

// Of a device that "getInfo" has been run with.
ConnectedController connectedController(const DAbstractPlugin& device);
