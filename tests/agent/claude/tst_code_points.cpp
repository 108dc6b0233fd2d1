// Measuring and cutting text by whole characters.
#include "agent/claude/CodePoints.h"

#include <QTest>

using namespace corvane;

class CodePointsTest : public QObject
{
    Q_OBJECT

private slots:
    void cuts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("left");

        const QChar loneHigh(0xD83D);
        QTest::newRow("ASCII") << "Hello" << 3 << 5 << "Hel";
        QTest::newRow("accented letters") << QString::fromUtf8("café!") << 4 << 5 << QString::fromUtf8("café");
        QTest::newRow("cut after an emoji") << QString::fromUtf8("a😀b") << 2 << 3 << QString::fromUtf8("a😀");
        QTest::newRow("cut before an emoji") << QString::fromUtf8("a😀b") << 1 << 3 << "a";
        QTest::newRow("only emoji") << QString::fromUtf8("😀😃😄") << 2 << 3 << QString::fromUtf8("😀😃");
        QTest::newRow("beyond the end") << QString::fromUtf8("x😀") << 10 << 2 << QString::fromUtf8("x😀");
        QTest::newRow("nothing") << "abc" << 0 << 3 << "";
        QTest::newRow("negative") << "abc" << -1 << 3 << "";
        QTest::newRow("lone surrogate counts as one") << QString("a") + loneHigh + "b" << 2 << 3 << QString("a") + loneHigh;
        QTest::newRow("high surrogate at the end") << QString("ab") + loneHigh << 3 << 3 << QString("ab") + loneHigh;
    }

    void cuts()
    {
        QFETCH(QString, text);
        QFETCH(int, n);
        QFETCH(int, count);
        QFETCH(QString, left);
        QCOMPARE(codepoints::count(text), qsizetype(count));
        QCOMPARE(codepoints::left(text, n), left);
        QCOMPARE(codepoints::left(text, n) + codepoints::mid(text, n), text);
    }
};

QTEST_GUILESS_MAIN(CodePointsTest)
#include "tst_code_points.moc"
