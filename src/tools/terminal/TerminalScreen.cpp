#include "tools/terminal/TerminalScreen.h"

#include <vterm.h>

#include <algorithm>
#include <cstring>

namespace corvane {

size_t qHash(const TerminalStyle &style, size_t seed)
{
    return qHashMulti(seed, style.fg, style.bg, style.flags);
}

// libvterm's C callbacks, with the screen as their user data.
struct TerminalScreenCallbacks
{
    static TerminalScreen *self(void *user) { return static_cast<TerminalScreen *>(user); }

    static int damage(VTermRect rect, void *user)
    {
        const QRect cells(rect.start_col, rect.start_row, rect.end_col - rect.start_col, rect.end_row - rect.start_row);
        self(user)->m_damage |= cells;
        return 1;
    }
    static int moveCursor(VTermPos pos, VTermPos old, int visible, void *user)
    {
        TerminalScreen *s = self(user);
        s->m_damage |= QRect(old.col, old.row, 1, 1);
        s->m_damage |= QRect(pos.col, pos.row, 1, 1);
        s->m_cursor = QPoint(pos.col, pos.row);
        s->m_cursorVisible = visible;
        return 1;
    }
    static int termProp(VTermProp prop, VTermValue *value, void *user)
    {
        TerminalScreen *s = self(user);
        switch (prop) {
        case VTERM_PROP_CURSORVISIBLE:
            s->m_cursorVisible = value->boolean;
            s->m_damage |= QRect(s->m_cursor, QSize(1, 1));
            break;
        case VTERM_PROP_ALTSCREEN:
            s->m_altScreen = value->boolean;
            emit s->altScreenChanged(s->m_altScreen);
            break;
        case VTERM_PROP_TITLE:
            s->m_title = QString::fromUtf8(value->string);
            emit s->titleChanged(s->m_title);
            break;
        case VTERM_PROP_MOUSE:
            s->m_mouseMode = value->number;
            break;
        default:
            break;
        }
        return 1;
    }
    static int bell(void *user)
    {
        emit self(user)->bell();
        return 1;
    }
    static int pushLine(int cols, const VTermScreenCell *cells, void *user)
    {
        TerminalScreen *s = self(user);
        s->m_scrollback.push_back(store(s, cols, cells));
        if (int(s->m_scrollback.size()) > s->m_limit)
            s->m_scrollback.pop_front();
        ++s->m_pushed;
        return 1;
    }
    static int popLine(int cols, VTermScreenCell *cells, void *user)
    {
        TerminalScreen *s = self(user);
        if (s->m_scrollback.empty())
            return 0;
        const QList<TerminalCell> line = s->expand(s->m_scrollback.back());
        s->m_scrollback.pop_back();
        --s->m_pushed;
        for (int c = 0; c < cols; ++c) {
            VTermScreenCell &cell = cells[c];
            cell = VTermScreenCell{};
            const TerminalCell source = c < line.size() ? line.at(c) : TerminalCell{};
            const QList<uint> codes = source.text.toUcs4();
            if (source.width == 0)
                cell.chars[0] = uint32_t(-1); // the right half of a wide character
            else
                cell.chars[0] = codes.isEmpty() ? 0 : codes.first();
            cell.width = char(qMax(1, source.width));
            const TerminalStyle &style = source.style;
            cell.attrs.bold = style.has(TerminalStyle::bold);
            cell.attrs.italic = style.has(TerminalStyle::italic);
            cell.attrs.underline = style.has(TerminalStyle::underline) ? 1 : 0;
            cell.attrs.reverse = style.has(TerminalStyle::reverse);
            cell.attrs.strike = style.has(TerminalStyle::strike);
            if (style.has(TerminalStyle::defaultFg))
                vterm_color_rgb(&cell.fg, 0, 0, 0), cell.fg.type |= VTERM_COLOR_DEFAULT_FG;
            else
                vterm_color_rgb(&cell.fg, qRed(style.fg), qGreen(style.fg), qBlue(style.fg));
            if (style.has(TerminalStyle::defaultBg))
                vterm_color_rgb(&cell.bg, 0, 0, 0), cell.bg.type |= VTERM_COLOR_DEFAULT_BG;
            else
                vterm_color_rgb(&cell.bg, qRed(style.bg), qGreen(style.bg), qBlue(style.bg));
        }
        return 1;
    }
    static TerminalStyle styleOf(const TerminalScreen *s, const VTermScreenCell &cell)
    {
        TerminalStyle style;
        style.flags = 0;
        if (cell.attrs.bold)
            style.flags |= TerminalStyle::bold;
        if (cell.attrs.italic)
            style.flags |= TerminalStyle::italic;
        if (cell.attrs.underline)
            style.flags |= TerminalStyle::underline;
        if (cell.attrs.reverse)
            style.flags |= TerminalStyle::reverse;
        if (cell.attrs.strike)
            style.flags |= TerminalStyle::strike;
        VTermColor fg = cell.fg;
        VTermColor bg = cell.bg;
        if (VTERM_COLOR_IS_DEFAULT_FG(&fg)) {
            style.flags |= TerminalStyle::defaultFg;
        } else {
            vterm_screen_convert_color_to_rgb(s->m_screen, &fg);
            style.fg = qRgb(fg.rgb.red, fg.rgb.green, fg.rgb.blue);
        }
        if (VTERM_COLOR_IS_DEFAULT_BG(&bg)) {
            style.flags |= TerminalStyle::defaultBg;
        } else {
            vterm_screen_convert_color_to_rgb(s->m_screen, &bg);
            style.bg = qRgb(bg.rgb.red, bg.rgb.green, bg.rgb.blue);
        }
        return style;
    }

