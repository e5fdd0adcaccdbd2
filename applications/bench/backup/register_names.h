#pragma once

#include "plugins/p_device_mdc/model/backup_range.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

// One register as a group of the configuration knows it.
struct PlaceInGroup
{
    QString group;    // empty for a register of no group
    int position = 0; // in the group, from 1; 0 without a group
};

// The groups by the registers that they list.
class RegisterNames
{
public:
    RegisterNames() = default;
    // `wanted` limits it to these groups; null takes all.
    explicit RegisterNames(const RegisterGroups& groups, const QStringList* wanted = nullptr);

    // In the order of the groups' names, numbers in them counted; empty for a register of no group.
    QList<PlaceInGroup> placesOf(int registerNumber) const { return m_places.value(registerNumber); }

private:
    QHash<int, QList<PlaceInGroup>> m_places;
};

// By the words, and of equal words by the numbers at their ends: "preset2" before "preset10".
bool isNameBefore(const QString& left, const QString& right);

// "1-20, 25, 30-31"; the numbers ascending, repeated ones once.
QString rangesText(const QList<int>& ascending);
