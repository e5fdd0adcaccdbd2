#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// What the columns of a register list are, by their headings.

enum class ListColumn {
    Channel,
    Name,
    Description,
    Address,
    Count,
    CountInBytes,
    Size,
    Type,
    Access,
    Table,
    Block,
    WordOrder,
    Scale,
    Unit
};

struct ListHeading
{
    QMap<ListColumn, int> columns; // places from 0
    // What the heading of the addresses says of them.
    std::optional<int> base;
    bool isHexadecimal = false;
    bool isNotation = false; // 4xxxx
};

// Nothing for cells that are no heading: one has an address, and a name, a channel or a description.
std::optional<ListHeading> listHeading(const QStringList& cells);
