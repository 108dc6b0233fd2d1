#include "presentation/markdown/MarkdownRenderer.h"

#include "presentation/BoundedCache.h"
#include "presentation/highlight/HighlightTheme.h"
#include "presentation/highlight/SyntaxHighlighter.h"

#include <QRegularExpression>
#include <QUrl>

namespace corvane {

namespace {

struct BlocksKey
{
    bool dark;
    double size;
    bool highlighting; // lists made without a highlighter keep their code plain
    QString content;
    bool operator==(const BlocksKey &) const = default;
};

size_t qHash(const BlocksKey &key, size_t seed = 0)
{
    return qHashMulti(seed, key.dark, key.size, key.highlighting, key.content.size(), key.content);
}

BoundedCache<BlocksKey, QList<MarkdownBlock>> &blocksCache()
{
    static BoundedCache<BlocksKey, QList<MarkdownBlock>> cache(256);
    return cache;
}

BoundedCache<QString, StyledText> &inlineCache()
{
    static BoundedCache<QString, StyledText> cache(512);
    return cache;
}

FontRole headingRole(int level)
{
    static const FontRole roles[] = {FontRole::h1, FontRole::h2, FontRole::h3, FontRole::h4, FontRole::h5, FontRole::h6};
    return roles[qBound(1, level, 6) - 1];
}

QString stripOuterPipes(const QString &line)
{
    QString s = line.trimmed();
    if (s.startsWith(QLatin1Char('|')))
        s.remove(0, 1);
    if (s.endsWith(QLatin1Char('|')))
        s.chop(1);
    return s;
}

bool isBlank(const QString &text)
{
    for (QChar c : text) {
        if (!c.isSpace())
            return false;
    }
    return true;
}

} // namespace

MarkdownRenderer::MarkdownRenderer(double size, bool dark, SyntaxHighlighter *highlighter)
    : m_fonts(FontRamp::forSize(size)), m_palette(MarkdownPalette::forAppearance(dark)), m_dark(dark),
      m_highlighter(highlighter)
{
}

QList<MarkdownBlock> MarkdownRenderer::blocks(const QString &content, bool isStreaming, double fontSize,
                                              const MarkdownOptions &options)
{
    const double size = fontSize * options.textScale;
    MarkdownRenderer renderer(size, options.dark, options.highlighter);
    renderer.m_streaming = isStreaming;
    if (isStreaming)
        return renderer.parseBlocks(content);
    const BlocksKey key{options.dark, size, options.highlighter != nullptr, content};
    if (auto hit = blocksCache().find(key))
        return *hit;
    QList<MarkdownBlock> result = renderer.parseBlocks(content);
    // A list with code still waiting for its highlight would hide the highlight once it arrives.
    if (!options.highlighter || renderer.m_unsettledCode == 0)
        blocksCache().insert(key, result);
    return result;
}

void MarkdownRenderer::clearCaches()
{
    blocksCache().clear();
    inlineCache().clear();
}

QList<MarkdownBlock> MarkdownRenderer::parseBlocks(const QString &text) const
{
    QList<MarkdownBlock> out;
    if (text.isEmpty())
        return out;
    static const QRegularExpression numbered(QStringLiteral("^\\d+\\.\\s"));
    const QStringList lines = text.split(QLatin1Char('\n'));
    StyledText paragraph;
    bool inCode = false;
    QString code;
    bool codeHasLine = false;
    QString language;

    auto flushParagraph = [&] {
        if (isBlank(paragraph.text)) {
            paragraph = {};
            return;
        }
        if (paragraph.text.endsWith(QLatin1Char('\n')))
            paragraph.chop(1);
        MarkdownBlock block;
        block.kind = MarkdownBlock::Kind::paragraph;
        block.text = std::move(paragraph);
        out.append(std::move(block));
        paragraph = {};
    };

    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QString &line = lines[i];
        if (line.startsWith(QLatin1String("```"))) {
            if (!inCode) {
                flushParagraph();
                language = line.mid(3).trimmed();
                inCode = true;
            } else {
                out.append(codeBlock(code, language, true));
                code.clear();
                codeHasLine = false;
                language.clear();
                inCode = false;
            }
            continue;
        }
        if (inCode) {
            if (codeHasLine)
                code += QLatin1Char('\n');
            code += line;
            codeHasLine = true;
            continue;
        }
        if (line.trimmed().contains(QLatin1Char('|')) && i + 1 < lines.size() && isTableSeparator(lines[i + 1])) {
            flushParagraph();
            i = parseTable(lines, i, out) - 1;
            continue;
        }
        if (auto heading = parseHeading(line)) {
            flushParagraph();
            MarkdownBlock block;
            block.kind = MarkdownBlock::Kind::heading;
            block.level = heading->first;
            block.text.append(heading->second, headingRole(heading->first), m_palette.textColor);
            out.append(std::move(block));
            continue;
        }
        if (line.startsWith(QLatin1String("- ")) || line.startsWith(QLatin1String("* "))
            || line.startsWith(QString::fromUtf8("• "))) {
            paragraph.append(QString::fromUtf8("  • "), FontRole::body, m_palette.secondaryTextColor);
            paragraph.append(renderInline(line.mid(2)));
        } else if (const auto match = numbered.match(line); match.hasMatch()) {
            const QString marker = match.captured(0).trimmed();
            paragraph.append(QStringLiteral("  ") + marker + QLatin1Char(' '), FontRole::body,
                             m_palette.secondaryTextColor);
            paragraph.append(renderInline(line.mid(match.capturedLength(0))));
        } else {
            paragraph.append(renderInline(line));
        }
        if (i + 1 < lines.size())
            paragraph.append(QStringLiteral("\n"), FontRole::body, m_palette.textColor);
    }
    // An unterminated fence holds everything to the end: a streaming code block shows as code.
    if (inCode)
        out.append(codeBlock(code, language, false));
    else
        flushParagraph();
    return out;
}

