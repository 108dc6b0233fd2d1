// Dragging a table's column boundary in a rendered reply: widths move between neighbours and
// are remembered for the same table, also when it is rendered again.
#include "presentation/markdown/MarkdownRenderer.h"
#include "presentation/markdown/TableColumnLayout.h"
#include "shell/chat/MarkdownTextView.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>
#include <QTextTable>

using namespace corvane;

namespace {

QList<qreal> headerWidths(MarkdownTextView &view)
{
    QList<qreal> widths;
    for (QTextFrame *frame : view.document()->rootFrame()->childFrames())
        if (auto *table = qobject_cast<QTextTable *>(frame))
            for (int c = 0; c < table->columns(); ++c)
                widths << view.document()->documentLayout()->blockBoundingRect(table->cellAt(0, c).firstCursorPosition().block()).width();
    return widths;
}

QPoint boundaryPoint(MarkdownTextView &view, int boundary)
{
    for (QTextFrame *frame : view.document()->rootFrame()->childFrames())
        if (auto *table = qobject_cast<QTextTable *>(frame)) {
            auto *layout = view.document()->documentLayout();
            const QRectF left = layout->blockBoundingRect(table->cellAt(0, boundary).firstCursorPosition().block());
            const QRectF right = layout->blockBoundingRect(table->cellAt(0, boundary + 1).firstCursorPosition().block());
            return QPointF((left.right() + right.left()) / 2, left.center().y()).toPoint();
        }
    return {};
}

} // namespace

class MarkdownTextViewTest : public QObject
{
    Q_OBJECT

private slots:
    void draggingABoundaryMovesWidthAndIsRemembered_data()
    {
        QTest::addColumn<int>("delta");
        QTest::newRow("to the right") << 60;
        QTest::newRow("to the left") << -30;
    }

    void draggingABoundaryMovesWidthAndIsRemembered()
    {
        QFETCH(int, delta);
        const QString text = QStringLiteral("| Name %1 | A much longer value column | Note |\n|---|---|---|\n| alpha | 1 | first |\n| beta | 2 | second |").arg(delta);
        ChatStyle style = ChatStyle::from(QPalette(), 1.0);
        style.textScale = 1.0;
        const auto blocks = MarkdownRenderer::blocks(text, false, 14.0, {});
        QCOMPARE(blocks.size(), 1);
        QCOMPARE(blocks.first().kind, MarkdownBlock::Kind::table);
        MarkdownTextView view;
        view.setBlocks(blocks, style);
        view.resize(600, view.heightForWidth(600));
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        const QList<qreal> before = headerWidths(view);
        QCOMPARE(before.size(), 3);
        QSignalSpy resized(&view, &MarkdownTextView::tableResized);
        const QPoint start = boundaryPoint(view, 0);
        QTest::mousePress(view.viewport(), Qt::LeftButton, {}, start);
        QMouseEvent move(QEvent::MouseMove, QPointF(start + QPoint(delta, 0)), view.viewport()->mapToGlobal(QPointF(start + QPoint(delta, 0))),
                         Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(view.viewport(), &move);
        QTest::mouseRelease(view.viewport(), Qt::LeftButton, {}, start + QPoint(delta, 0));
        QCOMPARE(resized.count(), 1);
        const QList<qreal> after = headerWidths(view);
        QVERIFY2(delta > 0 ? after[0] > before[0] + 20 : after[0] < before[0] - 10, qPrintable(QStringLiteral("%1 -> %2").arg(before[0]).arg(after[0])));
        QVERIFY2(qAbs(after[2] - before[2]) < 4, qPrintable(QStringLiteral("%1 -> %2").arg(before[2]).arg(after[2]))); // the other neighbour is not touched
        QVERIFY(TableColumnLayout::rememberedFractions(TableColumnLayout::tableKey(blocks.first())));

        MarkdownTextView again; // the same table rendered again keeps the proportions
        again.setBlocks(blocks, style);
        again.resize(600, again.heightForWidth(600));
        QVERIFY(qAbs(headerWidths(again)[0] - after[0]) < 4);
    }
};

QTEST_MAIN(MarkdownTextViewTest)
#include "tst_markdown_text_view.moc"