    // Byte for byte, so that a false "different" (padding, unused colour bytes) only costs a lookup.
    static bool samePen(const VTermScreenCell &a, const VTermScreenCell &b)
    {
        return std::memcmp(&a.attrs, &b.attrs, sizeof a.attrs) == 0 && std::memcmp(&a.fg, &b.fg, sizeof a.fg) == 0
            && std::memcmp(&a.bg, &b.bg, sizeof a.bg) == 0;
    }

    // A cell's character into a line's text without a string of its own: blanks as spaces,
    // characters past the basic plane as surrogate pairs, invalid code points as U+FFFD.
    static void appendCharacter(QString &text, uint32_t code)
    {
        if (code == 0)
            text.append(QLatin1Char(' '));
        else if (code < 0x10000 && !QChar::isSurrogate(code))
            text.append(QChar(char16_t(code)));
        else if (QChar::requiresSurrogates(code) && code <= QChar::LastValidCodePoint)
            text.append(QChar(QChar::highSurrogate(code))).append(QChar(QChar::lowSurrogate(code)));
        else
            text.append(QChar(QChar::ReplacementCharacter));
    }

    static TerminalScreen::StoredLine store(TerminalScreen *s, int cols, const VTermScreenCell *cells)
    {
        // Trailing blank cells in the plain style are not kept.
        int used = cols;
        while (used > 0 && cells[used - 1].chars[0] == 0
               && styleOf(s, cells[used - 1]) == TerminalStyle{})
            --used;
        TerminalScreen::StoredLine line;
        line.text.reserve(used + 1);
        // Runs of cells share one pen: its style is looked up once per run, not once per cell.
        const VTermScreenCell *previous = nullptr;
        quint16 style = 0;
        for (int c = 0; c < used; ++c) {
            const VTermScreenCell &cell = cells[c];
            if (cell.chars[0] == uint32_t(-1))
                continue; // the right half of a wide character: counted in its span, no text
            appendCharacter(line.text, cell.chars[0]);
            if (cell.width == 2)
                line.wideCells.append(quint16(c));
            if (!previous || !samePen(*previous, cell))
                style = s->styleIndex(styleOf(s, cell));
            previous = &cell;
            const quint16 span = quint16(cell.width == 2 ? 2 : 1);
            if (!line.spans.isEmpty() && line.spans.last().style == style)
                line.spans.last().cells += span;
            else
                line.spans.append(TerminalScreen::Span{span, style});
        }
        line.text.squeeze();
        line.spans.squeeze();
        return line;
    }

