#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

// A register list, and what a configuration is told by it.
struct RegisterListRow
{
    const char* name;
    QByteArray text;
    // "lockChangeV2.register=6004", "eventDataKeysV2=…" as compact JSON; all that there is, in the order of
    // the alphabet.
    QStringList known;
    // "3: it has no address": line and a part of the reason.
    QStringList leftOut = {};
    int generation = 2;
    // Nothing is told: 1.
    int offset = 1;
    int offsetOfDriver = 0; // expected
    int firmware = 0;       // of the controller: 1500 of "1.50.0"
};

QList<RegisterListRow> registerListRows();

// Texts of which nothing can be read, and a part of what is said.
struct UnreadableListRow
{
    const char* name;
    QByteArray text;
    const char* error;
};

QList<UnreadableListRow> unreadableListRows();
