#include "shell/diff/DiffPane.h"

#include "shell/editor/CodeEditor.h"

#include <QFontDatabase>
#include <QPainter>
#include <QTextBlock>

namespace corvane {

class DiffGutter : public QWidget
{
public:
    explicit DiffGutter(DiffPane *pane) : QWidget(pane), m_pane(pane) {}
    QSize sizeHint() const override { return {m_pane->gutterWidth(), 0}; }

protected:
    void paintEvent(QPaintEvent *event) override { m_pane->paintGutter(event); }

private:
    DiffPane *m_pane;
};

DiffPane::DiffPane(QWidget *parent) : QPlainTextEdit(parent), m_gutter(new DiffGutter(this))
{
    setReadOnly(true);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect &rect, int dy) {
        if (dy)
            m_gutter->scroll(0, dy);
        else
            m_gutter->update(0, rect.y(), m_gutter->width(), rect.height());
    });
}

int DiffPane::gutterWidth() const
{
    int largest = 1;
    for (const auto &number : m_numbers)
        largest = std::max(largest, number.value_or(0));
    return 12 + fontMetrics().horizontalAdvance(QLatin1Char('9')) * int(QString::number(largest).size());
}

void DiffPane::show(const QString &text, const QList<std::optional<int>> &numbers, const QList<QColor> &tints)
{
    m_numbers = numbers;
    setPlainText(text);
    setViewportMargins(gutterWidth(), 0, 0, 0);
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
    resizeEvent(nullptr);
}

void DiffPane::applyHighlight(const StyledText &highlighted)
{
    applyHighlightFormats(document(), highlighted);
    document()->markContentsDirty(0, document()->characterCount());
    viewport()->update();
}

void DiffPane::resizeEvent(QResizeEvent *event)
{
    if (event)
        QPlainTextEdit::resizeEvent(event);
    const QRect area = contentsRect();
    m_gutter->setGeometry(area.left(), area.top(), gutterWidth(), area.height());
}

void DiffPane::paintGutter(QPaintEvent *event)
{
    QPainter painter(m_gutter);
    painter.fillRect(event->rect(), palette().color(QPalette::Window));
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.setFont(font());
    QTextBlock block = firstVisibleBlock();
    int top = qRound(blockBoundingGeometry(block).translated(contentOffset()).top());
    const int height = fontMetrics().height();
    while (block.isValid() && top <= event->rect().bottom()) {
        const int row = block.blockNumber();
        if (row < m_numbers.size() && m_numbers[row])
            painter.drawText(0, top, m_gutter->width() - 6, height, Qt::AlignRight, QString::number(*m_numbers[row]));
        top += qRound(blockBoundingRect(block).height());
        block = block.next();
    }
}

} // namespace corvane
