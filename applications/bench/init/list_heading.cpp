#include "applications/bench/init/list_heading.h"

#include "applications/bench/init/plain_words.h"

#include <QList>
#include <QRegularExpression>

namespace {

struct Wording
{
    ListColumn column;
    QStringList words; // any of them
};

// In this order: a heading is the first of these columns that it fits and that has no place yet.
const QList<Wording>& wordings()
{
    using C = ListColumn;
    static const QList<Wording> c_wordings{
        {C::WordOrder, {"endian", "endianness", "order", "byteorder", "wordorder"}},
        {C::Scale, {"scale", "scaling", "factor", "facteur", "faktor", "resolution"}},
        {C::Unit, {"unit", "units", "unite", "einheit"}},
        {C::Channel, {"channel", "canal", "kanal"}},
        {C::CountInBytes, {"bytes", "octets"}},
        {C::Table, {"table", "area", "fc", "function", "functions", "fonction", "funktion"}},
        {C::Access, {"access", "acces", "zugriff", "rw", "permission", "readwrite", "mode"}},
        {C::Type, {"type", "typ", "format", "datatype", "datentyp"}},
        {C::Size, {"size", "stride", "taille", "grosse"}},
        {C::Count,
         {"count", "length", "len", "words", "quantity", "qty", "registers", "longueur", "anzahl", "lange",
          "nb"}},
        {C::Block, {"block", "group", "section", "category", "bloc", "groupe", "gruppe"}},
        {C::Address,
         {"address", "addresses", "addr", "adr", "adress", "adresse", "register", "registre", "reg",
          "modbus"}},
        {C::Name,
         {"name", "parameter", "variable", "signal", "tag", "nom", "bezeichnung", "designation", "label",
          "item", "object", "data"}},
        {C::Description,
         {"description", "meaning", "comment", "comments", "remark", "beschreibung", "signification",
          "commentaire"}},
    };
    return c_wordings;
}

std::optional<ListColumn> columnOf(const QStringList& words, const QMap<ListColumn, int>& taken)
{
    // "Register type" and "register table" are about the table, "number of registers" about a count.
    const bool isOfRegister = hasWord(words, {"register", "registers"});
    if (isOfRegister && hasWord(words, {"type", "typ", "kind", "table"}))
        return ListColumn::Table;
    if (words == QStringList{"r", "w"} || words == QStringList{"read", "write"})
        return ListColumn::Access;
    for (const Wording& wording : wordings()) {
        if (!taken.contains(wording.column) && hasWord(words, wording.words))
            return wording.column;
    }
    return std::nullopt;
}

void readAddressHeading(const QString& cell, ListHeading& heading)
{
    static const QRegularExpression c_fromZero(
        QStringLiteral("0[- ]based|zero[- ]based|from 0|pdu|wire|protocol|offset"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression c_fromOne(QStringLiteral("1[- ]based|one[- ]based|from 1"),
                                              QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression c_notation(QStringLiteral("4x|modicon|4[0x]{4}"),
                                               QRegularExpression::CaseInsensitiveOption);
    heading.isHexadecimal = cell.contains(QLatin1String("hex"), Qt::CaseInsensitive);
    heading.isNotation = c_notation.match(cell).hasMatch();
    if (c_fromZero.match(cell).hasMatch())
        heading.base = 0;
    else if (c_fromOne.match(cell).hasMatch())
        heading.base = 1;
}

} // namespace

std::optional<ListHeading> listHeading(const QStringList& cells)
{
    ListHeading heading;
    for (int i = 0; i < cells.size(); ++i) {
        const std::optional<ListColumn> column = columnOf(plainWords(cells.at(i)), heading.columns);
        if (!column || heading.columns.contains(*column))
            continue;
        heading.columns.insert(*column, i);
        if (*column == ListColumn::Address)
            readAddressHeading(cells.at(i), heading);
    }
    const auto& columns = heading.columns;
    const bool isNamed = columns.contains(ListColumn::Channel) || columns.contains(ListColumn::Name) ||
                         columns.contains(ListColumn::Description);
    if (!columns.contains(ListColumn::Address) || !isNamed)
        return std::nullopt;
    return heading;
}