MarkdownBlock MarkdownRenderer::codeBlock(const QString &code, const QString &language, bool closed) const
{
    MarkdownBlock block;
    block.kind = MarkdownBlock::Kind::codeBlock;
    block.language = language;
    block.rawCode = code;
    const QString theme = highlightThemeName(m_dark);
    const auto themeStyle = HighlightTheme::named(theme);
    block.backgroundColor = themeStyle && themeStyle->background().isValid() ? themeStyle->background()
                                                                              : m_palette.codeBlockBackground;
    if (!code.isEmpty()) {
        const HighlightKey key{theme, language, code};
        const auto highlighted = SyntaxHighlighter::cached(key);
        if (highlighted && !highlighted->isEmpty()) {
            block.attributed = *highlighted;
            return block;
        }
        if (!highlighted)
            ++m_unsettledCode;
        // A fence still open in a streaming reply changes with every delta: highlighting each
        // version would keep the workers busy and push finished blocks out of the cache.
        if (m_highlighter && !highlighted && (closed || !m_streaming))
            block.highlightPending = m_highlighter->request(key);
    }
    block.attributed.append(code, FontRole::code, m_palette.textColor);
    return block;
}

qsizetype MarkdownRenderer::parseTable(const QStringList &lines, qsizetype at, QList<MarkdownBlock> &out) const
{
    MarkdownBlock block;
    block.kind = MarkdownBlock::Kind::table;
    block.backgroundColor = m_palette.codeBlockBackground;
    for (const QString &cell : splitCells(lines[at]))
        block.headers.append(renderInline(cell));
    const qsizetype columns = block.headers.size();
    for (const QString &cell : splitCells(lines[at + 1])) {
        const bool leadingColon = cell.startsWith(QLatin1Char(':'));
        const bool trailingColon = cell.endsWith(QLatin1Char(':'));
        block.alignments.append(leadingColon && trailingColon ? TableAlignment::center
                                : trailingColon               ? TableAlignment::trailing
                                                              : TableAlignment::leading);
    }
    block.alignments.resize(columns, TableAlignment::leading);
    qsizetype i = at + 2;
    for (; i < lines.size(); ++i) {
        const QString trimmed = lines[i].trimmed();
        if (trimmed.isEmpty() || !trimmed.contains(QLatin1Char('|')))
            break;
        QList<StyledText> row;
        for (const QString &cell : splitCells(lines[i])) {
            if (row.size() == columns)
                break;
            row.append(renderInline(cell));
        }
        row.resize(columns);
        block.rows.append(std::move(row));
    }
    out.append(std::move(block));
    return i;
}

bool MarkdownRenderer::isTableSeparator(const QString &line)
{
    // At least three characters of colons and dashes per cell: "---" and ":-:" both mark a
    // column, "--" does not.
    static const QRegularExpression cell(QStringLiteral("^\\s*:?-+:?\\s*$"));
    const QString trimmed = line.trimmed();
    if (!trimmed.contains(QLatin1Char('|')) || !trimmed.contains(QLatin1Char('-')))
        return false;
    const QStringList pieces = stripOuterPipes(trimmed).split(QLatin1Char('|'));
    if (pieces.isEmpty())
        return false;
    for (const QString &piece : pieces) {
        if (!cell.match(piece).hasMatch() || piece.trimmed().size() < 3)
            return false;
    }
    return true;
}

