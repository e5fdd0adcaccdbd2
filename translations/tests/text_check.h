#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// The ids whose texts a source file (C++ or QML) asks for, each with the English text that stands beside
// it in a //% comment, null where there is none.
QMap<QString, QString> idsIn(const QString& source);

// The same for all sources below the folders, their tests left out.
QMap<QString, QString> idsBelow(const QStringList& folders);

// What is wrong with the .ts files of one catalogue, one per language and the English one first, for these
// ids: a file that cannot be read or holds another language than its name says, an id without a text, a text
// for no id or for one twice, an empty or unfinished text, placeholders that differ from the English text's,
// an English text that differs from the one in the sources. Empty when all is well.
QStringList textFaults(const QMap<QString, QString>& ids, const QStringList& files);
