// The Markdown subset agents write, row by row: what becomes which block, and which inline
// spans a line yields. Blocks and runs are compared as short descriptions so that a failure
// prints the whole result.
#include "presentation/markdown/MarkdownRenderer.h"

#include <QtTest>

using namespace corvane;

namespace {

QString roleName(FontRole role)
{
    switch (role) {
    case FontRole::body: return QStringLiteral("t");
    case FontRole::bold: return QStringLiteral("b");
    case FontRole::italic: return QStringLiteral("i");
    case FontRole::code: return QStringLiteral("c");
    default: return QStringLiteral("h");
    }
}

// "t:plain|b:bold|l(https://x):label"
QString describe(const StyledText &text)
{
    QStringList parts;
    for (const StyledRun &run : text.runs) {
        QString role = run.link.isEmpty() && !run.underline ? roleName(run.font) : QStringLiteral("l(%1)").arg(run.link);
        parts << role + QLatin1Char(':') + text.text.mid(run.start, run.length);
    }
    return parts.join(QLatin1Char('|'));
}

QString describe(const QList<MarkdownBlock> &blocks)
{
    QStringList out;
    for (const MarkdownBlock &block : blocks) {
        switch (block.kind) {
        case MarkdownBlock::Kind::paragraph:
            out << QStringLiteral("P[%1]").arg(block.text.text);
            break;
        case MarkdownBlock::Kind::heading:
            out << QStringLiteral("H%1[%2]").arg(block.level).arg(block.text.text);
            break;
        case MarkdownBlock::Kind::codeBlock:
            out << QStringLiteral("C(%1)[%2]").arg(block.language, block.rawCode);
            break;
        case MarkdownBlock::Kind::table: {
            QStringList alignments;
            for (TableAlignment a : block.alignments)
                alignments << (a == TableAlignment::leading ? "L" : a == TableAlignment::center ? "C" : "R");
            QString text = QStringLiteral("T(%1)").arg(alignments.join(QLatin1Char(',')));
            QStringList cells;
            for (const StyledText &cell : block.headers)
                cells << cell.text;
            text += QLatin1Char('[') + cells.join(QLatin1Char('|')) + QLatin1Char(']');
            for (const auto &row : block.rows) {
                cells.clear();
                for (const StyledText &cell : row)
                    cells << cell.text;
                text += QLatin1Char('[') + cells.join(QLatin1Char('|')) + QLatin1Char(']');
            }
            out << text;
            break;
        }
        }
    }
    return out.join(QLatin1Char(' '));
}

} // namespace

class TestMarkdownRenderer : public QObject
{
    Q_OBJECT

private slots:
    void init() { MarkdownRenderer::clearCaches(); }

