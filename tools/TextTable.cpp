#include "TextTable.h"

namespace {

const QString Gap = QStringLiteral("  ");

} // namespace

TextTable::TextTable(const QStringList &titles)
    : m_rows{titles}
{ }

void TextTable::addRow(const QStringList &cells)
{
    Q_ASSERT(cells.size() == m_rows.constFirst().size());
    m_rows.append(cells);
}

QString TextTable::text() const
{
    QVector<int> widths(m_rows.constFirst().size());
    for (const QStringList &row : m_rows) {
        for (int i = 0; i < row.size(); ++i)
            widths[i] = qMax(widths.at(i), row.at(i).size());
    }
    QString lines;
    for (const QStringList &row : m_rows) {
        for (int i = 0; i + 1 < row.size(); ++i)
            lines += row.at(i).leftJustified(widths.at(i)) + Gap;
        lines += row.constLast() + QLatin1Char('\n');
    }
    return lines;
}
