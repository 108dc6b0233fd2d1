// The snippet of a search result and the lower-casing behind it: positions in code points, so
// emoji, accents and CJK text are never cut or misplaced.
#include "tools/search/IndexQuery.h"
#include "tools/search/SearchText.h"

#include <QTest>

using namespace corvane;
using namespace corvane::search;

namespace {

QString times(const QString &piece, int n)
{
    return piece.repeated(n);
}

} // namespace

class SearchTextTest : public QObject
{
    Q_OBJECT

private slots:
    void snippet_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("maxLength");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<int>("matchStart"); // -1: no match range
        QTest::addColumn<int>("matchLength");

        QTest::newRow("match at 0") << "hello world" << "hello" << 120 << "hello world" << 0 << 5;
        const QString hundred = times("a", 40) + "needle" + times("b", 54);
        QTest::newRow("100 characters whole") << hundred << "needle" << 120 << hundred << 40 << 6;
        QTest::newRow("cut both ends") << times("x", 200) + "Needle" + times("y", 200) << "needle" << 20
                                       << "..." + times("x", 7) + "Needle" + times("y", 7) + "..." << 10 << 6;
        QTest::newRow("near the end") << times("x", 200) + "end" << "end" << 10
                                      << "...xxxend" << 6 << 3;
        QTest::newRow("line ends read as spaces") << "first\nsecond line\nthird" << "second" << 120
                                                  << "first second line third" << 6 << 6;
        QTest::newRow("not found: the start") << "one\ntwo three four" << "zebra" << 7 << "one two" << -1 << 0;
        // An emoji is one character: twenty of them before the match are cut to seven whole ones.
        QTest::newRow("emoji") << times("😀", 20) + "match" + times("🎉", 20) << "match" << 19
                               << "..." + times("😀", 7) + "match" + times("🎉", 7) + "..." << 10 << 5;
        QTest::newRow("emoji not found") << times("👍🏽", 10) << "nope" << 5 << "👍🏽👍🏽👍" << -1 << 0;
        QTest::newRow("accents") << "Un Éclair au café" << "éclair" << 120 << "Un Éclair au café" << 3 << 6;
        QTest::newRow("upper-case accents") << "CRÈME BRÛLÉE" << "brûlée" << 120 << "CRÈME BRÛLÉE" << 6 << 6;
        QTest::newRow("cjk") << "今日は東京で会議があります" << "東京" << 120 << "今日は東京で会議があります" << 3 << 2;
        QTest::newRow("cjk cut") << times("会", 30) + "東京" + times("議", 30) << "東京" << 10
                                 << "..." + times("会", 4) + "東京" + times("議", 4) + "..." << 7 << 2;
        // A query longer than the snippet: the context is negative and the start moves past p.
        QTest::newRow("query longer than the snippet") << "abcdefgh" << "bcdefgh" << 4 << "...cdef..." << 2 << 7;
        QTest::newRow("Georgian capitals") << "ᲡᲐᲥᲐᲠᲗᲕᲔᲚᲝ!" << "საქართველო" << 120 << "ᲡᲐᲥᲐᲠᲗᲕᲔᲚᲝ!" << 0 << 10;
    }

    void snippet()
    {
        QFETCH(QString, text);
        QFETCH(QString, query);
        QFETCH(int, maxLength);
        QFETCH(QString, expected);
        QFETCH(int, matchStart);
        QFETCH(int, matchLength);
        const Snippet made = search::snippet(text, query, maxLength);
        QCOMPARE(made.text, expected);
        if (matchStart < 0) {
            QVERIFY(!made.match);
        } else {
            QVERIFY(made.match);
            QCOMPARE(made.match->start, matchStart);
            QCOMPARE(made.match->length, matchLength);
            // The range names the match itself, in code points of the snippet.
            const QList<uint> points = made.text.toUcs4();
            if (QByteArray(QTest::currentDataTag()) != "query longer than the snippet") {
                const QString matched = QString::fromUcs4(reinterpret_cast<const char32_t *>(points.constData()) + matchStart, matchLength);
                QCOMPARE(foldedCodePoints(matched), foldedCodePoints(query));
            }
        }
    }

    // Lower-casing keeps one code point for one, so folded positions are positions in the text.
    void foldingKeepsPositions()
    {
        const QString text = "Ა😀ÉA東ẞΣ";
        QCOMPARE(foldedCodePoints(text).size(), size_t(text.toUcs4().size()));
        QCOMPARE(fold(U'É'), U'é');
        QCOMPARE(fold(U'Ა'), U'ა');
        CodePoints viaUtf8;
        foldUtf8(text.toUtf8().constData(), int(text.toUtf8().size()), viaUtf8);
        QCOMPARE(viaUtf8, foldedCodePoints(text));
    }

    void indexQueries_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("expected");
        QTest::newRow("word") << "éclair" << "\"éclair\"";
        QTest::newRow("quote doubled") << "foo\"bar" << "\"foo\"\"bar\"";
        QTest::newRow("FTS words stay text") << "a or b" << "\"a or b\"";
        QTest::newRow("NEAR") << "near(" << "\"near(\"";
        QTest::newRow("star alone is too short") << "*" << "";
        QTest::newRow("two letters") << "ab" << "";
        QTest::newRow("cjk") << "東京都" << "\"東京都\"";
    }

    void indexQueries()
    {
        QFETCH(QString, query);
        QFETCH(QString, expected);
        QCOMPARE(indexQuery(foldedCodePoints(query)), expected);
    }

    // Georgian capitals (Mtavruli) lower-case to the common letters here, but SQLite's trigram
    // folding predates them and leaves them alone: those letters are never asked of the index,
    // or a message written in capitals would be missed.
    void foldingsThatDisagreeAreLeftOut()
    {
        QVERIFY(foldMismatches().contains(U'ა'));
        QVERIFY(!foldMismatches().contains(U'a'));
        QVERIFY(!foldMismatches().contains(U'k')); // the Kelvin sign folds alike
        QVERIFY(!foldMismatches().contains(U'é'));
        QCOMPARE(indexQuery(foldedCodePoints(u"tbilisi თბილისი")), QString("\"tbilisi \""));
        QCOMPARE(indexQuery(foldedCodePoints(u"abcაdefბgh")), QString("\"abc\" AND \"def\""));
    }
};

QTEST_GUILESS_MAIN(SearchTextTest)
#include "tst_search_text.moc"
