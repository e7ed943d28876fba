#ifndef TEXTTABLE_H
#define TEXTTABLE_H

#include <QStringList>
#include <QVector>

/// Columns of text, each as wide as its widest cell.
class TextTable
{
public:
    explicit TextTable(const QStringList &titles);

    /// One cell for each title.
    void addRow(const QStringList &cells);

    /// All lines with their line ends, the titles first; no blanks at the end of a line.
    QString text() const;

private:
    QVector<QStringList> m_rows;
};

#endif
