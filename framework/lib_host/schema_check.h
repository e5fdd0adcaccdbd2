#pragma once

#include <lib_host/lib_host_global.h>

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>

// One deviation of a document from its schema.
struct DSchemaError
{
    // JSON pointer into the document, as "/objects/0/id"; empty for the document itself.
    QString path;
    // What is wrong, with the value found, and what is allowed: the "description" that the schema
    // gives at this place.
    QString message;
};

// Compares a document with a JSON schema (draft 7). Of errors along one path only the innermost is
// reported. An empty list means that the document conforms. A schema that is none is one error, of the
// document itself; it is found at the latest when the document has something that it is about.
LIB_HOST_EXPORT QList<DSchemaError> checkAgainstSchema(const QJsonValue& document, const QJsonObject& schema);
