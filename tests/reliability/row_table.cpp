#include "tests/reliability/row_table.h"

#include <QRegularExpression>

void RowTable::add(Row row)
{
    static const QRegularExpression c_id(QStringLiteral("^[a-z0-9]+\\.[a-z0-9.-]+$"));
    if (!c_id.match(row.id).hasMatch() || m_positions.contains(row.id) || !row.run)
        qFatal("the row \"%s\" has no usable id, one that is taken, or nothing to run", qPrintable(row.id));
    m_positions.insert(row.id, m_rows.size());
    m_rows.append(std::move(row));
}

const Row* RowTable::find(const QString& id) const
{
    const auto position = m_positions.constFind(id);
    return position == m_positions.cend() ? nullptr : &m_rows.at(*position);
}
