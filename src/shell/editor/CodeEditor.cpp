#include "shell/editor/CodeEditor.h"

#include "presentation/highlight/FileLanguage.h"
#include "presentation/markdown/MarkdownStyle.h"
#include "shell/chat/ChatStyle.h"

#include <QFontDatabase>
#include <QPainter>
#include <QTextBlock>

namespace corvane {

class LineNumberGutter : public QWidget
{
public:
    explicit LineNumberGutter(CodeEditor *editor) : QWidget(editor), m_editor(editor) {}
    QSize sizeHint() const override { return {m_editor->gutterWidth(), 0}; }

protected:
    void paintEvent(QPaintEvent *event) override { m_editor->paintGutter(event); }

private:
    CodeEditor *m_editor;
};

CodeEditor::CodeEditor(QWidget *parent) : QPlainTextEdit(parent), m_gutter(new LineNumberGutter(this))
{
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setTabStopDistance(fontMetrics().horizontalAdvance(QLatin1Char(' ')) * 4);
    connect(this, &QPlainTextEdit::updateRequest, this, [this](const QRect &rect, int dy) {
        if (dy)
            m_gutter->scroll(0, dy);
        else
            m_gutter->update(0, rect.y(), m_gutter->width(), rect.height());
    });
    connect(this, &QPlainTextEdit::blockCountChanged, this, &CodeEditor::updateGutterWidth);
    setViewportMargins(gutterWidth(), 0, 0, 0);
    // Typing into a coloured line would slide its colours onto the wrong characters until the
    // next highlight arrives: the line goes plain at once instead. Other lines keep theirs, as
    // their colours are held per line.
    // A highlight asked for before the change is of another text now and must not land.
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
        m_pending.reset();
        m_highlighted = false;
        const QTextBlock block = textCursor().block();
        for (QTextBlock touched : {block.previous(), block})
            if (touched.isValid() && !touched.layout()->formats().isEmpty()) {
                touched.layout()->clearFormats();
                document()->markContentsDirty(touched.position(), touched.length());
            }
    });
    if (SyntaxHighlighter *highlighter = sharedHighlighter())
        connect(highlighter, &SyntaxHighlighter::highlighted, this, &CodeEditor::highlightArrived);
}

int CodeEditor::gutterWidth() const
{
    const int digits = int(QString::number(std::max(1, largestLineNumber())).size());
    return 16 + fontMetrics().horizontalAdvance(QLatin1Char('9')) * std::max(digits, 3);
}

void CodeEditor::updateGutterWidth()
{
    setViewportMargins(gutterWidth(), 0, 0, 0);
    resizeEvent(nullptr);
}

void CodeEditor::highlight()
{
    m_pending.reset();
    m_highlighted = false;
    SyntaxHighlighter *highlighter = sharedHighlighter();
    const QString text = toPlainText();
    // The size test is on UTF-8 bytes; a text with fewer UTF-16 units than that is under it.
    if (!m_language || !highlighter
        || (text.size() > largestHighlightedText / 3 && text.toUtf8().size() > largestHighlightedText))
        return clearHighlight();
    const HighlightKey key{highlightThemeName(ChatStyle::isDark(palette())), *m_language, text};
    m_pending = key;
    if (!highlighter->request(key))
        highlightArrived(key);
}

void CodeEditor::highlightArrived(const HighlightKey &key)
{
    // Every highlight of the application passes here (chat code blocks too): only ours counts.
    if (!m_pending || !(*m_pending == key))
        return;
    m_pending.reset();
    if (const auto styled = SyntaxHighlighter::cached(key); styled && !styled->runs.isEmpty())
        applyHighlight(*styled);
    m_highlighted = true;
}

void CodeEditor::clearHighlight()
{
    applyHighlight({});
}

void CodeEditor::applyHighlight(const StyledText &highlighted)
{
    applyHighlightFormats(document(), highlighted);
    document()->markContentsDirty(0, document()->characterCount());
    viewport()->update();
}

void applyHighlightFormats(QTextDocument *document, const StyledText &highlighted)
{
    // Per block, as QSyntaxHighlighter would: the layout's additional formats leave the text and
    // the undo history alone and cost nothing to lay out again.
    qsizetype run = 0;
    for (QTextBlock block = document->firstBlock(); block.isValid(); block = block.next()) {
        const int start = block.position(), end = start + block.length();
        QList<QTextLayout::FormatRange> ranges;
        while (run < highlighted.runs.size() && highlighted.runs[run].start + highlighted.runs[run].length <= start)
            ++run;
        for (qsizetype r = run; r < highlighted.runs.size() && highlighted.runs[r].start < end; ++r) {
            const StyledRun &styled = highlighted.runs[r];
            if (!styled.color.isValid() && !styled.bold && !styled.italic)
                continue;
            QTextLayout::FormatRange range;
            range.start = std::max(styled.start, start) - start;
            range.length = std::min(styled.start + styled.length, end) - start - range.start;
            if (styled.color.isValid())
                range.format.setForeground(styled.color);
            if (styled.bold)
                range.format.setFontWeight(QFont::Bold);
            range.format.setFontItalic(styled.italic);
            ranges.append(range);
        }
        if (!ranges.isEmpty() || !block.layout()->formats().isEmpty())
            block.layout()->setFormats(ranges);
    }
}

void CodeEditor::resizeEvent(QResizeEvent *event)
{
    if (event)
        QPlainTextEdit::resizeEvent(event);
    const QRect area = contentsRect();
    m_gutter->setGeometry(area.left(), area.top(), gutterWidth(), area.height());
}

void CodeEditor::paintGutter(QPaintEvent *event)
{
    QPainter painter(m_gutter);
    painter.fillRect(event->rect(), palette().color(QPalette::Window));
    painter.setFont(font());
    QTextBlock block = firstVisibleBlock();
    int top = qRound(blockBoundingGeometry(block).translated(contentOffset()).top());
    const int height = fontMetrics().height();
    const int current = textCursor().blockNumber();
    while (block.isValid() && top <= event->rect().bottom()) {
        if (const auto number = lineNumber(block.blockNumber()); number && block.isVisible()) {
            const bool atCursor = !isReadOnly() && block.blockNumber() == current;
            painter.setPen(palette().color(atCursor ? QPalette::Text : QPalette::PlaceholderText));
            painter.drawText(0, top, m_gutter->width() - 8, height, Qt::AlignRight, QString::number(*number));
        }
        top += qRound(blockBoundingRect(block).height());
        block = block.next();
    }
}

} // namespace corvane