std::optional<std::pair<int, QString>> MarkdownRenderer::parseHeading(const QString &line)
{
    int level = 0;
    while (level < line.size() && line.at(level) == QLatin1Char('#'))
        ++level;
    if (level < 1 || level > 6)
        return std::nullopt;
    if (line.size() < level + 2 || line.at(level) != QLatin1Char(' '))
        return std::nullopt;
    return std::make_pair(level, line.mid(level + 1));
}

QStringList MarkdownRenderer::splitCells(const QString &line)
{
    QStringList cells = stripOuterPipes(line).split(QLatin1Char('|'));
    for (QString &cell : cells)
        cell = cell.trimmed();
    return cells;
}

StyledText MarkdownRenderer::renderInline(const QString &text) const
{
    const QString key = (m_dark ? QStringLiteral("D|") : QStringLiteral("L|")) + QString::number(m_fonts->size)
        + QLatin1Char('|') + text;
    if (auto hit = inlineCache().find(key))
        return *hit;
    StyledText result = scanInline(text);
    inlineCache().insert(key, result);
    return result;
}

StyledText MarkdownRenderer::scanInline(const QString &text) const
{
    StyledText out;
    const qsizetype n = text.size();
    qsizetype plainStart = 0;
    auto flush = [&](qsizetype end) {
        out.append(text.mid(plainStart, end - plainStart), FontRole::body, m_palette.textColor);
    };
    // Positions only grow, so a search that found nothing will find nothing later either:
    // remembering that keeps a line full of unmatched marks linear.
    bool noBacktick = false, noCloseParen = false, noBracket = false;
    bool noPair[2] = {false, false}, noSingle[2] = {false, false};
    qsizetype i = 0;
    while (i < n) {
        const QChar c = text.at(i);
        const int which = c == QLatin1Char('*') ? 0 : 1;
        if (c == QLatin1Char('`') && !noBacktick) {
            const qsizetype close = text.indexOf(QLatin1Char('`'), i + 1);
            noBacktick = close < 0;
            if (close >= 0) {
                flush(i);
                out.append(text.mid(i + 1, close - i - 1), FontRole::code, m_palette.codeColor);
                i = close + 1;
                plainStart = i;
                continue;
            }
        }
        if (i + 1 < n && (c == QLatin1Char('*') || c == QLatin1Char('_')) && text.at(i + 1) == c && !noPair[which]) {
            const QString pair(2, c);
            const qsizetype close = text.indexOf(pair, i + 2);
            noPair[which] = close < 0;
            if (close >= 0) {
                flush(i);
                out.append(text.mid(i + 2, close - i - 2), FontRole::bold, m_palette.textColor);
                i = close + 2;
                plainStart = i;
                continue;
            }
        }
        if ((c == QLatin1Char('*') || c == QLatin1Char('_')) && (i + 1 >= n || text.at(i + 1) != c)
            && !noSingle[which]) {
            qsizetype close = -1;
            for (qsizetype j = i + 1; j < n; ++j) {
                if (text.at(j) == c && (j + 1 >= n || text.at(j + 1) != c)) {
                    close = j;
                    break;
                }
            }
            noSingle[which] = close < 0;
            if (close >= 0) {
                flush(i);
                out.append(text.mid(i + 1, close - i - 1), FontRole::italic, m_palette.textColor);
                i = close + 1;
                plainStart = i;
                continue;
            }
        }
        if (c == QLatin1Char('[') && !noBracket) {
            const qsizetype closeBracket = text.indexOf(QLatin1Char(']'), i + 1);
            noBracket = closeBracket < 0;
            if (closeBracket >= 0 && closeBracket + 1 < n && text.at(closeBracket + 1) == QLatin1Char('(')
                && !noCloseParen) {
                const qsizetype closeParen = text.indexOf(QLatin1Char(')'), closeBracket + 2);
                noCloseParen = closeParen < 0;
                if (closeParen >= 0) {
                    flush(i);
                    const QString target = text.mid(closeBracket + 2, closeParen - closeBracket - 2);
                    const QUrl url(target, QUrl::StrictMode);
                    const QString link = url.isValid() && !target.isEmpty() ? target : QString();
                    out.append(text.mid(i + 1, closeBracket - i - 1), FontRole::body, m_palette.linkColor, link, true);
                    i = closeParen + 1;
                    plainStart = i;
                    continue;
                }
            }
        }
        ++i;
    }
    flush(n);
    return out;
}

} // namespace corvane
