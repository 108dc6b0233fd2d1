// The screen over libvterm fed with what programs print: colours and attributes in the cells,
// the scrollback and its limit, the alternate screen, wide characters, bracketed paste, and
// search and selection across scrollback and screen.
#include "tools/terminal/ProcessTable.h"
#include "tools/terminal/TerminalScreen.h"

#include <QSignalSpy>
#include <QTest>

using namespace corvane;

namespace {

TerminalCell cellOf(const TerminalScreen &screen, int row, int column)
{
    const QList<TerminalCell> cells = screen.line(row);
    return column < cells.size() ? cells.at(column) : TerminalCell{};
}

} // namespace

class TestTerminalScreen : public QObject
{
    Q_OBJECT

private slots:
    void attributes_data()
    {
        QTest::addColumn<QByteArray>("printed");
        QTest::addColumn<int>("flags");
        QTest::addColumn<int>("paletteFg"); // -1: default, -2: the rgb below
        QTest::addColumn<uint>("rgb");
        QTest::newRow("plain") << QByteArray("x") << int(TerminalStyle::defaultFg | TerminalStyle::defaultBg) << -1 << 0u;
        QTest::newRow("red") << QByteArray("\x1b[31mx") << int(TerminalStyle::defaultBg) << 1 << 0u;
        QTest::newRow("256 colours") << QByteArray("\x1b[38;5;208mx") << int(TerminalStyle::defaultBg) << 208 << 0u;
        QTest::newRow("true colour") << QByteArray("\x1b[38;2;1;2;3mx") << int(TerminalStyle::defaultBg) << -2 << uint(qRgb(1, 2, 3));
        QTest::newRow("bold") << QByteArray("\x1b[1mx") << int(TerminalStyle::bold | TerminalStyle::defaultFg | TerminalStyle::defaultBg) << -1 << 0u;
        QTest::newRow("italic underline") << QByteArray("\x1b[3;4mx")
                                          << int(TerminalStyle::italic | TerminalStyle::underline | TerminalStyle::defaultFg | TerminalStyle::defaultBg) << -1 << 0u;
        QTest::newRow("reverse strike") << QByteArray("\x1b[7;9mx")
                                        << int(TerminalStyle::reverse | TerminalStyle::strike | TerminalStyle::defaultFg | TerminalStyle::defaultBg) << -1 << 0u;
    }
    void attributes()
    {
        QFETCH(QByteArray, printed);
        QFETCH(int, flags);
        QFETCH(int, paletteFg);
        QFETCH(uint, rgb);
        TerminalScreen screen(5, 20);
        QSignalSpy damage(&screen, &TerminalScreen::damaged);
        screen.feed(printed + "\x1b[0m y");
        QCOMPARE(damage.size(), 1); // one repaint per chunk, not per byte
        const TerminalCell cell = cellOf(screen, 0, 0);
        QCOMPARE(cell.text, QStringLiteral("x"));
        QCOMPARE(int(cell.style.flags), flags);
        if (paletteFg >= 0)
            QCOMPARE(cell.style.fg, screen.paletteColor(paletteFg));
        else if (paletteFg == -2)
            QCOMPARE(cell.style.fg, QRgb(rgb));
        QCOMPARE(cellOf(screen, 0, 2).style, TerminalStyle{});
    }

    void scrollbackKeepsItsLimitAndStyles()
    {
        TerminalScreen screen(4, 20, 5);
        QSignalSpy scrolled(&screen, &TerminalScreen::scrolled);
        QByteArray text;
        for (int i = 1; i <= 12; ++i)
            text += "line " + QByteArray::number(i) + (i == 3 ? " \x1b[32mgreen\x1b[0m" : "") + "\r\n";
        screen.feed(text);
        QCOMPARE(screen.scrollbackSize(), 5);
        QCOMPARE(scrolled.size(), 1);
        QCOMPARE(scrolled.first().first().toInt(), 9); // 12 lines and a fresh prompt row on 4 rows
        QCOMPARE(screen.lineText(-5), QStringLiteral("line 5"));
        QCOMPARE(screen.lineText(-1), QStringLiteral("line 9"));
        QCOMPARE(screen.lineText(0), QStringLiteral("line 10"));

        TerminalScreen styled(2, 20);
        styled.feed("a \x1b[32mgreen\x1b[0m\r\nnext\r\nlast");
        QCOMPARE(styled.lineText(-1), QStringLiteral("a green"));
        QCOMPARE(cellOf(styled, -1, 2).style.fg, styled.paletteColor(2));
        QCOMPARE(cellOf(styled, -1, 0).style, TerminalStyle{});
        // Growing the screen takes lines back from the scrollback.
        styled.resize(3, 20);
        QCOMPARE(styled.scrollbackSize(), 0);
        QCOMPARE(styled.lineText(0), QStringLiteral("a green"));
        QCOMPARE(cellOf(styled, 0, 2).style.fg, styled.paletteColor(2));
    }

