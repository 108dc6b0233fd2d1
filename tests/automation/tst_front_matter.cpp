// The header reader that flows, subagents and skills share: the rules of the files claude reads,
// which are not YAML's.
#include "automation/FrontMatter.h"

#include <QTest>

using namespace corvane;

using Fields = QHash<QString, QString>;
using MaybeText = std::optional<QString>;
using MaybeBool = std::optional<bool>;

Q_DECLARE_METATYPE(Fields)
Q_DECLARE_METATYPE(MaybeText)
Q_DECLARE_METATYPE(MaybeBool)

class FrontMatterTest : public QObject
{
    Q_OBJECT

private slots:
    void parse_data()
    {
        QTest::addColumn<QString>("content");
        QTest::addColumn<Fields>("fields");
        QTest::addColumn<QString>("body");

        QTest::newRow("header and body")
            << "---\nname: fix\ndescription: Quick one\n---\n\n# Body\n" << Fields{{"name", "fix"}, {"description", "Quick one"}} << "# Body";
        QTest::newRow("no header")
            << "# Just text\n" << Fields{} << "# Just text\n";
        QTest::newRow("a blank first line means no header")
            << "\n---\nname: x\n---\nbody" << Fields{} << "\n---\nname: x\n---\nbody";
        QTest::newRow("only the opening line")
            << "---" << Fields{} << "---";
        QTest::newRow("no closing line")
            << "---\nname: x\nbody" << Fields{} << "---\nname: x\nbody";
        QTest::newRow("blanks around the markers")
            << " ---\t\nname: x\n  --- \nbody" << Fields{{"name", "x"}} << "body";
        QTest::newRow("quotes stay, # is no comment")
            << "---\nname: \"quoted\"\ncolor: #FF9F0A # orange\n---\n" << Fields{{"name", "\"quoted\""}, {"color", "#FF9F0A # orange"}} << "";
        QTest::newRow("continuation joined with one blank")
            << "---\ndescription: first\n  second\n\tthird\n---\n" << Fields{{"description", "first   second \tthird"}} << "";
        QTest::newRow("a YAML list reads as text")
            << "---\ntools:\n  - Read\n  - Edit\n---\n" << Fields{{"tools", "- Read   - Edit"}} << "";
        QTest::newRow("the last duplicate wins")
            << "---\nname: a\nname: b\n---\n" << Fields{{"name", "b"}} << "";
        QTest::newRow("keys keep their case, split at the first colon")
            << "---\nName: a\nurl: http://x:80\n---\n" << Fields{{"Name", "a"}, {"url", "http://x:80"}} << "";
        QTest::newRow("lines before the first key are ignored")
            << "---\njust words\nname: a\n---\n" << Fields{{"name", "a"}} << "";
        QTest::newRow("an empty value")
            << "---\ngates:\n---\n" << Fields{{"gates", ""}} << "";
        QTest::newRow("CRLF counts as two breaks")
            << "---\r\nname: a\r\n---\r\n\r\nbody\r\n" << Fields{{"name", "a"}} << "body";
        QTest::newRow("a continuation across CRLF keeps the empty line")
            << "---\r\ndescription: a\r\n b\r\n---\r\n" << Fields{{"description", "a   b"}} << "";
        QTest::newRow("body keeps its blanks and inner breaks")
            << "---\nname: a\n---\n\n  indented\n\nlast  \n\n" << Fields{{"name", "a"}} << "  indented\n\nlast  ";
        QTest::newRow("the second --- closes; later ones are body")
            << "---\nname: a\n---\ntext\n---\nmore" << Fields{{"name", "a"}} << "text\n---\nmore";
    }

    void parse()
    {
        QFETCH(QString, content);
        QFETCH(Fields, fields);
        QFETCH(QString, body);
        const FrontMatter parsed = frontmatter::parse(content);
        QCOMPARE(parsed.fields, fields);
        QCOMPARE(parsed.body, body);
    }

    void list_data()
    {
        QTest::addColumn<MaybeText>("value");
        QTest::addColumn<QStringList>("items");
        QTest::newRow("none") << MaybeText() << QStringList();
        QTest::newRow("empty") << MaybeText("") << QStringList();
        QTest::newRow("plain") << MaybeText("planner, reviewer") << QStringList{"planner", "reviewer"};
        QTest::newRow("brackets") << MaybeText(" [planner,reviewer] ") << QStringList{"planner", "reviewer"};
        QTest::newRow("empty brackets") << MaybeText("[]") << QStringList();
        QTest::newRow("empty pieces dropped, quotes kept") << MaybeText("a, , \"b\",") << QStringList{"a", "\"b\""};
        QTest::newRow("one bracket only") << MaybeText("[a, b") << QStringList{"[a", "b"};
    }

    void list()
    {
        QFETCH(MaybeText, value);
        QFETCH(QStringList, items);
        QCOMPARE(frontmatter::list(value), items);
    }

    void allowedTools_data()
    {
        QTest::addColumn<MaybeText>("value");
        QTest::addColumn<QStringList>("items");
        QTest::newRow("none") << MaybeText() << QStringList();
        QTest::newRow("empty brackets") << MaybeText("[]") << QStringList();
        QTest::newRow("commas inside round brackets") << MaybeText("[Bash(git add:*, git status:*), Read]")
                                                      << QStringList{"Bash(git add:*, git status:*)", "Read"};
        QTest::newRow("depth never below zero") << MaybeText("a)),b") << QStringList{"a))", "b"};
        QTest::newRow("an unclosed bracket keeps the rest") << MaybeText("Bash(x, y") << QStringList{"Bash(x, y"};
        QTest::newRow("only a closing bracket dropped") << MaybeText("Read, Edit]") << QStringList{"Read", "Edit"};
    }

    void allowedTools()
    {
        QFETCH(MaybeText, value);
        QFETCH(QStringList, items);
        QCOMPARE(frontmatter::allowedTools(value), items);
    }

    void boolean_data()
    {
        QTest::addColumn<MaybeText>("value");
        QTest::addColumn<MaybeBool>("result");
        QTest::newRow("none") << MaybeText() << MaybeBool();
        for (const char *yes : {"true", "YES", " 1 ", "True"})
            QTest::addRow("yes: %s", yes) << MaybeText(yes) << MaybeBool(true);
        for (const char *no : {"false", "No", "0"})
            QTest::addRow("no: %s", no) << MaybeText(no) << MaybeBool(false);
        for (const char *other : {"", "on", "2", "\"true\""})
            QTest::addRow("neither: '%s'", other) << MaybeText(other) << MaybeBool();
    }

    void boolean()
    {
        QFETCH(MaybeText, value);
        QFETCH(MaybeBool, result);
        QCOMPARE(frontmatter::boolean(value), result);
    }
};

QTEST_GUILESS_MAIN(FrontMatterTest)
#include "tst_front_matter.moc"