    void blocks_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty") << "" << "";
        QTest::newRow("only blank lines") << "\n  \n" << "";
        QTest::newRow("fence alone is an empty code block") << "```" << "C()[]";
        QTest::newRow("unclosed fence holds the rest") << "```python\nprint(1)" << "C(python)[print(1)]";
        QTest::newRow("language trimmed, closing fence ends") << "```  rust \nfn a() {}\n\nlet b;\n```" << "C(rust)[fn a() {}\n\nlet b;]";
        QTest::newRow("closing fence with text still closes") << "```\na\n``` trailing\nb" << "C()[a] P[b]";
        QTest::newRow("text fence text") << "before\n```\ncode\n```\nafter" << "P[before] C()[code] P[after]";
        QTest::newRow("backtick and markup inside a fence stay code") << "```\n`x` **y** # z\n| a |\n|---|\n```"
                                                                       << "C()[`x` **y** # z\n| a |\n|---|]";
        QTest::newRow("blank line stays inside one paragraph") << "a\n\nb" << "P[a\n\nb]";
        QTest::newRow("trailing line end dropped once") << "a\n" << "P[a]";
        QTest::newRow("heading levels") << "# One\n### Three\n###### Six" << "H1[One] H3[Three] H6[Six]";
        QTest::newRow("seven hashes is a paragraph") << "####### seven" << "P[####### seven]";
        QTest::newRow("hash and space alone is a paragraph") << "# " << "P[# ]";
        QTest::newRow("hash without space is a paragraph") << "#no space" << "P[#no space]";
        QTest::newRow("heading splits paragraphs") << "a\n## B\nc" << "P[a] H2[B] P[c]";
        QTest::newRow("heading keeps asterisks") << "# **bold** title" << "H1[**bold** title]";
        QTest::newRow("bullets") << "- one\n* two\n• three" << QString::fromUtf8("P[  • one\n  • two\n  • three]");
        QTest::newRow("numbered items") << "1. first\n12.\tsecond\n3.no" << "P[  1. first\n  12. second\n3.no]";
        QTest::newRow("indented dash is not a bullet") << "  - x" << "P[  - x]";
        QTest::newRow("pipe line without separator stays text") << "a|b\nnot a separator" << "P[a|b\nnot a separator]";
        QTest::newRow("table with alignments and a short row") << "| a | b |\n|---|:-:|\n| 1 |"
                                                               << "T(L,C)[a|b][1|]";
        QTest::newRow("table row extra cells cut") << "a|b\n---|---:\n1|2|3|4" << "T(L,R)[a|b][1|2]";
        QTest::newRow("table ends at a line without pipe") << "a|b\n---|---\n1|2\ntext" << "T(L,L)[a|b][1|2] P[text]";
        QTest::newRow("table ends at a blank line") << "a|b\n---|---\n\n3|4" << "T(L,L)[a|b] P[\n3|4]";
        QTest::newRow("two dashes are no separator") << "|a|b|\n|--|--|" << "P[|a|b|\n|--|--|]";
        QTest::newRow("colon and one dash is too short") << "a|b\n|:-|--:|" << "P[a|b\n|:-|--:|]";
        QTest::newRow("separator line is the last line") << "x\na|b\n|---|---|" << "P[x] T(L,L)[a|b]";
        QTest::newRow("separator needs a pipe") << "a|b|c\n:---:" << "P[a|b|c\n:---:]";
        QTest::newRow("fewer separator cells than headers") << "a|b|c\n|---:|" << "T(R,L,L)[a|b|c]";
    }

    void blocks()
    {
        QFETCH(QString, input);
        QFETCH(QString, expected);
        QCOMPARE(describe(MarkdownRenderer::blocks(input, true, 14.0)), expected);
        // The cached path gives the same, twice.
        QCOMPARE(describe(MarkdownRenderer::blocks(input, false, 14.0)), expected);
        QCOMPARE(describe(MarkdownRenderer::blocks(input, false, 14.0)), expected);
    }

    void inlineSpans_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << "just text" << "t:just text";
        QTest::newRow("code span") << "run `make` now" << "t:run |c:make|t: now";
        QTest::newRow("lone backtick stays") << "a ` b" << "t:a ` b";
        QTest::newRow("bold") << "a **b** c" << "t:a |b:b|t: c";
        QTest::newRow("bold underscores") << "__b__" << "b:b";
        QTest::newRow("bold searches for the pair") << "**a*b**" << "b:a*b";
        QTest::newRow("no nesting inside bold") << "**a `c` d**" << "b:a `c` d";
        QTest::newRow("unfinished bold stays literal") << "**bol" << "t:**bol";
        QTest::newRow("italic") << "an *em* word" << "t:an |i:em|t: word";
        QTest::newRow("snake case has no word boundary rule") << "snake_case_word" << "t:snake|i:case|t:word";
        QTest::newRow("link") << "see [docs](https://example.com/a) here"
                              << "t:see |l(https://example.com/a):docs|t: here";
        QTest::newRow("link to a bad url is text with no target") << "[x](http://a b)" << "l():x";
        QTest::newRow("unclosed link stays literal in full") << "[text](url" << "t:[text](url";
        QTest::newRow("bracket without paren") << "[a] (b)" << "t:[a] (b)";
        QTest::newRow("code wins over bold inside it") << "`**x**`" << "c:**x**";
        QTest::newRow("many unmatched marks") << "[[[ *** ``` x" << "t:[[[ *** ` x";
    }

    void inlineSpans()
    {
        QFETCH(QString, input);
        QFETCH(QString, expected);
        const MarkdownRenderer renderer(14, false);
        QCOMPARE(describe(renderer.renderInline(input)), expected);
        QCOMPARE(describe(renderer.renderInline(input)), expected); // from the cache
    }

    void runsCoverTheText()
    {
        const auto blocks = MarkdownRenderer::blocks(QStringLiteral("- a **b** `c`\n1. [d](e) _f_\nplain"), false, 14);
        QCOMPARE(blocks.size(), 1);
        const StyledText &text = blocks[0].text;
        int at = 0;
        for (const StyledRun &run : text.runs) {
            QCOMPARE(run.start, at);
            QVERIFY(run.length > 0);
            at += run.length;
        }
        QCOMPARE(at, int(text.text.size()));
    }

    void appearanceIsPartOfTheKeys()
    {
        MarkdownOptions dark;
        dark.dark = true;
        const auto light = MarkdownRenderer::blocks(QStringLiteral("x `y`"), false, 14);
        const auto darkBlocks = MarkdownRenderer::blocks(QStringLiteral("x `y`"), false, 14, dark);
        QCOMPARE(light[0].text.runs[0].color, MarkdownPalette::light().textColor);
        QCOMPARE(darkBlocks[0].text.runs[0].color, MarkdownPalette::dark().textColor);
        QCOMPARE(darkBlocks[0].text.runs[1].color, MarkdownPalette::dark().codeColor);
    }

    void streamingGrowthKeepsEarlierBlocks()
    {
        // Each prefix of a reply parses; the blocks before the last one never change once their
        // text is complete, which is what lets a view refresh only the last block.
        const QString reply = QStringLiteral("Intro **text**\n```cpp\nint a;\n```\n| a | b |\n|---|---|\n| 1 | 2 |\nEnd");
        QList<MarkdownBlock> previous;
        for (qsizetype n = 1; n <= reply.size(); ++n) {
            const auto current = MarkdownRenderer::blocks(reply.left(n), true, 14);
            for (qsizetype i = 0; i + 1 < previous.size() && i + 1 < current.size(); ++i)
                QCOMPARE(current[i].signature(), previous[i].signature());
            previous = current;
        }
        QCOMPARE(describe(previous), QStringLiteral("P[Intro text] C(cpp)[int a;] T(L,L)[a|b][1|2] P[End]"));
    }

    void signatureIgnoresFontsButNotText()
    {
        const auto a = MarkdownRenderer::blocks(QStringLiteral("same"), false, 14);
        const auto b = MarkdownRenderer::blocks(QStringLiteral("same"), false, 18);
        const auto c = MarkdownRenderer::blocks(QStringLiteral("other"), false, 14);
        QCOMPARE(a[0].signature(), b[0].signature());
        QVERIFY(a[0].signature() != c[0].signature());
    }
};

QTEST_MAIN(TestMarkdownRenderer)
#include "tst_markdown_renderer.moc"
