#pragma once

#include "presentation/markdown/MarkdownBlock.h"
#include "presentation/markdown/MarkdownStyle.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <utility>

namespace corvane {

class SyntaxHighlighter;

// What a rendering depends on besides the text.
struct MarkdownOptions
{
    bool dark = false;
    double textScale = 1.0; // the chat text scale of AppSettings
    // When set, code that is not highlighted yet is queued there; the block comes back with
    // `highlightPending` and the highlighter's `highlighted` signal says when to render again.
    // While streaming, the open fence at the end of a reply is shown plain and not queued.
    // Set it only on the thread that owns the highlighter; elsewhere leave it null (cached
    // highlights are still used, from any thread).
    SyntaxHighlighter *highlighter = nullptr;
};

// Formats the Markdown that agents write: fenced code with a language, tables, ATX headings,
// bullet and numbered items, and inline code, bold, italic and links. Line-oriented for blocks
// and one left-to-right scan per line for inline spans. It never fails: what it does not
// recognise stays literal text, and a half-written last line is always a valid paragraph or
// code body, so a growing reply can be re-rendered after every delta.
//
// A renderer is cheap and made per parse; its caches are process-wide and thread-safe, and
// carry the appearance in their keys, so switching light and dark needs no invalidation.
class MarkdownRenderer
{
public:
    // `size` is the base font size in pixels, text scale already applied.
    MarkdownRenderer(double size, bool dark, SyntaxHighlighter *highlighter = nullptr);

    // The entry point; the chat passes a font size of 14. While streaming nothing is cached
    // (every call has a new string); otherwise the block lists of the last 256 contents are,
    // once the highlights of their code are known.
    static QList<MarkdownBlock> blocks(const QString &content, bool isStreaming, double fontSize,
                                       const MarkdownOptions &options = {});

    QList<MarkdownBlock> parseBlocks(const QString &text) const;
    // Inline spans of one line; the last 512 results are cached.
    StyledText renderInline(const QString &text) const;

    static bool isTableSeparator(const QString &line);
    static std::optional<std::pair<int, QString>> parseHeading(const QString &line);
    static QStringList splitCells(const QString &line);

    const FontRamp &fonts() const { return *m_fonts; }
    const MarkdownPalette &palette() const { return m_palette; }

    // Empties the block and inline caches (benchmarks measure a cold parse with it).
    static void clearCaches();

private:
    StyledText scanInline(const QString &text) const;
    MarkdownBlock codeBlock(const QString &code, const QString &language, bool closed) const;
    qsizetype parseTable(const QStringList &lines, qsizetype at, QList<MarkdownBlock> &out) const;

    std::shared_ptr<const FontRamp> m_fonts;
    MarkdownPalette m_palette;
    bool m_dark;
    SyntaxHighlighter *m_highlighter;
    bool m_streaming = false;
    mutable int m_unsettledCode = 0; // code blocks parsed before their highlight was known
};

} // namespace corvane
