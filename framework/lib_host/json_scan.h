#pragma once

#include <lib_host/lib_host_global.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// What Qt's parser of JSON does not tell: it keeps one of two equal keys without a word, and of a text that
// is no JSON it says what it met, not what is missing.

struct DRepeatedKey
{
    QString key;
    // Of the key's opening quote, in bytes.
    int offset = 0;
    int firstOffset = 0;
};

struct DJsonFault
{
    int offset = 0; // where the text stops being JSON, in bytes
    QString message;
};

struct DJsonScan
{
    // Up to the fault, in the order of the text. Keys are compared as they read, escapes resolved.
    QList<DRepeatedKey> repeatedKeys;
    // Nothing for a text that is JSON. What is in a text between quotes is not looked at.
    std::optional<DJsonFault> fault;
};

// Never recurses: the nesting of the text is no matter.
LIB_HOST_EXPORT DJsonScan scanJson(const QByteArray& text);

// "line 3, column 7" of a byte offset, both from 1; columns are of characters.
LIB_HOST_EXPORT QString positionInText(const QByteArray& text, int offset);
