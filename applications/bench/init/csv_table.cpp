#include "applications/bench/init/csv_table.h"

#include <QTextCodec>

#include <algorithm>

namespace {

const QString c_told = QStringLiteral("sep=");

class CsvReader
{
public:
    CsvReader(const QString& text, QChar separator)
        : m_text(text)
        , m_separator(separator)
    {}

    QList<CsvRow> read()
    {
        for (; m_at < m_text.size(); ++m_at)
            take(m_text.at(m_at));
        endRow();
        return m_rows;
    }

private:
    void take(QChar character)
    {
        if (m_isQuoted)
            takeQuoted(character);
        else if (character == QLatin1Char('"') && m_cell.trimmed().isEmpty())
            m_isQuoted = true;
        else if (character == m_separator)
            endCell();
        else if (character == QLatin1Char('\n'))
            endRow();
        else if (character != QLatin1Char('\r'))
            m_cell += character;
    }

    void takeQuoted(QChar character)
    {
        if (character == QLatin1Char('\n'))
            ++m_line;
        if (character != QLatin1Char('"')) {
            m_cell += character;
        } else if (m_at + 1 < m_text.size() && m_text.at(m_at + 1) == QLatin1Char('"')) {
            m_cell += character;
            ++m_at;
        } else {
            m_isQuoted = false;
        }
    }

    void endCell()
    {
        m_cells.append(m_cell.simplified());
        m_cell.clear();
    }

    void endRow()
    {
        endCell();
        const bool isTold = m_rows.isEmpty() && m_cells.constFirst().startsWith(c_told, Qt::CaseInsensitive);
        if (!isTold && std::any_of(m_cells.cbegin(), m_cells.cend(),
                                   [](const QString& cell) { return !cell.isEmpty(); }))
            m_rows.append({m_firstLine, m_cells});
        m_cells.clear();
        ++m_line;
        m_firstLine = m_line;
    }

    const QString& m_text;
    const QChar m_separator;
    int m_at = 0;
    int m_line = 1;
    int m_firstLine = 1;
    bool m_isQuoted = false;
    QString m_cell;
    QStringList m_cells;
    QList<CsvRow> m_rows;
};

} // namespace

QString csvText(const QByteArray& bytes)
{
    QTextCodec* const utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec* const marked = QTextCodec::codecForUtfText(bytes, utf8);
    QTextCodec::ConverterState state;
    const QString text = marked->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 ? text : QString::fromLatin1(bytes);
}

QChar toldSeparator(const QString& text)
{
    const QString line = text.section(QLatin1Char('\n'), 0, 0).trimmed();
    // A tab at the end of the line is its own.
    const bool isTold = line.startsWith(c_told, Qt::CaseInsensitive);
    if (!isTold)
        return {};
    return line.size() == c_told.size() ? QLatin1Char('\t') : line.at(c_told.size());
}

QList<CsvRow> csvRows(const QString& text, QChar separator)
{
    return CsvReader(text, separator).read();
}
