#pragma once

#include "tools/terminal/TerminalSession.h"

#include <QAbstractScrollArea>
#include <QElapsedTimer>
#include <QPoint>
#include <QPointer>

#include <optional>

class QLineEdit;
class QTimer;

namespace corvane {


// Draws one terminal session and sends it what the user types. Only damaged cells are
// repainted, at most once a frame; the scrollback scrolls with the wheel and Shift+PageUp; a drag
// selects (Ctrl+Shift+C copies, the selection also goes to the X11 primary selection),
// Ctrl+Shift+V pastes, Ctrl+Shift+F searches the scrollback, Ctrl+click opens a URL. While the
// program asked for the mouse, clicks and the wheel go to it (Shift+drag still selects).
class TerminalView : public QAbstractScrollArea
{
    Q_OBJECT

public:
    explicit TerminalView(TerminalSession &session, QWidget *parent = nullptr);

    TerminalSession *session() const { return m_session; }
    QSize cellSize() const { return m_cell; }
    // Rows scrolled back from the live screen; 0 shows the screen itself.
    int scrollOffset() const { return m_offset; }
    void scrollBy(int rows);
    QString selectedText() const;
    void selectAll();
    void copy();
    void pasteClipboard();
    void openSearch();
    // Finds the next (older) or previous (newer) match and selects it.
    bool findNext(const QString &text, bool older = true);
    QLineEdit *searchField() const { return m_search; }
    void setDark(bool dark);
    // The 12-point monospaced font times the user's text size.
    void setTextScale(double scale);

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    bool focusNextPrevChild(bool next) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    TerminalScreen &screen() const;
    void onDamage(const QRect &cells);
    void onScrolled(int lines);
    void scheduleFrame();
    void flushFrame();
    void updateScrollBar();
    void fitToView();
    QPoint cellAt(const QPoint &pixel) const; // (column, row) in screen rows
    bool inSelection(int column, int row) const;
    bool wantsMouse(const QMouseEvent *event) const;
    std::optional<QString> urlAt(const QPoint &cell) const;

    QPointer<TerminalSession> m_session;
    QSize m_cell;
    int m_ascent = 0;
    int m_offset = 0;
    QRegion m_pending;
    QTimer *m_frame;
    QElapsedTimer m_lastFrame; // when pending damage last went to the viewport
    bool m_dark = false;
    std::optional<QPoint> m_anchor; // selection, in (column, row)
    std::optional<QPoint> m_extent;
    bool m_selecting = false;
    QLineEdit *m_search;
    QPoint m_searchFrom;
};

} // namespace corvane
