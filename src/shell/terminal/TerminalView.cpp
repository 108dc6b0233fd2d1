#include "shell/terminal/TerminalView.h"

#include "tools/terminal/TerminalSession.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTimer>
#include <QUrl>

namespace corvane {

namespace {

constexpr int frameMs = 16;
constexpr int wheelLines = 3;

struct Theme
{
    QColor foreground;
    QColor background;
    QColor selection;
};

Theme themeFor(bool dark)
{
    return dark ? Theme{QColor(0xd8, 0xd8, 0xd8), QColor(0x1e, 0x1e, 0x1e), QColor(0x26, 0x4f, 0x78)}
                : Theme{QColor(0x1f, 0x1f, 0x1f), QColor(0xff, 0xff, 0xff), QColor(0xb3, 0xd7, 0xff)};
}

bool isWordCharacter(const QString &text)
{
    return !text.isEmpty() && (text.at(0).isLetterOrNumber() || QStringLiteral("_-./~:@%+").contains(text.at(0)));
}

} // namespace

TerminalView::TerminalView(TerminalSession &session, QWidget *parent)
    : QAbstractScrollArea(parent), m_session(&session), m_frame(new QTimer(this)), m_search(new QLineEdit(this))
{
    setObjectName(QStringLiteral("terminalView"));
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_InputMethodEnabled, false);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    viewport()->setMouseTracking(true);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    setTextScale(1.0);
    setDark(QApplication::palette().color(QPalette::Window).lightness() < 128);

    m_frame->setSingleShot(true);
    m_frame->setInterval(frameMs);
    connect(m_frame, &QTimer::timeout, this, &TerminalView::flushFrame);
    connect(&screen(), &TerminalScreen::damaged, this, &TerminalView::onDamage);
    connect(&screen(), &TerminalScreen::scrolled, this, &TerminalView::onScrolled);
    connect(&screen(), &TerminalScreen::altScreenChanged, this, [this] {
        m_offset = 0;
        updateScrollBar();
        viewport()->update();
    });

    m_search->setObjectName(QStringLiteral("terminalSearch"));
    m_search->setPlaceholderText(tr("Find in terminal"));
    m_search->setClearButtonEnabled(true);
    m_search->hide();
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        findNext(m_search->text(), !(QApplication::keyboardModifiers() & Qt::ShiftModifier));
    });
    connect(m_search, &QLineEdit::textChanged, this, [this] { m_searchFrom = QPoint(screen().columns(), screen().rows()); });
    updateScrollBar();
}

TerminalScreen &TerminalView::screen() const
{
    return m_session->screen();
}

void TerminalView::setTextScale(double scale)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(12.0 * qBound(0.5, scale, 3.0));
    font.setStyleHint(QFont::Monospace);
    font.setKerning(false);
    setFont(font);
    const QFontMetrics metrics(font);
    m_cell = QSize(qMax(1, metrics.horizontalAdvance(QLatin1Char('M'))), qMax(1, metrics.lineSpacing()));
    m_ascent = metrics.ascent();
    if (m_session)
        fitToView();
    viewport()->update();
}

void TerminalView::setDark(bool dark)
{
    m_dark = dark;
    viewport()->update();
}

void TerminalView::onDamage(const QRect &cells)
{
    // Scrolled back, the damaged rows are somewhere else on the view, or not on it.
    const QRect pixels = m_offset == 0
        ? QRect(cells.x() * m_cell.width(), cells.y() * m_cell.height(), cells.width() * m_cell.width(),
                cells.height() * m_cell.height())
        : viewport()->rect();
    m_pending += pixels;
    scheduleFrame();
}

void TerminalView::scheduleFrame()
{
    if (m_frame->isActive())
        return;
    // The first change after a quiet frame (the echo of a typed key) is shown at once; output
    // that keeps coming is gathered and shown once a frame.
    const qint64 since = m_lastFrame.isValid() ? m_lastFrame.elapsed() : frameMs;
    if (since >= frameMs)
        flushFrame();
    else
        m_frame->start(int(frameMs - since));
}

void TerminalView::flushFrame()
{
    viewport()->update(m_pending);
    m_pending = {};
    m_lastFrame.start();
}

void TerminalView::onScrolled(int lines)
{
    // A reader scrolled back keeps reading the same lines while output goes on below.
    if (m_offset > 0)
        m_offset = qMin(m_offset + lines, screen().scrollbackSize());
    if (m_anchor)
        m_anchor->ry() -= lines;
    if (m_extent)
        m_extent->ry() -= lines;
    m_searchFrom.ry() -= lines;
    updateScrollBar();
    m_pending += viewport()->rect();
    scheduleFrame();
}