    void alternateScreen()
    {
        TerminalScreen screen(3, 20);
        QSignalSpy switched(&screen, &TerminalScreen::altScreenChanged);
        screen.feed("shell prompt");
        screen.feed("\x1b[?1049h\x1b[2J\x1b[Hfull screen app");
        QVERIFY(screen.isAltScreen());
        QCOMPARE(screen.lineText(0), QStringLiteral("full screen app"));
        screen.feed("\x1b[?1049l");
        QVERIFY(!screen.isAltScreen());
        QCOMPARE(screen.lineText(0), QStringLiteral("shell prompt"));
        QCOMPARE(switched.size(), 2);
    }

    void wideCharactersAndSelection()
    {
        TerminalScreen screen(3, 20);
        screen.feed("ab\xe6\x97\xa5\xe6\x9c\xac" "cd");
        QCOMPARE(cellOf(screen, 0, 2).width, 2);
        QCOMPARE(cellOf(screen, 0, 3).width, 0);
        QCOMPARE(cellOf(screen, 0, 6).text, QStringLiteral("c"));
        QCOMPARE(screen.lineText(0), QStringLiteral("ab日本cd"));
        QCOMPARE(screen.text(QPoint(1, 0), QPoint(6, 0)), QStringLiteral("b日本c"));
        screen.feed("\r\nsecond line");
        QCOMPARE(screen.text(QPoint(6, 0), QPoint(5, 1)), QStringLiteral("cd\nsecond"));
    }

    void inputAndPaste()
    {
        TerminalScreen screen(3, 20);
        QSignalSpy out(&screen, &TerminalScreen::outputReady);
        screen.paste(QStringLiteral("a\nb"));
        QCOMPARE(out.takeFirst().first().toByteArray(), QByteArray("a\rb"));
        screen.feed("\x1b[?2004h"); // the shell asks for bracketed paste
        screen.paste(QStringLiteral("rm -rf x\n"));
        QCOMPARE(out.takeFirst().first().toByteArray(), QByteArray("\x1b[200~rm -rf x\r\x1b[201~"));
        QVERIFY(screen.sendKey(Qt::Key_Up, {}));
        QCOMPARE(out.takeFirst().first().toByteArray(), QByteArray("\x1b[A"));
        screen.sendText(QStringLiteral("c"), Qt::ControlModifier);
        QCOMPARE(out.takeFirst().first().toByteArray(), QByteArray("\x03"));
        screen.feed("\x1b[6n"); // where is the cursor?
        QCOMPARE(out.takeFirst().first().toByteArray(), QByteArray("\x1b[1;1R"));
    }

    void searchWalksScrollbackAndScreen()
    {
        TerminalScreen screen(2, 30);
        screen.feed("error one\r\nok\r\nERROR two\r\nok\r\nlast error");
        const QPoint bottom(screen.columns(), screen.rows());
        std::optional<QPoint> found = screen.find(QStringLiteral("error"), bottom, true);
        QCOMPARE(found, std::optional(QPoint(5, 1)));
        found = screen.find(QStringLiteral("error"), *found, true);
        QCOMPARE(found, std::optional(QPoint(0, -1)));
        found = screen.find(QStringLiteral("error"), *found, true);
        QCOMPARE(found, std::optional(QPoint(0, -3)));
        QCOMPARE(screen.find(QStringLiteral("error"), *found, true), std::nullopt);
        QCOMPARE(screen.find(QStringLiteral("error"), *found, false), std::optional(QPoint(0, -1)));
    }

    void processTable()
    {
        QCOMPARE(processtable::parentFromStat("42 (a) b) c) S 7 42 42 0"), pid_t(7));
        QCOMPARE(processtable::parentFromStat("garbage"), pid_t(-1));
        const QHash<pid_t, pid_t> table{{2, 1}, {3, 2}, {4, 3}, {5, 1}, {6, 4}};
        QCOMPARE(processtable::descendants(table, 2), (QList<pid_t>{3, 4, 6}));
        QVERIFY(processtable::parents().contains(::getpid()));
    }
};

QTEST_GUILESS_MAIN(TestTerminalScreen)
#include "tst_terminal_screen.moc"
