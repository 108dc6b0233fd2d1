// Rendered Markdown handed to Qt's text system, and the update plan of a message drawn as
// one view per block.
#include "presentation/markdown/MarkdownBlockList.h"
#include "presentation/markdown/LiveMarkdownHighlighter.h"
#include "presentation/markdown/MarkdownDocument.h"
#include "presentation/markdown/TableColumnLayout.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>
#include <QtTest>

using namespace corvane;

namespace {

QString actions(const MarkdownBlockList::Plan &plan)
{
    QString out;
    for (const auto &step : plan.steps)
        out += "krpa"[int(step.action)];
    return out;
}

} // namespace

class TestMarkdownDocument : public QObject
{
    Q_OBJECT

private slots:
    void documentHoldsEveryBlock()
    {
        const QString content = QStringLiteral("# Title\nSee [docs](https://example.com/d) and `x`.\n"
                                               "```cpp\nint a;\nint b;\n```\n| a | b |\n|---|--:|\n| 1 | 2 |\nend");
        const auto blocks = MarkdownRenderer::blocks(content, false, 14);
        const auto fonts = FontRamp::forSize(14);
        const auto document = markdowndocument::toDocument(blocks, *fonts, MarkdownPalette::light());
        const QString text = document->toPlainText();
        for (const char *piece : {"Title", "See docs and x.", "int a;\nint b;", "end"})
            QVERIFY2(text.contains(QLatin1String(piece)), piece);
        QVERIFY(!text.contains(QLatin1String("```")));
        QVERIFY(!text.contains(QLatin1String("](")));

        // The link is an anchor with its target; the heading has its level.
        QTextCursor cursor = document->find(QStringLiteral("docs"));
        QVERIFY(!cursor.isNull());
        cursor.setPosition(cursor.selectionStart() + 1);
        QCOMPARE(cursor.charFormat().anchorHref(), QStringLiteral("https://example.com/d"));
        QCOMPARE(document->firstBlock().blockFormat().headingLevel(), 1);
        QCOMPARE(document->firstBlock().text(), QStringLiteral("Title"));

        // One frame for the code, one table with its column alignments.
        int frames = 0;
        QTextTable *table = nullptr;
        for (QTextFrame *frame : document->rootFrame()->childFrames()) {
            ++frames;
            if (auto *t = qobject_cast<QTextTable *>(frame))
                table = t;
        }
        QCOMPARE(frames, 2);
        QVERIFY(table);
        QCOMPARE(table->rows(), 2);
        QCOMPARE(table->columns(), 2);
        QCOMPARE(table->cellAt(1, 1).firstCursorPosition().blockFormat().alignment() & Qt::AlignHorizontal_Mask,
                 Qt::AlignRight);
    }

    void heightGrowsAsWidthShrinks()
    {
        const QString para = QStringLiteral("word ").repeated(200);
        const auto blocks = MarkdownRenderer::blocks(para, false, 14);
        const auto fonts = FontRamp::forSize(14);
        const int wide = markdowndocument::heightForWidth(blocks, *fonts, MarkdownPalette::light(), 800);
        const int narrow = markdowndocument::heightForWidth(blocks, *fonts, MarkdownPalette::light(), 200);
        QVERIFY(wide > 0);
        QVERIFY(narrow > wide * 2);
    }

    void formatRangesFollowRuns()
    {
        const MarkdownRenderer renderer(14, true);
        const StyledText text = renderer.renderInline(QStringLiteral("a **b** [c](https://c.example)"));
        const auto ranges = markdowndocument::formatRanges(text, renderer.fonts());
        QCOMPARE(ranges.size(), text.runs.size());
        QCOMPARE(ranges[1].format.fontWeight(), int(QFont::DemiBold));
        QCOMPARE(ranges.last().format.anchorHref(), QStringLiteral("https://c.example"));
        QVERIFY(ranges.last().format.fontUnderline());
    }

    void updateSkipsSameContentAndSmallWidthChanges()
    {
        MarkdownBlockList list;
        QVERIFY(!list.update(QStringLiteral("text"), 0));
        QVERIFY(!list.update(QStringLiteral("text"), -5));
        const auto first = list.update(QStringLiteral("text"), 400);
        QVERIFY(first);
        QCOMPARE(first->contentWidth, 368.0);
        QVERIFY(!list.update(QStringLiteral("text"), 400));
        QVERIFY(!list.update(QStringLiteral("text"), 400.4));
        const auto wider = list.update(QStringLiteral("text"), 400.9); // 0.5 from the last rendered width
        QVERIFY(wider);
        QCOMPARE(actions(*wider), QStringLiteral("k"));
        QCOMPARE(list.update(QStringLiteral("text"), 20)->contentWidth, 1.0);
        list.invalidate();
        QVERIFY(list.update(QStringLiteral("text"), 20));
    }

