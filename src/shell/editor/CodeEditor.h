#pragma once

#include "presentation/highlight/SyntaxHighlighter.h"

#include <QPlainTextEdit>

#include <optional>

namespace corvane {

// Colours a document's blocks from a highlight of its whole text; runs past the text are ignored.
void applyHighlightFormats(QTextDocument *document, const StyledText &highlighted);

// Plain text in the fixed-width font with a gutter of line numbers, coloured by highlight.js
// off the main thread. highlight() asks for the current text; the colours land only if the
// text is still the same when they arrive, so a slow result never paints over newer typing.
class CodeEditor : public QPlainTextEdit
{
    Q_OBJECT

public:
    explicit CodeEditor(QWidget *parent = nullptr);

    // The highlight.js language, or none for plain text.
    void setLanguage(const std::optional<QString> &language) { m_language = language; }
    std::optional<QString> language() const { return m_language; }
    // Asks for colours for the text as it is now: at once from the cache, else when the worker
    // is done. Plain for no language, and for a text above largestHighlightedText bytes.
    void highlight();
    // Colours the whole text from a highlight of it; runs past the text are ignored.
    void applyHighlight(const StyledText &highlighted);
    // True once colours for the current text have been applied.
    bool isHighlighted() const { return m_highlighted; }

    int gutterWidth() const;

protected:
    // The number the gutter shows beside a line (counted from 0), none for a blank; and the
    // largest one, which sizes the gutter. Plain files number their lines from 1.
    virtual std::optional<int> lineNumber(int block) const { return block + 1; }
    virtual int largestLineNumber() const { return blockCount(); }
    // Makes the gutter room for the largest number again.
    void updateGutterWidth();
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class LineNumberGutter;
    void paintGutter(QPaintEvent *event);
    void highlightArrived(const HighlightKey &key);
    void clearHighlight();

    QWidget *m_gutter;
    std::optional<QString> m_language;
    std::optional<HighlightKey> m_pending;
    bool m_highlighted = false;
};

} // namespace corvane
