#include "shell/diff/DiffPane.h"

#include <QTextBlock>

namespace corvane {

DiffPane::DiffPane(QWidget *parent) : CodeEditor(parent)
{
    setReadOnly(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
}

std::optional<int> DiffPane::lineNumber(int block) const
{
    return block < m_numbers.size() ? m_numbers[block] : std::nullopt;
}

int DiffPane::largestLineNumber() const
{
    int largest = 1;
    for (const auto &number : m_numbers)
        largest = std::max(largest, number.value_or(0));
    return largest;
}

void DiffPane::show(const QString &text, const QList<std::optional<int>> &numbers, const QList<QColor> &tints)
{
    m_numbers = numbers;
    setPlainText(text);
    updateGutterWidth();
    // Block backgrounds span the whole width; only tinted rows are touched.
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    QTextBlock block = document()->firstBlock();
    for (qsizetype row = 0; block.isValid() && row < tints.size(); ++row, block = block.next()) {
        if (!tints[row].isValid())
            continue;
        cursor.setPosition(block.position());
        QTextBlockFormat format = block.blockFormat();
        format.setBackground(tints[row]);
        cursor.setBlockFormat(format);
    }
    cursor.endEditBlock();
}

} // namespace corvane
