#pragma once

#include "presentation/markdown/MarkdownRenderer.h"

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>

namespace corvane {

class SyntaxHighlighter;

// Colours and fonts of the chat, derived from the widget palette so light and dark follow the
// desktop (or the appearance the user chose) without a setting of their own.
struct ChatStyle
{
    bool dark = false;
    double textScale = 1.0;
    QColor text, secondaryText, bubble, bubbleText, card, cardBorder, accent, error, codeBackground, added, removed;

    static ChatStyle from(const QPalette &palette, double textScale);
    static bool isDark(const QPalette &palette);

    // The base text size of the chat, scale applied.
    double fontSize() const { return 14.0 * textScale; }
    QFont bodyFont() const;
    QFont monoFont() const;
    MarkdownOptions markdownOptions() const;
    // A style sheet fragment for a rounded card in these colours.
    QString cardSheet(const QString &objectName) const;
};

// Highlighting runs on one worker thread for the whole application: every chat view shares it.
SyntaxHighlighter *sharedHighlighter();

} // namespace corvane