    void streamingTouchesOnlyTheLastBlock()
    {
        MarkdownBlockList list;
        list.isStreaming = true;
        QCOMPARE(actions(*list.update(QStringLiteral("Intro\n```py\nx = 1"), 500)), QStringLiteral("aa"));
        QCOMPARE(actions(*list.update(QStringLiteral("Intro\n```py\nx = 12"), 500)), QStringLiteral("kr"));
        auto plan = list.update(QStringLiteral("Intro\n```py\nx = 12\n```\n# Head"), 500);
        QCOMPARE(actions(*plan), QStringLiteral("kka"));
        plan = list.update(QStringLiteral("Intro\n```py\nx = 12\n```\nplain"), 500);
        QCOMPARE(actions(*plan), QStringLiteral("kkp"));
        QCOMPARE(plan->removeFrom, 3);
        plan = list.update(QStringLiteral("Intro"), 500);
        QCOMPARE(actions(*plan), QStringLiteral("k"));
        QCOMPARE(plan->removeFrom, 1);
    }

    void liveStylingKeepsTheText_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("style"); // m mono, h1/h3 heading, b bold, i italic, l list marker, - plain
        QTest::newRow("heading 1") << 0 << 3 << "h1";
        QTest::newRow("heading 3 before 1") << 1 << 5 << "h3";
        QTest::newRow("bold span") << 2 << 3 << "b";
        QTest::newRow("italic span") << 2 << 11 << "i";
        QTest::newRow("plain between") << 2 << 8 << "-";
        QTest::newRow("code span") << 2 << 17 << "m";
        QTest::newRow("list marker") << 3 << 0 << "l";
        QTest::newRow("numbered marker") << 4 << 1 << "l";
        QTest::newRow("fence line") << 5 << 1 << "m";
        QTest::newRow("inside code, no markup") << 6 << 3 << "m";
        QTest::newRow("after the fence") << 8 << 0 << "-";
    }

    void liveStylingKeepsTheText()
    {
        QFETCH(int, line);
        QFETCH(int, position);
        QFETCH(QString, style);
        const QString text = QStringLiteral("# Title\n### Sub\nA **b** c *i* d `x` e\n- item\n12. item\n```\n# **not**\n```\nplain");
        QTextDocument document(text);
        LiveMarkdownHighlighter highlighter(&document, 14);
        highlighter.rehighlight(); // it would otherwise run from the event loop
        QCOMPARE(document.toPlainText(), text);
        const QTextBlock block = document.findBlockByNumber(line);
        QTextCharFormat format;
        for (const auto &range : block.layout()->formats())
            if (position >= range.start && position < range.start + range.length)
                format = range.format;
        const auto fonts = FontRamp::forSize(14);
        if (style == "h1" || style == "h3")
            QCOMPARE(format.font().pixelSize(), (style == "h1" ? fonts->h1 : fonts->h3).pixelSize());
        else if (style == "b")
            QCOMPARE(format.fontWeight(), int(QFont::DemiBold));
        else if (style == "i")
            QVERIFY(format.fontItalic());
        else if (style == "m")
            QVERIFY(format.fontFixedPitch() || format.font().fixedPitch());
        else if (style == "l")
            QCOMPARE(format.foreground().color(), MarkdownPalette::light().secondaryTextColor);
        else
            QVERIFY(!format.fontItalic() && format.fontWeight() != int(QFont::DemiBold) && !format.fontFixedPitch());
    }

    void tableColumns()
    {
        MarkdownBlock table = MarkdownRenderer::blocks(QStringLiteral("| Name | Size |\n|---|---|\n| a | 1 |"), false, 14)[0];
        const QString key = TableColumnLayout::tableKey(table);
        table.rows.append(table.rows.first()); // rows streaming in keep the key
        QCOMPARE(TableColumnLayout::tableKey(table), key);

        QList<qreal> widths = TableColumnLayout::widths(key, {300, 100}, 400);
        QCOMPARE(widths, (QList<qreal>{300, 100}));
        widths = TableColumnLayout::widths(key, {300, 10}, 100);
        QCOMPARE(widths, (QList<qreal>{60, 40})); // squeezed under the minimum: given its 40

        widths = TableColumnLayout::drag({300, 100}, 0, 500); // the right neighbour keeps 40
        QCOMPARE(widths, (QList<qreal>{360, 40}));
        widths = TableColumnLayout::drag(widths, 0, -1000);
        QCOMPARE(widths, (QList<qreal>{40, 360}));
        QCOMPARE(TableColumnLayout::drag(widths, 1, 10), widths); // no boundary right of the last column

        TableColumnLayout::remember(key, {100, 300});
        QCOMPARE(TableColumnLayout::widths(key, {300, 10}, 800), (QList<qreal>{200, 600}));
        QCOMPARE(TableColumnLayout::widths(key, {1, 1, 1}, 90).size(), 3); // another shape: not applied
    }
};

QTEST_MAIN(TestMarkdownDocument)
#include "tst_markdown_document.moc"
