#include "presentation/markdown/LiveMarkdownHighlighter.h"

#include <QRegularExpression>

namespace corvane {

namespace {

enum BlockState { outsideCode = 0, insideCode = 1 };

} // namespace

LiveMarkdownHighlighter::LiveMarkdownHighlighter(QTextDocument *document, double fontSize, bool dark)
    : QSyntaxHighlighter(document), m_fonts(FontRamp::forSize(fontSize)), m_palette(MarkdownPalette::forAppearance(dark))
{
}

void LiveMarkdownHighlighter::setAppearance(double fontSize, bool dark)
{
    m_fonts = FontRamp::forSize(fontSize);
    m_palette = MarkdownPalette::forAppearance(dark);
    rehighlight();
}

void LiveMarkdownHighlighter::highlightBlock(const QString &text)
{
    static const QRegularExpression numbered(QStringLiteral("^\\d+\\.\\s"));
    static const QRegularExpression bold(QStringLiteral("\\*\\*(.+?)\\*\\*"));
    static const QRegularExpression italic(QStringLiteral("(?<!\\*)\\*(?!\\*)(.+?)(?<!\\*)\\*(?!\\*)"));
    static const QRegularExpression code(QStringLiteral("`([^`]+)`"));

    const bool wasInCode = previousBlockState() == insideCode;
    QTextCharFormat mono;
    mono.setFont(m_fonts->code);
    if (text.startsWith(QLatin1String("```"))) {
        setFormat(0, int(text.size()), mono);
        setCurrentBlockState(wasInCode ? outsideCode : insideCode);
        return;
    }
    setCurrentBlockState(wasInCode ? insideCode : outsideCode);
    if (wasInCode) {
        setFormat(0, int(text.size()), mono);
        return;
    }

    QTextCharFormat base;
    if (text.startsWith(QLatin1String("### ")))
        base.setFont(m_fonts->h3);
    else if (text.startsWith(QLatin1String("## ")))
        base.setFont(m_fonts->h2);
    else if (text.startsWith(QLatin1String("# ")))
        base.setFont(m_fonts->h1);
    if (base.hasProperty(QTextFormat::FontPixelSize))
        setFormat(0, int(text.size()), base);

    int marker = 0;
    if (text.startsWith(QLatin1String("- ")) || text.startsWith(QLatin1String("* ")))
        marker = 1;
    else if (const auto match = numbered.match(text); match.hasMatch())
        marker = int(match.capturedLength(0)) - 1;
    if (marker > 0) {
        QTextCharFormat list;
        list.setForeground(m_palette.secondaryTextColor);
        list.setFontWeight(QFont::DemiBold);
        setFormat(0, marker, list);
    }

    auto apply = [&](const QRegularExpression &expression, auto &&style) {
        auto it = expression.globalMatch(text);
        while (it.hasNext()) {
            const auto match = it.next();
            for (int i = int(match.capturedStart(0)); i < match.capturedEnd(0); ++i) {
                QTextCharFormat f = format(i);
                style(f);
                setFormat(i, 1, f);
            }
        }
    };
    apply(bold, [](QTextCharFormat &f) { f.setFontWeight(QFont::DemiBold); });
    apply(italic, [](QTextCharFormat &f) { f.setFontItalic(true); });
    apply(code, [&](QTextCharFormat &f) {
        f.setFontFamilies(m_fonts->code.families());
        f.setFontFixedPitch(true);
        f.setForeground(m_palette.codeColor);
    });
}

} // namespace corvane
