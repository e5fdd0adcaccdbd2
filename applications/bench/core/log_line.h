#pragma once

#include <QString>
#include <QtGlobal>

// A message of Qt's log as one line for a person at a console, without line feed.
//
// The plug-ins' lines begin with a line feed and carry date, thread, object, source file and line
// between ";<tab>" before the message. Short form: the message and where it comes from. With
// `complete` everything, joined to one line. Control characters are blanks.
QString readableLogLine(const QString& message, bool complete);

// True when a message of this type is shown: critical ones and warnings unless quiet, the rest with
// verbose only.
bool showsLogLine(QtMsgType type, bool verbose, bool quiet);