    static void output(const char *bytes, size_t length, void *user)
    {
        self(user)->m_outgoing.append(bytes, qsizetype(length));
    }
};

namespace {

const VTermScreenCallbacks screenCallbacks = {
    &TerminalScreenCallbacks::damage,
    nullptr, // moverect: let libvterm report a scroll as damage
    &TerminalScreenCallbacks::moveCursor,
    &TerminalScreenCallbacks::termProp,
    &TerminalScreenCallbacks::bell,
    nullptr, // resize
    &TerminalScreenCallbacks::pushLine,
    &TerminalScreenCallbacks::popLine,
};

VTermModifier modifiersOf(Qt::KeyboardModifiers modifiers)
{
    int mod = VTERM_MOD_NONE;
    if (modifiers & Qt::ShiftModifier)
        mod |= VTERM_MOD_SHIFT;
    if (modifiers & Qt::AltModifier)
        mod |= VTERM_MOD_ALT;
    if (modifiers & Qt::ControlModifier)
        mod |= VTERM_MOD_CTRL;
    return VTermModifier(mod);
}

std::optional<VTermKey> keyOf(int qtKey)
{
    switch (qtKey) {
    case Qt::Key_Return: case Qt::Key_Enter: return VTERM_KEY_ENTER;
    case Qt::Key_Tab: case Qt::Key_Backtab: return VTERM_KEY_TAB;
    case Qt::Key_Backspace: return VTERM_KEY_BACKSPACE;
    case Qt::Key_Escape: return VTERM_KEY_ESCAPE;
    case Qt::Key_Up: return VTERM_KEY_UP;
    case Qt::Key_Down: return VTERM_KEY_DOWN;
    case Qt::Key_Left: return VTERM_KEY_LEFT;
    case Qt::Key_Right: return VTERM_KEY_RIGHT;
    case Qt::Key_Insert: return VTERM_KEY_INS;
    case Qt::Key_Delete: return VTERM_KEY_DEL;
    case Qt::Key_Home: return VTERM_KEY_HOME;
    case Qt::Key_End: return VTERM_KEY_END;
    case Qt::Key_PageUp: return VTERM_KEY_PAGEUP;
    case Qt::Key_PageDown: return VTERM_KEY_PAGEDOWN;
    default: break;
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F12)
        return VTermKey(VTERM_KEY_FUNCTION(qtKey - Qt::Key_F1 + 1));
    return std::nullopt;
}

} // namespace

TerminalScreen::TerminalScreen(int rows, int columns, int scrollbackLimit, QObject *parent)
    : QObject(parent), m_vterm(vterm_new(qMax(1, rows), qMax(1, columns))), m_rows(qMax(1, rows)),
      m_columns(qMax(1, columns)), m_limit(scrollbackLimit)
{
    vterm_set_utf8(m_vterm, 1);
    m_screen = vterm_obtain_screen(m_vterm);
    vterm_screen_set_callbacks(m_screen, &screenCallbacks, this);
    vterm_screen_set_damage_merge(m_screen, VTERM_DAMAGE_SCROLL);
    vterm_screen_enable_altscreen(m_screen, 1);
    vterm_output_set_callback(m_vterm, &TerminalScreenCallbacks::output, this);
    vterm_screen_reset(m_screen, 1);
    m_styles.append(TerminalStyle{});
    m_styleIndex.insert(TerminalStyle{}, 0);
}

TerminalScreen::~TerminalScreen()
{
    vterm_free(m_vterm);
}

void TerminalScreen::feed(const QByteArray &bytes)
{
    m_pushed = 0;
    vterm_input_write(m_vterm, bytes.constData(), size_t(bytes.size()));
    vterm_screen_flush_damage(m_screen);
    const QByteArray replies = std::exchange(m_outgoing, {});
    const int pushed = std::exchange(m_pushed, 0);
    const QRect damage = std::exchange(m_damage, {});
    if (!replies.isEmpty())
        emit outputReady(replies);
    if (pushed > 0)
        emit scrolled(pushed);
    if (!damage.isEmpty())
        emit damaged(damage & QRect(0, 0, m_columns, m_rows));
}

void TerminalScreen::resize(int rows, int columns)
{
    rows = qMax(1, rows);
    columns = qMax(1, columns);
    if (rows == m_rows && columns == m_columns)
        return;
    m_rows = rows;
    m_columns = columns;
    vterm_set_size(m_vterm, rows, columns);
    vterm_screen_flush_damage(m_screen);
    m_damage = {};
    m_pushed = 0;
    emit damaged(QRect(0, 0, m_columns, m_rows));
}

QRgb TerminalScreen::paletteColor(int index) const
{
    VTermColor color;
    vterm_color_indexed(&color, uint8_t(qBound(0, index, 255)));
    vterm_screen_convert_color_to_rgb(m_screen, &color);
    return qRgb(color.rgb.red, color.rgb.green, color.rgb.blue);
}

quint16 TerminalScreen::styleIndex(const TerminalStyle &style)
{
    const auto found = m_styleIndex.constFind(style);
    if (found != m_styleIndex.cend())
        return found.value();
    // A program cycling through millions of true colours must not grow this for ever: past the
    // table's size, new styles fall back to the plain one.
    if (m_styles.size() >= 0xFFFF)
        return 0;
    const quint16 index = quint16(m_styles.size());
    m_styles.append(style);
    m_styleIndex.insert(style, index);
    return index;
}

QList<TerminalCell> TerminalScreen::expand(const StoredLine &line) const
{
    QList<TerminalCell> cells;
    int at = 0; // index into text
    int column = 0;
    for (const Span &span : line.spans) {
        const TerminalStyle &style = m_styles.at(span.style);
        const int end = column + span.cells;
        while (column < end) {
            TerminalCell cell;
            cell.style = style;
            if (at < line.text.size()) {
                const int length = line.text.at(at).isHighSurrogate() && at + 1 < line.text.size() ? 2 : 1;
                cell.text = line.text.mid(at, length);
                at += length;
                if (cell.text == QLatin1String(" "))
                    cell.text.clear();
            }
            cell.width = line.wideCells.contains(quint16(column)) ? 2 : 1;
            cells.append(cell);
            if (cell.width == 2) {
                TerminalCell half;
                half.width = 0;
                half.style = style;
                cells.append(half);
                ++column;
            }
            ++column;
        }
    }
    return cells;
}

QList<TerminalCell> TerminalScreen::line(int row) const
{
    if (row < 0) {
        const int index = int(m_scrollback.size()) + row;
        if (index < 0)
            return {};
        QList<TerminalCell> cells = expand(m_scrollback.at(size_t(index)));
        cells.resize(qMax(int(cells.size()), m_columns));
        return cells;
    }
    QList<TerminalCell> cells;
    if (row >= m_rows)
        return cells;
    cells.reserve(m_columns);
    for (int c = 0; c < m_columns; ++c) {
        VTermScreenCell cell;
        vterm_screen_get_cell(m_screen, VTermPos{row, c}, &cell);
        TerminalCell out;
        out.style = TerminalScreenCallbacks::styleOf(this, cell);
        if (cell.chars[0] == uint32_t(-1)) {
            out.width = 0;
        } else {
            out.width = cell.width;
            int count = 0;
            while (count < VTERM_MAX_CHARS_PER_CELL && cell.chars[count])
                ++count;
            out.text = QString::fromUcs4(reinterpret_cast<const char32_t *>(cell.chars), count);
        }
        cells.append(out);
    }
    return cells;
}

QString TerminalScreen::lineText(int row) const
{
    QString text;
    for (const TerminalCell &cell : line(row)) {
        if (cell.width == 0)
            continue;
        text += cell.text.isEmpty() ? QStringLiteral(" ") : cell.text;
    }
    while (text.endsWith(QLatin1Char(' ')))
        text.chop(1);
    return text;
}

QString TerminalScreen::text(QPoint from, QPoint to) const
{
    if (to.y() < from.y() || (to.y() == from.y() && to.x() < from.x()))
        std::swap(from, to);
    QStringList lines;
    for (int row = from.y(); row <= to.y(); ++row) {
        const QList<TerminalCell> cells = line(row);
        const int first = row == from.y() ? from.x() : 0;
        const int last = row == to.y() ? to.x() : int(cells.size()) - 1;
        QString piece;
        for (int c = qMax(0, first); c <= last && c < cells.size(); ++c) {
            if (cells.at(c).width == 0)
                continue;
            piece += cells.at(c).text.isEmpty() ? QStringLiteral(" ") : cells.at(c).text;
        }
        while (piece.endsWith(QLatin1Char(' ')))
            piece.chop(1);
        lines << piece;
    }
    return lines.join(QLatin1Char('\n'));
}

std::optional<QPoint> TerminalScreen::find(const QString &needle, QPoint from, bool backwards) const
{
    if (needle.isEmpty())
        return std::nullopt;
    const int first = -scrollbackSize();
    const int last = m_rows - 1;
    // Columns of a line's text: one per cell except wide characters' right halves.
    auto columnsOf = [this](int row) {
        QList<int> columns;
        QString text;
        const QList<TerminalCell> cells = line(row);
        for (int c = 0; c < cells.size(); ++c) {
            if (cells.at(c).width == 0)
                continue;
            const QString piece = cells.at(c).text.isEmpty() ? QStringLiteral(" ") : cells.at(c).text;
            for (int i = 0; i < piece.size(); ++i)
                columns << c;
            text += piece;
        }
        return std::make_pair(text, columns);
    };
    const int step = backwards ? -1 : 1;
    for (int row = qBound(first, from.y(), last); row >= first && row <= last; row += step) {
        const auto [text, columns] = columnsOf(row);
        qsizetype index = -1;
        if (!backwards) {
            qsizetype start = 0;
            if (row == from.y())
                while (start < columns.size() && columns.at(start) <= from.x())
                    ++start;
            index = text.indexOf(needle, start, Qt::CaseInsensitive);
        } else {
            qsizetype start = text.size() - 1;
            if (row == from.y()) {
                start = -1;
                while (start + 1 < columns.size() && columns.at(start + 1) < from.x())
                    ++start;
                if (start < 0)
                    continue;
            }
            index = text.lastIndexOf(needle, start, Qt::CaseInsensitive);
        }
        if (index >= 0)
            return QPoint(columns.at(index), row);
    }
    return std::nullopt;
}

bool TerminalScreen::sendKey(int qtKey, Qt::KeyboardModifiers modifiers)
{
    const std::optional<VTermKey> key = keyOf(qtKey);
    if (!key)
        return false;
    vterm_keyboard_key(m_vterm, *key, modifiersOf(modifiers));
    if (!m_outgoing.isEmpty())
        emit outputReady(std::exchange(m_outgoing, {}));
    return true;
}

void TerminalScreen::sendText(const QString &text, Qt::KeyboardModifiers modifiers)
{
    // Shift is already in the character itself.
    const VTermModifier mod = modifiersOf(modifiers & ~Qt::ShiftModifier);
    for (uint code : text.toUcs4())
        vterm_keyboard_unichar(m_vterm, code, mod);
    if (!m_outgoing.isEmpty())
        emit outputReady(std::exchange(m_outgoing, {}));
}

void TerminalScreen::paste(const QString &text)
{
    QString normalised = text;
    normalised.replace(QStringLiteral("\r\n"), QStringLiteral("\r"));
    normalised.replace(QLatin1Char('\n'), QLatin1Char('\r'));
    vterm_keyboard_start_paste(m_vterm);
    m_outgoing.append(normalised.toUtf8());
    vterm_keyboard_end_paste(m_vterm);
    emit outputReady(std::exchange(m_outgoing, {}));
}

void TerminalScreen::mouseMove(int row, int column, Qt::KeyboardModifiers modifiers)
{
    vterm_mouse_move(m_vterm, row, column, modifiersOf(modifiers));
    if (!m_outgoing.isEmpty())
        emit outputReady(std::exchange(m_outgoing, {}));
}

void TerminalScreen::mouseButton(int row, int column, int button, bool pressed, Qt::KeyboardModifiers modifiers)
{
    vterm_mouse_move(m_vterm, row, column, modifiersOf(modifiers));
    vterm_mouse_button(m_vterm, button, pressed, modifiersOf(modifiers));
    if (!m_outgoing.isEmpty())
        emit outputReady(std::exchange(m_outgoing, {}));
}

void TerminalScreen::focusChanged(bool in)
{
    VTermState *state = vterm_obtain_state(m_vterm);
    in ? vterm_state_focus_in(state) : vterm_state_focus_out(state);
    if (!m_outgoing.isEmpty())
        emit outputReady(std::exchange(m_outgoing, {}));
}

} // namespace corvane
