#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

// What a page about a bench is made of, as it was looked at.
struct CheckPage
{
    struct Row
    {
        QString name;
        QString text;
    };

    QString time;
    QString configurationName;
    QStringList versions; // a line each
    QString verdict;      // "12 ok, warnings: 0, errors: 1"
    bool isGood = false;
    QJsonArray objects;  // of the configuration
    QJsonArray findings; // "level", "subject", "message", "remedy"
    QStringList valueHeader;
    QList<QStringList> values;
    QList<Row> measurements;
};

// One page of HTML that needs nothing else, to look at, to print and to sign. Texts of the configuration and
// of a controller are only ever text.
QByteArray checkPage(const CheckPage& page);
