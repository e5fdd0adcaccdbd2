#pragma once

#include <QByteArray>
#include <QString>

// What stands in the place of a page's placeholders "{OBJECT_NAME}", "{OBJECT_ID}" and
// "{OBJECT_REFERENCE}".
struct PageValues
{
    QString name;
    QString id;
    QString reference;
};

// The text as it stands between the quotes of a JSON string, without any character that ends a line in
// a script: it is read back as it was and is never anything but text.
QString jsonSafe(const QString& text);

// The page's text (UTF-8) with every placeholder replaced, once: a value that looks like a placeholder
// stays as it is.
QByteArray filledPage(const QByteArray& page, const PageValues& values);