void TerminalView::updateScrollBar()
{
    QScrollBar *bar = verticalScrollBar();
    const QSignalBlocker quiet(bar);
    const int back = screen().isAltScreen() ? 0 : screen().scrollbackSize();
    bar->setRange(0, back);
    bar->setPageStep(screen().rows());
    bar->setValue(back - m_offset);
}

void TerminalView::scrollContentsBy(int, int)
{
    m_offset = verticalScrollBar()->maximum() - verticalScrollBar()->value();
    viewport()->update();
}

void TerminalView::scrollBy(int rows)
{
    const int back = screen().isAltScreen() ? 0 : screen().scrollbackSize();
    m_offset = qBound(0, m_offset + rows, back);
    updateScrollBar();
    viewport()->update();
}

void TerminalView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    m_search->setGeometry(viewport()->width() - 260, 4, 250, m_search->sizeHint().height());
    fitToView();
}

void TerminalView::fitToView()
{
    if (!m_session)
        return;
    const int rows = qMax(2, viewport()->height() / m_cell.height());
    const int columns = qMax(10, viewport()->width() / m_cell.width());
    m_session->resize(rows, columns);
    updateScrollBar();
}

QPoint TerminalView::cellAt(const QPoint &pixel) const
{
    const int column = qBound(0, pixel.x() / m_cell.width(), screen().columns() - 1);
    const int row = qBound(0, pixel.y() / m_cell.height(), screen().rows() - 1) - m_offset;
    return QPoint(column, row);
}

bool TerminalView::inSelection(int column, int row) const
{
    if (!m_anchor || !m_extent || *m_anchor == *m_extent)
        return false;
    QPoint from = *m_anchor;
    QPoint to = *m_extent;
    if (to.y() < from.y() || (to.y() == from.y() && to.x() < from.x()))
        std::swap(from, to);
    if (row < from.y() || row > to.y())
        return false;
    if (row == from.y() && column < from.x())
        return false;
    if (row == to.y() && column > to.x())
        return false;
    return true;
}

void TerminalView::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    const Theme theme = themeFor(m_dark);
    const QRect area = event->rect();
    painter.fillRect(area, theme.background);
    if (!m_session)
        return; // the session ended with the program
    const int firstRow = qMax(0, area.top() / m_cell.height());
    const int lastRow = qMin(screen().rows() - 1, area.bottom() / m_cell.height());
    QFont plain = font();
    QFont bold = plain;
    bold.setBold(true);
    QFont italic = plain;
    italic.setItalic(true);
    const QPoint cursor = screen().cursor();

    for (int y = firstRow; y <= lastRow; ++y) {
        const int row = y - m_offset;
        const QList<TerminalCell> cells = screen().line(row);
        const int top = y * m_cell.height();
        int column = 0;
        while (column < cells.size() && column < screen().columns()) {
            // A run: cells of one style and selection state, plain ASCII, drawn with one call.
            const TerminalCell &first = cells.at(column);
            const bool selected = inSelection(column, row);
            int end = column + 1;
            const bool ascii = first.width == 1 && first.text.size() <= 1 && (first.text.isEmpty() || first.text.at(0).unicode() < 0x7f);
            if (ascii) {
                while (end < cells.size() && end < screen().columns()) {
                    const TerminalCell &next = cells.at(end);
                    if (!(next.style == first.style) || inSelection(end, row) != selected || next.width != 1
                        || next.text.size() > 1 || (!next.text.isEmpty() && next.text.at(0).unicode() >= 0x7f))
                        break;
                    ++end;
                }
            } else if (first.width == 2) {
                end = column + 2;
            }
            const TerminalStyle &style = first.style;
            QColor fg = style.has(TerminalStyle::defaultFg) ? theme.foreground : QColor(style.fg);
            QColor bg = style.has(TerminalStyle::defaultBg) ? theme.background : QColor(style.bg);
            if (style.has(TerminalStyle::reverse))
                std::swap(fg, bg);
            if (selected)
                bg = theme.selection;
            const QRect box(column * m_cell.width(), top, (end - column) * m_cell.width(), m_cell.height());
            if (bg != theme.background)
                painter.fillRect(box, bg);
            QString text;
            for (int c = column; c < end; ++c)
                if (cells.at(c).width != 0)
                    text += cells.at(c).text.isEmpty() ? QStringLiteral(" ") : cells.at(c).text;
            if (!text.trimmed().isEmpty()) {
                painter.setFont(style.has(TerminalStyle::bold) ? bold : style.has(TerminalStyle::italic) ? italic : plain);
                painter.setPen(fg);
                painter.drawText(QPoint(box.x(), top + m_ascent), text);
            }
            if (style.has(TerminalStyle::underline))
                painter.fillRect(QRect(box.x(), top + m_ascent + 2, box.width(), 1), fg);
            if (style.has(TerminalStyle::strike))
                painter.fillRect(QRect(box.x(), top + m_cell.height() / 2, box.width(), 1), fg);
            column = end;
        }
        if (row == cursor.y() && screen().isCursorVisible() && m_offset == 0) {
            const QRect box(cursor.x() * m_cell.width(), top, m_cell.width(), m_cell.height());
            painter.setPen(theme.foreground);
            if (hasFocus()) {
                painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
                painter.fillRect(box, QColor(0xff, 0xff, 0xff));
                painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
            } else {
                painter.drawRect(box.adjusted(0, 0, -1, -1));
            }
        }
    }
}

