#pragma once

#include "presentation/markdown/StyledText.h"

#include <QColor>
#include <QFont>

#include <memory>

namespace corvane {

// The ten fonts of Markdown text, all built from one base size `s` in pixels: body s regular,
// bold s semibold, italic s, code s - 1 monospaced, h1 s + 8 bold, h2 s + 5 bold, h3 s + 3
// semibold, h4 s + 1 semibold, h5 and h6 s semibold.
struct FontRamp
{
    QFont body, bold, italic, code, h1, h2, h3, h4, h5, h6;
    double size = 0;

    const QFont &font(FontRole role) const;
    // The font of a run: its role's font with the run's own bold and italic on top.
    QFont font(const StyledRun &run) const;

    // Ramps are made once per size and shared; safe from any thread.
    static std::shared_ptr<const FontRamp> forSize(double size);
};

// The colours of Markdown text in one appearance.
struct MarkdownPalette
{
    QColor textColor;
    QColor secondaryTextColor; // list markers
    QColor codeColor;          // inline code spans
    QColor codeBlockBackground;
    QColor linkColor;

    static MarkdownPalette light();
    static MarkdownPalette dark();
    static MarkdownPalette forAppearance(bool dark) { return dark ? MarkdownPalette::dark() : light(); }
};

// The highlight.js theme that goes with an appearance.
inline QString highlightThemeName(bool dark)
{
    return dark ? QStringLiteral("atom-one-dark") : QStringLiteral("atom-one-light");
}

} // namespace corvane
