// The diff window on a real repository: a changed file side by side with its rows aligned and
// numbered, and the files that have one side only (new, deleted, binary). Leaves screenshots.
#include "shell/Appearance.h"
#include "shell/diff/DiffPane.h"
#include "shell/diff/DiffWindow.h"
#include "source_control/GitSandbox.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

std::unique_ptr<DiffWindow> opened(const QString &repository, const QString &path)
{
    auto window = std::make_unique<DiffWindow>(repository, path);
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    window->show();
    QSignalSpy loaded(window.get(), &DiffWindow::loaded);
    if (!window->isLoaded() && !loaded.wait(10000))
        return nullptr;
    return window;
}

QStringList lines(const DiffPane *pane)
{
    return pane->toPlainText().split(QLatin1Char('\n'));
}

} // namespace

class DiffWindowTest : public QObject
{
    Q_OBJECT

    GitSandbox m_git;
    QString m_repository;

private slots:
    void initTestCase()
    {
        m_repository = m_git.makeRepository("app");
        QByteArray code;
        for (int i = 1; i <= 60; ++i)
            code += "int value" + QByteArray::number(i) + " = " + QByteArray::number(i) + ";\n";
        m_git.write(m_repository + "/main.cpp", code);
        m_git.write(m_repository + "/gone.txt", "old\n");
        m_git.write(m_repository + "/logo.png", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
        m_git.commitAll(m_repository, "Files");
        code.replace("int value3 = 3;\n", "int value3 = 30;\nint extra = 0;\n");
        code.replace("int value40 = 40;\n", "");
        m_git.write(m_repository + "/main.cpp", code);
        m_git.write(m_repository + "/new.txt", "fresh\n");
        QFile::remove(m_repository + "/gone.txt");
        m_git.write(m_repository + "/logo.png", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0", 17));
    }

    void aChangedFileSideBySide()
    {
        auto window = opened(m_repository, "main.cpp");
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), QStringLiteral("Diff: main.cpp"));
        QCOMPARE(window->leftHeader()->text(), QStringLiteral("Original (HEAD)"));
        QCOMPARE(window->rightHeader()->text(), QStringLiteral("Current"));
        DiffPane *left = window->leftPane(), *right = window->rightPane();
        // Both sides have a line per row: one scroll position fits both.
        QCOMPARE(left->blockCount(), right->blockCount());
        QCOMPARE(lines(left).at(2), QStringLiteral("int value3 = 3;"));
        QCOMPARE(lines(right).at(2), QStringLiteral("int value3 = 30;"));
        QCOMPARE(lines(left).at(3), QString()); // filler beside the added line
        QCOMPARE(lines(right).at(3), QStringLiteral("int extra = 0;"));
        QCOMPARE(left->numbers().at(3), std::nullopt);
        QCOMPARE(right->numbers().at(3), std::optional(4));
        const int removedRow = int(lines(left).indexOf("int value40 = 40;"));
        QCOMPARE(lines(right).at(removedRow), QString());
        QCOMPARE(left->numbers().at(removedRow), std::optional(40));
        right->verticalScrollBar()->setValue(right->verticalScrollBar()->maximum());
        QCOMPARE(left->verticalScrollBar()->value(), right->verticalScrollBar()->value());
        QTest::qWait(300); // the highlight, when highlight.js is there
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        left->verticalScrollBar()->setValue(0);
        QVERIFY(window->grab().save(CORVANE_SCREENSHOT_DIR "/diff-window.png"));
    }

    void oneSideOnly_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("header");
        QTest::addColumn<QString>("shown");
        QTest::newRow("untracked") << "new.txt" << "New File" << "fresh\n";
        QTest::newRow("deleted") << "gone.txt" << "Deleted File" << "old\n";
        QTest::newRow("binary") << "logo.png" << "Binary File" << QString();
    }

    void oneSideOnly()
    {
        QFETCH(QString, path);
        QFETCH(QString, header);
        QFETCH(QString, shown);
        auto window = opened(m_repository, path);
        QVERIFY(window);
        const bool added = header == "New File";
        QCOMPARE((added ? window->rightHeader() : window->leftHeader())->text(), header);
        QVERIFY(!(added ? window->leftHeader() : window->rightHeader())->isVisible());
        if (shown.isEmpty()) {
            QVERIFY(!window->leftPane()->isVisible());
            QVERIFY(window->findChild<QLabel *>() != nullptr);
        } else {
            QCOMPARE((added ? window->rightPane() : window->leftPane())->toPlainText(), shown);
        }
    }
};

QTEST_MAIN(DiffWindowTest)
#include "tst_diff_window.moc"