void TerminalView::keyPressEvent(QKeyEvent *event)
{
    if (!m_session)
        return;
    const Qt::KeyboardModifiers mods = event->modifiers() & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier);
    const int key = event->key();
    if (mods == (Qt::ControlModifier | Qt::ShiftModifier)) {
        switch (key) {
        case Qt::Key_C: copy(); return;
        case Qt::Key_V: pasteClipboard(); return;
        case Qt::Key_F: openSearch(); return;
        case Qt::Key_A: selectAll(); return;
        default: break;
        }
    }
    if (mods == Qt::ShiftModifier && (key == Qt::Key_PageUp || key == Qt::Key_PageDown)) {
        scrollBy(key == Qt::Key_PageUp ? screen().rows() - 1 : -(screen().rows() - 1));
        return;
    }
    if (m_search->isVisible() && key == Qt::Key_Escape) {
        m_search->hide();
        return;
    }
    // Typing goes back to the live screen.
    if (m_offset != 0 && key != Qt::Key_Shift && key != Qt::Key_Control && key != Qt::Key_Alt) {
        m_offset = 0;
        updateScrollBar();
        viewport()->update();
    }
    if (screen().sendKey(key, mods))
        return;
    if ((mods & Qt::ControlModifier) && key >= Qt::Key_At && key <= Qt::Key_Underscore) {
        // Ctrl+letter: libvterm makes the control character from the plain one.
        screen().sendText(QString(QChar(key)).toLower(), mods);
        return;
    }
    if (key == Qt::Key_Space && (mods & Qt::ControlModifier)) {
        m_session->send(QByteArray(1, '\0'));
        return;
    }
    const QString text = event->text();
    if (!text.isEmpty() && !(text.size() == 1 && text.at(0).unicode() < 0x20))
        screen().sendText(text, mods & Qt::AltModifier);
    else if (!text.isEmpty())
        m_session->send(text.toUtf8());
}

bool TerminalView::focusNextPrevChild(bool)
{
    return false; // Tab completes in the shell
}

void TerminalView::focusInEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusInEvent(event);
    screen().focusChanged(true);
    viewport()->update();
}

void TerminalView::focusOutEvent(QFocusEvent *event)
{
    QAbstractScrollArea::focusOutEvent(event);
    screen().focusChanged(false);
    viewport()->update();
}

bool TerminalView::wantsMouse(const QMouseEvent *event) const
{
    return screen().mouseMode() > 0 && !(event->modifiers() & Qt::ShiftModifier) && m_offset == 0;
}

namespace {

int buttonNumber(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton: return 1;
    case Qt::MiddleButton: return 2;
    case Qt::RightButton: return 3;
    default: return 0;
    }
}

} // namespace

void TerminalView::mousePressEvent(QMouseEvent *event)
{
    setFocus(Qt::MouseFocusReason);
    const QPoint cell = cellAt(event->position().toPoint());
    if (wantsMouse(event)) {
        if (const int button = buttonNumber(event->button()))
            screen().mouseButton(cell.y(), cell.x(), button, true, event->modifiers());
        return;
    }
    if (event->button() == Qt::LeftButton && (event->modifiers() & Qt::ControlModifier)) {
        if (const std::optional<QString> url = urlAt(cell)) {
            QDesktopServices::openUrl(QUrl(*url));
            return;
        }
    }
    if (event->button() == Qt::MiddleButton) {
        const QString primary = QApplication::clipboard()->text(QClipboard::Selection);
        if (!primary.isEmpty())
            screen().paste(primary);
        return;
    }
    if (event->button() == Qt::LeftButton) {
        m_anchor = cell;
        m_extent = cell;
        m_selecting = true;
        viewport()->update();
    }
}

