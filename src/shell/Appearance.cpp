#include "shell/Appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

namespace corvane {

namespace {

QPalette darkPalette()
{
    QPalette p;
    const QColor window(0x25, 0x27, 0x2b), base(0x1d, 0x1f, 0x23), text(0xe6, 0xe6, 0xe6), accent(0x0a, 0x84, 0xff);
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, base);
    p.setColor(QPalette::AlternateBase, window);
    p.setColor(QPalette::ToolTipBase, base);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, window);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::Highlight, accent);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, accent.lighter(130));
    p.setColor(QPalette::PlaceholderText, text.darker(160));
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, text.darker(170));
    return p;
}

} // namespace

void applyAppearance(AppearanceMode mode)
{
    // Qt 6.4 cannot switch the platform's own scheme, so light and dark use Fusion with a
    // palette of ours; "system" keeps whatever the desktop gives.
    static const QString desktopStyle = QApplication::style()->name();
    static const QPalette desktopPalette = QApplication::palette();
    switch (mode) {
    case AppearanceMode::system:
        QApplication::setStyle(QStyleFactory::create(desktopStyle));
        QApplication::setPalette(desktopPalette);
        break;
    case AppearanceMode::light:
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        QApplication::setPalette(QApplication::style()->standardPalette());
        break;
    case AppearanceMode::dark:
        QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
        QApplication::setPalette(darkPalette());
        break;
    }
}

} // namespace corvane
