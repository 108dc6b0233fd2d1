#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QColor>
#include <QString>

#include <deque>
#include <optional>

struct VTerm;
struct VTermScreen;

namespace corvane {

// How a cell is drawn. Default colours are flags, not values, so a theme change repaints them.
struct TerminalStyle
{
    enum Flag : quint8 { bold = 1, italic = 2, underline = 4, reverse = 8, strike = 16, defaultFg = 32, defaultBg = 64 };
    QRgb fg = 0;
    QRgb bg = 0;
    quint8 flags = defaultFg | defaultBg;

    bool has(Flag flag) const { return flags & flag; }
    bool operator==(const TerminalStyle &) const = default;
};
size_t qHash(const TerminalStyle &style, size_t seed = 0);

struct TerminalCell
{
    QString text;  // empty for a blank cell and for the right half of a wide character
    int width = 1; // 2 for a wide character, whose next cell is its right half
    TerminalStyle style;
};

// The screen of one terminal: libvterm's emulation (colours up to true colour, the alternate
// screen, mouse and bracketed-paste modes, the replies a program asks for) plus a scrollback of
// our own, kept compact: a line is its text and runs of style, not a row of cells.
//
// Rows are numbered from the top of the visible screen: 0 to rows()-1 on screen, -1 the newest
// scrollback line, -scrollbackSize() the oldest.
class TerminalScreen : public QObject
{
    Q_OBJECT

public:
    TerminalScreen(int rows, int columns, int scrollbackLimit = 10000, QObject *parent = nullptr);
    ~TerminalScreen() override;

    // The child's output. Signals follow once per call, not per byte.
    void feed(const QByteArray &bytes);
    // Lines pushed off the top go to the scrollback (and come back when the screen grows).
    void resize(int rows, int columns);
    int rows() const { return m_rows; }
    int columns() const { return m_columns; }
    int scrollbackSize() const { return int(m_scrollback.size()); }
    int scrollbackLimit() const { return m_limit; }

    QList<TerminalCell> line(int row) const;
    QString lineText(int row) const;
    // Text between two cell positions, rows joined by newlines, trailing blanks trimmed.
    QString text(QPoint from, QPoint to) const;
    // The next match of `needle` (case-insensitive) strictly after (or, backwards, before) `from`,
    // over scrollback and screen: its first cell, as (column, row).
    std::optional<QPoint> find(const QString &needle, QPoint from, bool backwards) const;

    QPoint cursor() const { return m_cursor; }
    bool isCursorVisible() const { return m_cursorVisible; }
    bool isAltScreen() const { return m_altScreen; }
    // 0 none, 1 clicks, 2 drags, 3 every move: what the program asked to be told.
    int mouseMode() const { return m_mouseMode; }
    QString title() const { return m_title; }
    // The cell colour under `style`'s palette, for the view (defaults are the theme's).
    QRgb paletteColor(int index) const;

    // Keyboard: a Qt key with modifiers (arrows, function keys, Return...), or typed text.
    // Returns false for a key this terminal has no sequence for.
    bool sendKey(int qtKey, Qt::KeyboardModifiers modifiers);
    void sendText(const QString &text, Qt::KeyboardModifiers modifiers = {});
    // Wrapped in bracketed-paste marks when the program turned that mode on.
    void paste(const QString &text);
    // Mouse at a cell; buttons 1-3, 4 and 5 for the wheel. Only sent while mouseMode() > 0.
    void mouseMove(int row, int column, Qt::KeyboardModifiers modifiers);
    void mouseButton(int row, int column, int button, bool pressed, Qt::KeyboardModifiers modifiers);
    void focusChanged(bool in);

signals:
    // Bytes for the child: keys, pastes, and replies to the program's queries.
    void outputReady(const QByteArray &bytes);
    // Cells to repaint, in screen coordinates (rows 0..rows()-1).
    void damaged(const QRect &cells);
    // Lines entered the scrollback (the screen's content moved up by that many rows).
    void scrolled(int lines);
    void titleChanged(const QString &title);
    void altScreenChanged(bool on);
    void bell();

private:
    struct Span
    {
        quint16 cells;
        quint16 style;
    };
    struct StoredLine
    {
        QString text;             // one entry per cell that has text; blanks are spaces
        QList<Span> spans;        // styles over the cells, in order
        QList<quint16> wideCells; // columns that hold a wide character (rare)
    };

    friend struct TerminalScreenCallbacks;

    quint16 styleIndex(const TerminalStyle &style);
    QList<TerminalCell> expand(const StoredLine &line) const;

    VTerm *m_vterm;
    VTermScreen *m_screen;
    int m_rows;
    int m_columns;
    int m_limit;
    std::deque<StoredLine> m_scrollback;
    QList<TerminalStyle> m_styles;
    QHash<TerminalStyle, quint16> m_styleIndex;
    QRect m_damage;
    int m_pushed = 0;
    QPoint m_cursor;
    bool m_cursorVisible = true;
    bool m_altScreen = false;
    int m_mouseMode = 0;
    QString m_title;
    QByteArray m_outgoing;
};

} // namespace corvane
