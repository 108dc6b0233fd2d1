// The aligned rows of a side-by-side diff, and that the edit script under them is a shortest
// one: checked against a longest-common-subsequence table on random texts.
#include "source_control/diff/DiffLoader.h"
#include "source_control/diff/LineDiff.h"

#include <QRandomGenerator>
#include <QTest>

using namespace corvane;

namespace {

// "=1:1 a|a", "~2:2 b|x", "-3: c|", "+:3 |y": kind, numbers, texts.
QString describe(const DiffRow &row)
{
    const char kind = row.type == DiffLineType::unchanged ? '=' : row.type == DiffLineType::modified ? '~'
                    : row.type == DiffLineType::removed ? '-' : '+';
    auto number = [](const std::optional<int> &n) { return n ? QString::number(*n) : QString(); };
    return QStringLiteral("%1%2:%3 %4|%5").arg(QChar::fromLatin1(kind), number(row.leftLineNumber),
                                               number(row.rightLineNumber), row.leftText, row.rightText);
}

QStringList describe(const QList<DiffRow> &rows)
{
    QStringList out;
    for (const DiffRow &row : rows)
        out << describe(row);
    return out;
}

int lcsLength(const QStringList &a, const QStringList &b)
{
    std::vector<int> previous(size_t(b.size()) + 1, 0), current(size_t(b.size()) + 1, 0);
    for (qsizetype i = 1; i <= a.size(); ++i) {
        for (qsizetype j = 1; j <= b.size(); ++j)
            current[j] = a[i - 1] == b[j - 1] ? previous[j - 1] + 1 : std::max(previous[j], current[j - 1]);
        std::swap(previous, current);
    }
    return previous[size_t(b.size())];
}

} // namespace

class LineDiffTest : public QObject
{
    Q_OBJECT

private slots:
    void rows_data()
    {
        QTest::addColumn<QString>("oldText");
        QTest::addColumn<QString>("newText");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("equal") << "a\nb" << "a\nb" << QStringList{"=1:1 a|a", "=2:2 b|b"};
        QTest::newRow("one line changed") << "a\nb\nc" << "a\nx\nc" << QStringList{"=1:1 a|a", "~2:2 b|x", "=3:3 c|c"};
        QTest::newRow("changed and added") << "a\nb" << "a\nx\ny" << QStringList{"=1:1 a|a", "~2:2 b|x", "+:3 |y"};
        QTest::newRow("two removed") << "a\nb\nc" << "a" << QStringList{"=1:1 a|a", "-2: b|", "-3: c|"};
        QTest::newRow("final newline added") << "a\nb" << "a\nb\n" << QStringList{"=1:1 a|a", "=2:2 b|b", "+:3 |"};
        QTest::newRow("final newline and last line") << "a\nb" << "a\nc\n" << QStringList{"=1:1 a|a", "~2:2 b|c", "+:3 |"};
        QTest::newRow("removals before insertions") << "x\na" << "y\nz\na"
                                                    << QStringList{"~1:1 x|y", "+:2 |z", "=2:3 a|a"};
        QTest::newRow("moved line") << "a\nb\nc" << "b\nc\na" << QStringList{"-1: a|", "=2:1 b|b", "=3:2 c|c", "+:3 |a"};
        QTest::newRow("empty to text") << "" << "a" << QStringList{"~1:1 |a"};
        QTest::newRow("repeated lines") << "a\na\nb\na" << "a\nb\na\na"
                                        << QStringList{"=1:1 a|a", "-2: a|", "=3:2 b|b", "+:3 |a", "=4:4 a|a"};
    }

    void rows()
    {
        QFETCH(QString, oldText);
        QFETCH(QString, newText);
        QFETCH(QStringList, expected);
        QCOMPARE(describe(diff::rows(oldText, newText)), expected);
    }

    // Random texts over a small alphabet, so lines repeat and the search has real choices: the
    // script's edits are exactly those a longest common subsequence leaves.
    void theScriptIsAShortestOne()
    {
        QRandomGenerator random(7);
        for (int round = 0; round < 300; ++round) {
            auto text = [&random] {
                QStringList lines;
                const int count = int(random.bounded(0, 40));
                for (int i = 0; i < count; ++i)
                    lines << QString(QChar(u'a' + random.bounded(0, 5)));
                return lines;
            };
            const QStringList a = text(), b = text();
            const auto script = diff::shortestEditScript(a, b);
            const int removed = int(std::count(script.removed.begin(), script.removed.end(), true));
            const int inserted = int(std::count(script.inserted.begin(), script.inserted.end(), true));
            const int common = lcsLength(a, b);
            QCOMPARE(removed, int(a.size()) - common);
            QCOMPARE(inserted, int(b.size()) - common);
            // And the lines kept really pair up in order.
            QStringList keptOld, keptNew;
            for (qsizetype i = 0; i < a.size(); ++i)
                if (!script.removed[i])
                    keptOld << a[i];
            for (qsizetype j = 0; j < b.size(); ++j)
                if (!script.inserted[j])
                    keptNew << b[j];
            QCOMPARE(keptOld, keptNew);
        }
    }

    void whatTheWindowShows_data()
    {
        QTest::addColumn<std::optional<QString>>("oldText");
        QTest::addColumn<std::optional<QString>>("newText");
        QTest::addColumn<int>("kind");
        QTest::newRow("both") << std::optional<QString>("a") << std::optional<QString>("b") << int(DiffDocument::Kind::text);
        QTest::newRow("only on disk") << std::optional<QString>() << std::optional<QString>("b") << int(DiffDocument::Kind::newFile);
        QTest::newRow("only committed") << std::optional<QString>("a") << std::optional<QString>() << int(DiffDocument::Kind::deletedFile);
        QTest::newRow("neither") << std::optional<QString>() << std::optional<QString>() << int(DiffDocument::Kind::binary);
    }

    void whatTheWindowShows()
    {
        QFETCH(std::optional<QString>, oldText);
        QFETCH(std::optional<QString>, newText);
        QFETCH(int, kind);
        QCOMPARE(int(diff::document(oldText, newText).kind), kind);
    }
};

QTEST_GUILESS_MAIN(LineDiffTest)
#include "tst_line_diff.moc"
