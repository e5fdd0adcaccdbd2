#pragma once

#include <QJsonObject>
#include <QVariantList>

// Blocks of registers, and what a configuration says of them.

inline constexpr const char* c_badIndex = "ERROR: cannot parse modbus value, index is incorrect";
inline constexpr const char* c_badFloat = "Erreur : type float nécessite exactement deux registres.";

// Words that cannot be taken for anything else: 1000, 1001, …
inline QVariantList words(int count)
{
    QVariantList list;
    for (int position = 0; position < count; ++position)
        list.append(1000 + position);
    return list;
}

inline QJsonObject descriptor(const char* name, int start, int end, const char* type)
{
    return {{"parameter_name", name}, {"start_address", start}, {"end_address", end}, {"type", type}};
}
