#include "shell/chat/ChatStyle.h"

#include "presentation/highlight/SyntaxHighlighter.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QPointer>

namespace corvane {

bool ChatStyle::isDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < 128;
}

ChatStyle ChatStyle::from(const QPalette &palette, double textScale)
{
    ChatStyle s;
    s.dark = isDark(palette);
    s.textScale = textScale > 0 ? textScale : 1.0;
    s.text = palette.color(QPalette::WindowText);
    s.secondaryText = palette.color(QPalette::PlaceholderText);
    if (!s.secondaryText.isValid() || s.secondaryText == s.text)
        s.secondaryText = s.dark ? QColor(0x9a, 0x9a, 0x9a) : QColor(0x6e, 0x6e, 0x73);
    s.accent = palette.color(QPalette::Highlight);
    s.bubble = s.dark ? QColor(0x2f, 0x4f, 0x7f) : QColor(0xdc, 0xea, 0xfb);
    s.bubbleText = s.dark ? QColor(0xf2, 0xf2, 0xf2) : QColor(0x1c, 0x1c, 0x1e);
    s.card = s.dark ? QColor(0x2a, 0x2b, 0x2e) : QColor(0xf6, 0xf6, 0xf8);
    s.cardBorder = s.dark ? QColor(0x44, 0x46, 0x4a) : QColor(0xd6, 0xd6, 0xdb);
    s.error = s.dark ? QColor(0xff, 0x6b, 0x6b) : QColor(0xc0, 0x1c, 0x28);
    s.codeBackground = s.dark ? QColor(0x1f, 0x20, 0x22) : QColor(0xee, 0xef, 0xf1);
    s.added = s.dark ? QColor(0x1f, 0x4a, 0x2c) : QColor(0xdf, 0xf5, 0xe3);
    s.removed = s.dark ? QColor(0x5a, 0x22, 0x26) : QColor(0xfb, 0xe0, 0xe2);
    return s;
}

QFont ChatStyle::bodyFont() const
{
    QFont font;
    font.setPixelSize(int(fontSize() + 0.5));
    return font;
}

QFont ChatStyle::monoFont() const
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(int(fontSize() - 1 + 0.5));
    return font;
}

MarkdownOptions ChatStyle::markdownOptions() const
{
    MarkdownOptions options;
    options.dark = dark;
    options.textScale = textScale;
    options.highlighter = sharedHighlighter();
    return options;
}

QString ChatStyle::cardSheet(const QString &objectName) const
{
    return QStringLiteral("#%1 { background: %2; border: 1px solid %3; border-radius: 8px; }")
        .arg(objectName, card.name(), cardBorder.name());
}

SyntaxHighlighter *sharedHighlighter()
{
    static QPointer<SyntaxHighlighter> highlighter;
    if (!highlighter && QCoreApplication::instance()) {
        highlighter = new SyntaxHighlighter(1);
        highlighter->setParent(QCoreApplication::instance());
    }
    return highlighter;
}

} // namespace corvane
