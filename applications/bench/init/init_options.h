#pragma once

#include "applications/bench/core/shared_options.h"
#include "applications/bench/init/controller_line.h"

#include <QString>

struct InitOptions
{
    QString folder;
    QString host;
    QString serialPort;
    // What nobody has given is 0, -1 or empty: it is asked for on a terminal, and the driver's usual
    // elsewhere.
    int port = 0;
    int baudRate = 0;
    QString parity;
    int unitId = -1;
    QString offset; // "0" or "-1"
    QString reference;
    // "1", "2" or "all"; empty: the one that answers.
    QString generation;
    QString registerList; // file; empty for none
    bool withoutQuestions = false;
    int linkWait = c_defaultLinkWait; // ms
};

// With the usual settings for those that are not given.
ControllerLine lineOf(const InitOptions& options);
