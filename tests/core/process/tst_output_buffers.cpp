#include "core/process/ByteTail.h"
#include "core/process/LineFramer.h"

#include <QTest>

using namespace corvane;

namespace {

struct Framed
{
    QByteArrayList lines;
    QList<qsizetype> dropped;
};

Framed frame(const QByteArrayList &chunks, qsizetype maxLineLength)
{
    LineFramer framer(maxLineLength);
    Framed framed;
    for (const QByteArray &chunk : chunks)
        framed.lines += framer.feed(chunk);
    if (std::optional<QByteArray> last = framer.flush())
        framed.lines << *last;
    framed.dropped = framer.takeDroppedLineSizes();
    return framed;
}

} // namespace

class OutputBuffersTest : public QObject
{
    Q_OBJECT

private slots:
    void frames_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<int>("maxLineLength");
        QTest::addColumn<QByteArrayList>("lines");
        QTest::addColumn<QList<qsizetype>>("dropped");
        QTest::newRow("two lines in one read") << QByteArrayList{"a\nb\n"} << 10 << QByteArrayList{"a", "b"} << QList<qsizetype>{};
        QTest::newRow("line across reads, last one flushed") << QByteArrayList{"ab", "c\nd"} << 10 << QByteArrayList{"abc", "d"} << QList<qsizetype>{};
        QTest::newRow("\\r only stripped at the end") << QByteArrayList{"a\r\nb\rc\n"} << 10 << QByteArrayList{"a", "b\rc"} << QList<qsizetype>{};
        QTest::newRow("empty lines kept") << QByteArrayList{"\n", "\n"} << 10 << QByteArrayList{"", ""} << QList<qsizetype>{};
        QTest::newRow("exactly the limit") << QByteArrayList{"abc\n"} << 3 << QByteArrayList{"abc"} << QList<qsizetype>{};
        QTest::newRow("exactly the limit before its newline") << QByteArrayList{"abc", "\n"} << 3 << QByteArrayList{"abc"} << QList<qsizetype>{};
        QTest::newRow("over the limit, then resync") << QByteArrayList{"abcd\nok\n"} << 3 << QByteArrayList{"ok"} << QList<qsizetype>{4};
        QTest::newRow("over the limit across reads") << QByteArrayList{"ab", "cd", "ef\nok"} << 3 << QByteArrayList{"ok"} << QList<qsizetype>{6};
        QTest::newRow("over-long last line not flushed") << QByteArrayList{"ok\n", "abcd"} << 3 << QByteArrayList{"ok"} << QList<qsizetype>{4};
    }

    void frames()
    {
        QFETCH(QByteArrayList, chunks);
        QFETCH(int, maxLineLength);
        QFETCH(QByteArrayList, lines);
        QFETCH(QList<qsizetype>, dropped);
        const Framed framed = frame(chunks, maxLineLength);
        QCOMPARE(framed.lines, lines);
        QCOMPARE(framed.dropped, dropped);
    }

    // Whatever the pipe does to a stream, the lines are the same: cut it in three at every pair of points.
    void readBoundariesDoNotMatter_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<int>("maxLineLength");
        QTest::newRow("UTF-8 and \\r\\n") << QByteArray("h\xc3\xa9llo\r\n\xf0\x9f\x98\x80\n\nlast") << 100;
        QTest::newRow("over-long lines between short ones") << QByteArray("abcdefgh\nok\r\nxxxxxx\n12345\n\nfine") << 5;
    }

    void readBoundariesDoNotMatter()
    {
        QFETCH(QByteArray, stream);
        QFETCH(int, maxLineLength);
        const Framed whole = frame({stream}, maxLineLength);
        for (qsizetype i = 0; i <= stream.size(); ++i) {
            for (qsizetype j = i; j <= stream.size(); ++j) {
                const Framed cut = frame({stream.left(i), stream.mid(i, j - i), stream.mid(j)}, maxLineLength);
                QVERIFY2(cut.lines == whole.lines && cut.dropped == whole.dropped, qPrintable(QString("cut at %1 and %2").arg(i).arg(j)));
            }
        }
    }

    void errorTailKeepsTheLastBytes_data()
    {
        QTest::addColumn<int>("capacity");
        QTest::addColumn<int>("chunkSize");
        QTest::newRow("one-byte writes") << 100 << 1;
        QTest::newRow("writes smaller than the tail") << 100 << 7;
        QTest::newRow("writes as big as the tail") << 100 << 100;
        QTest::newRow("writes bigger than the tail") << 100 << 333;
        QTest::newRow("no tail at all") << 0 << 10;
    }

    void errorTailKeepsTheLastBytes()
    {
        QFETCH(int, capacity);
        QFETCH(int, chunkSize);
        ByteTail tail(capacity);
        QByteArray written;
        for (int i = 0; written.size() < 2000; ++i) {
            const QByteArray chunk = QByteArray::number(i).repeated(chunkSize).left(chunkSize);
            tail.append(chunk);
            written += chunk;
            QCOMPARE(tail.bytes(), written.right(capacity));
        }
    }
};

QTEST_GUILESS_MAIN(OutputBuffersTest)
#include "tst_output_buffers.moc"
