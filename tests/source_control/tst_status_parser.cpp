// The status parsers on canned output: what git prints, byte for byte, and what we make of it.
#include "Describe.h"

#include "source_control/StatusParser.h"

#include <QTest>

using namespace corvane;
using corvane::test::describe;
using corvane::test::describeHeader;

namespace {

const QByteArray hash = "5587be6b4c3f93f93c489c0111bba5596147a26c";

QByteArray ordinary(const QByteArray &xy, const QByteArray &path)
{
    return "1 " + xy + " N... 100644 100644 100644 " + hash + " " + hash + " " + path;
}

QByteArray renamed(const QByteArray &xy, const QByteArray &path, const QByteArray &original, char separator)
{
    return "2 " + xy + " N... 100644 100644 100644 " + hash + " " + hash + " R100 " + path + separator + original;
}

QByteArray unmerged(const QByteArray &xy, const QByteArray &path)
{
    return "u " + xy + " N... 100644 100644 100644 100644 " + hash + " " + hash + " " + hash + " " + path;
}

} // namespace

class StatusParserTest : public QObject
{
    Q_OBJECT

private slots:
    // "header": the summary of `git status --porcelain=v2 --branch`; "v2": its entries; "short":
    // the entries of `git status --porcelain`.
    void parses_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *format, const char *name) -> QTestData & {
            return QTest::addRow("%s: %s", format, name) << QString::fromLatin1(format);
        };
        row("header", "repository without commits")
            << QByteArray("# branch.oid (initial)\n# branch.head main\n") << "repository, branch main, +0 -0, no commits";
        row("header", "detached head keeps upstream and counts")
            << QByteArray("# branch.oid " + hash + "\n# branch.head (detached)\n# branch.upstream origin/main\n# branch.ab +2 -5\n")
            << "repository, detached, upstream origin/main, +2 -5, commits";
        row("header", "no upstream")
            << QByteArray("# branch.oid " + hash + "\n# branch.head main\n") << "repository, branch main, +0 -0, commits";
        row("header", "ahead 3 behind 1")
            << QByteArray("# branch.head main\n# branch.upstream origin/main\n# branch.ab +3 -1\n")
            << "repository, branch main, upstream origin/main, +3 -1, commits";
        row("header", "unreadable count changes nothing")
            << QByteArray("# branch.head main\n# branch.ab +x -4\n") << "repository, branch main, +0 -4, commits";
        row("header", "spaces and tabs around values")
            << QByteArray("# branch.head  feature/x \t\n# branch.ab  +3   -1 \n") << "repository, branch feature/x, +3 -1, commits";
        row("header", "NUL-terminated headers")
            << QByteArray("# branch.oid (initial)\0# branch.head topic\0", 43) << "repository, branch topic, +0 -0, no commits";
        row("header", "empty output") << QByteArray() << "repository, detached, +0 -0, commits";
        row("v2", "changed in the work tree") << ordinary(".M", "src/a.txt") + "\n" << "M* src/a.txt";
        row("v2", "changed in index and work tree") << ordinary("MM", "a.txt") + "\n" << "M* a.txt";
        row("v2", "staged change") << ordinary("M.", "a.txt") + "\n" << "M a.txt";
        row("v2", "staged addition") << ordinary("A.", "a.txt") + "\n" << "A a.txt";
        row("v2", "added then changed") << ordinary("AM", "a.txt") + "\n" << "M* a.txt";
        row("v2", "deleted in the work tree") << ordinary(".D", "gone.txt") + "\n" << "D* gone.txt";
        row("v2", "staged deletion") << ordinary("D.", "gone.txt") + "\n" << "D gone.txt";
        row("v2", "path with spaces stays whole") << ordinary(".M", "my  file name.txt") + "\n" << "M* my  file name.txt";
        row("v2", "quoted path stays quoted") << ordinary(".M", "\"\\303\\251.txt\"") + "\n" << "M* \"\\303\\251.txt\"";
        row("v2", "type change is no kind") << ordinary(".T", "link") + "\n" << "";
        row("v2", "line short of its path") << QByteArray("1 .M N... 100644 100644\n") << "";
        row("v2", "staged rename, tab form")
            << renamed("R.", "new name.txt", "old name.txt", '\t') + "\n" << "R new name.txt <- old name.txt";
        row("v2", "renamed and changed") << renamed("RM", "b.txt", "a.txt", '\t') + "\n" << "M* b.txt <- a.txt";
        row("v2", "copy") << renamed("C.", "copy.txt", "a.txt", '\t') + "\n" << "C copy.txt <- a.txt";
        row("v2", "untracked") << QByteArray("? new file.txt\n") << "?* new file.txt";
        row("v2", "ignored") << QByteArray("! build/out.o\n") << "!* build/out.o";
        row("v2", "unmerged with spaces") << unmerged("UU", "both changed.txt") + "\n" << "U* both changed.txt";
        row("v2", "unmerged, both added") << unmerged("AA", "new.txt") + "\n" << "U* new.txt";
        row("v2", "unmerged line short of its path") << QByteArray("u UU N... 100644\n") << "";
        row("v2", "unknown record") << QByteArray("x what\n# branch.unknown y\n") << "";
        row("v2", ".DS_Store at any depth")
            << QByteArray("? .DS_Store\n? a/b/.DS_Store\n" + ordinary(".M", "c/.DS_Store") + "\n? a/.DS_Store.txt\n")
            << "?* a/.DS_Store.txt";
        row("v2", "git's order kept")
            << QByteArray(ordinary("M.", "z.txt") + "\n? a.txt\n" + ordinary(".D", "m.txt") + "\n")
            << "M z.txt; ?* a.txt; D* m.txt";
        row("v2", "-z: rename's original path is the next record")
            << renamed("R.", "c d.txt", "a b.txt", '\0') + '\0' + ordinary(".M", "\xc3\xa9.txt") + '\0'
            << "R c d.txt <- a b.txt; M* \u00e9.txt";
        row("v2", "-z: newline and tab in a path")
            << QByteArray("? new\nline.txt\0? tab\there.txt\0", 30) << "?* new\nline.txt; ?* tab\there.txt";
        row("v2", "-z: dropped rename still takes its original path")
            << renamed("T.", "x", "y", '\0') + '\0' + QByteArray("? z", 3) + '\0' << "?* z";
        row("v2", "-z: as git 2.39 printed it")
            << QByteArray("# branch.oid b55883be72a6c13b36d1e0326be4050f07b14cb3\0# branch.head main\0"
                          "2 R. N... 100644 100644 100644 94954abda49de8615a048f8d2e64b5de848e27a1 "
                          "94954abda49de8615a048f8d2e64b5de848e27a1 R100 c d.txt\0a b.txt\0"
                          "1 .M N... 100644 100644 100644 587be6b4c3f93f93c489c0111bba5596147a26cb "
                          "587be6b4c3f93f93c489c0111bba5596147a26cb \xc3\xa9.txt\0? new\nline.txt\0", 342)
            << "R c d.txt <- a b.txt; M* \u00e9.txt; ?* new\nline.txt";
        row("short", "rename keeps the arrow") << QByteArray("R  a -> b\n") << "R* a -> b";
        row("short", "changed in the work tree") << QByteArray(" M src/a.txt\n") << "M* src/a.txt";
        row("short", "staged and changed: last letter") << QByteArray("AM new.txt\n") << "M* new.txt";
        row("short", "untracked") << QByteArray("?? new file.txt\n") << "?* new file.txt";
        row("short", "ignored") << QByteArray("!! build/\n") << "!* build/";
        row("short", "unmerged") << QByteArray("UU c.txt\n") << "U* c.txt";
        row("short", "too short") << QByteArray("M\nMM\n") << "";
        row("short", "unknown letter") << QByteArray(" T link\n") << "";
        row("short", ".DS_Store") << QByteArray("?? .DS_Store\n M x/.DS_Store\n") << "";
        row("short", "-z: rename gives new and old path")
            << QByteArray("R  c d.txt\0a b.txt\0 M \xc3\xa9.txt\0?? new\nline.txt\0", 45)
            << "R* c d.txt <- a b.txt; M* \u00e9.txt; ?* new\nline.txt";
    }

    void parses()
    {
        QFETCH(QString, format);
        QFETCH(QByteArray, output);
        QFETCH(QString, expected);
        if (format == "header")
            QCOMPARE(describeHeader(parseStatusV2(output)), expected);
        else if (format == "v2")
            QCOMPARE(describe(parseStatusV2(output).files), expected);
        else
            QCOMPARE(describe(parseStatusPorcelain(output)), expected);
    }

    void letters()
    {
        for (const char letter : QByteArray("AMDRCU?!")) {
            const std::optional<GitStatus> kind = gitStatusFromLetter(letter);
            QVERIFY2(kind, QByteArray(1, letter).constData());
            QCOMPARE(gitStatusLetter(*kind), QChar(letter));
        }
        QVERIFY(!gitStatusFromLetter('T'));
        QVERIFY(!gitStatusFromLetter('.'));
    }
};

QTEST_GUILESS_MAIN(StatusParserTest)
#include "tst_status_parser.moc"