void TerminalView::mouseMoveEvent(QMouseEvent *event)
{
    const QPoint cell = cellAt(event->position().toPoint());
    if (wantsMouse(event)) {
        if (screen().mouseMode() >= 2 && (event->buttons() || screen().mouseMode() >= 3))
            screen().mouseMove(cell.y(), cell.x(), event->modifiers());
        return;
    }
    if (m_selecting && (event->buttons() & Qt::LeftButton) && m_extent != cell) {
        m_extent = cell;
        viewport()->update();
    }
}

void TerminalView::mouseReleaseEvent(QMouseEvent *event)
{
    const QPoint cell = cellAt(event->position().toPoint());
    if (wantsMouse(event)) {
        if (const int button = buttonNumber(event->button()))
            screen().mouseButton(cell.y(), cell.x(), button, false, event->modifiers());
        return;
    }
    m_selecting = false;
    const QString text = selectedText();
    if (!text.isEmpty() && QApplication::clipboard()->supportsSelection())
        QApplication::clipboard()->setText(text, QClipboard::Selection);
}

void TerminalView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (wantsMouse(event))
        return;
    const QPoint cell = cellAt(event->position().toPoint());
    const QList<TerminalCell> cells = screen().line(cell.y());
    if (cell.x() >= cells.size() || !isWordCharacter(cells.at(cell.x()).text))
        return;
    int from = cell.x();
    int to = cell.x();
    while (from > 0 && isWordCharacter(cells.at(from - 1).text))
        --from;
    while (to + 1 < cells.size() && isWordCharacter(cells.at(to + 1).text))
        ++to;
    m_anchor = QPoint(from, cell.y());
    m_extent = QPoint(to, cell.y());
    viewport()->update();
    if (QApplication::clipboard()->supportsSelection())
        QApplication::clipboard()->setText(selectedText(), QClipboard::Selection);
}

void TerminalView::wheelEvent(QWheelEvent *event)
{
    const int steps = event->angleDelta().y() / 120;
    if (steps == 0)
        return;
    if (screen().mouseMode() > 0 && m_offset == 0) {
        const QPoint cell = cellAt(event->position().toPoint());
        for (int i = 0; i < qAbs(steps); ++i)
            screen().mouseButton(cell.y(), cell.x(), steps > 0 ? 4 : 5, true, event->modifiers());
        return;
    }
    if (screen().isAltScreen()) {
        // less, man and vim without the mouse: the wheel walks their lines.
        for (int i = 0; i < qAbs(steps) * wheelLines; ++i)
            screen().sendKey(steps > 0 ? Qt::Key_Up : Qt::Key_Down, {});
        return;
    }
    scrollBy(steps * wheelLines);
}

std::optional<QString> TerminalView::urlAt(const QPoint &cell) const
{
    static const QRegularExpression url(QStringLiteral(R"((https?|file)://[^\s<>"'`]+)"));
    const QString text = screen().lineText(cell.y());
    for (auto it = url.globalMatch(text); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        if (cell.x() >= match.capturedStart() && cell.x() < match.capturedEnd()) {
            QString found = match.captured();
            while (found.endsWith(QLatin1Char('.')) || found.endsWith(QLatin1Char(',')) || found.endsWith(QLatin1Char(')')))
                found.chop(1);
            return found;
        }
    }
    return std::nullopt;
}

QString TerminalView::selectedText() const
{
    if (!m_anchor || !m_extent || *m_anchor == *m_extent)
        return {};
    return screen().text(*m_anchor, *m_extent);
}

void TerminalView::selectAll()
{
    m_anchor = QPoint(0, -screen().scrollbackSize());
    m_extent = QPoint(screen().columns() - 1, screen().rows() - 1);
    viewport()->update();
}

void TerminalView::copy()
{
    const QString text = selectedText();
    if (!text.isEmpty())
        QApplication::clipboard()->setText(text);
}

void TerminalView::pasteClipboard()
{
    const QString text = QApplication::clipboard()->text();
    if (!text.isEmpty())
        screen().paste(text);
}

void TerminalView::openSearch()
{
    m_search->show();
    m_search->raise();
    m_search->setFocus();
    m_search->selectAll();
    m_searchFrom = QPoint(screen().columns(), screen().rows());
}

bool TerminalView::findNext(const QString &text, bool older)
{
    const std::optional<QPoint> found = screen().find(text, m_searchFrom, older);
    if (!found)
        return false;
    m_searchFrom = *found;
    m_anchor = *found;
    m_extent = QPoint(found->x() + int(text.size()) - 1, found->y());
    // Bring the match onto the view, a few rows from the top.
    if (found->y() < -m_offset || found->y() >= screen().rows() - m_offset)
        m_offset = qBound(0, -found->y() + 3, screen().scrollbackSize());
    updateScrollBar();
    viewport()->update();
    return true;
}

} // namespace corvane
