#include "shell/Appearance.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOption>

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

// Fusion in Qt 6.4 draws the edges of check boxes and text fields a little darker than the
// window, which on a dark window cannot be seen: an unchecked box vanishes. This draws those
// edges again in a light tone over Fusion's own.
class DarkEdgesStyle : public QProxyStyle
{
public:
    DarkEdgesStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override
    {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        const bool box = element == PE_IndicatorCheckBox || element == PE_IndicatorItemViewItemCheck;
        if (!box && element != PE_FrameLineEdit && element != PE_Frame)
            return;
        if (element == PE_Frame && !(option->state & (State_Sunken | State_Raised)))
            return; // flat frames stay flat
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing, !box);
        const bool focused = option->state & State_HasFocus;
        QColor edge = focused ? option->palette.color(QPalette::Highlight) : option->palette.color(QPalette::Text);
        edge.setAlpha(focused ? 200 : 80);
        painter->setPen(edge);
        painter->setBrush(Qt::NoBrush);
        if (box)
            painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
        else
            painter->drawRoundedRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5), 2, 2);
        painter->restore();
    }
};

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
        QApplication::setStyle(new DarkEdgesStyle);
        QApplication::setPalette(darkPalette());
        break;
    }
}

} // namespace corvane
