// Open files as a person uses them: opened from the window, typed in until the pill shows a dot,
// saved with the save key, switched with the pills while each file keeps its undo history,
// changed on disk under a clean and a dirty buffer, closed through the save prompt, and
// previewed when no workspace is in front. Colours stop above the size limit.
#include "support/CoreFiles.h"
#include "support/StoreFixture.h"
#include "support/ToolWindowFixture.h"

#include "core/window/WindowStateModel.h"
#include "presentation/highlight/FileLanguage.h"
#include "shell/editor/CodeEditor.h"
#include "shell/editor/FileEditorView.h"
#include "shell/editor/FilePreviewWindow.h"
#include "shell/files/FileTreeView.h"
#include "shell/window/InspectorView.h"
#include "shell/window/WindowActions.h"
#include "tools/editor/OpenFileService.h"
#include "tools/files/FileTreeViewModel.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QKeyEvent>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {


// Types text key by key, as a keyboard with those characters would (keyClicks takes ASCII only).
void typeText(QWidget *widget, const QString &text)
{
    for (const QChar c : text) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, QString(c));
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_unknown, Qt::NoModifier, QString(c));
        QApplication::sendEvent(widget, &press);
        QApplication::sendEvent(widget, &release);
    }
}

// Clicks the middle of a pill of the bar.
void clickPill(WorkspaceTabBar *bar, int index, Qt::MouseButton button = Qt::LeftButton)
{
    QTest::mouseClick(bar, button, {}, bar->pillRects().at(index).center().toPoint());
}

} // namespace

class TestFileEditor : public QObject
{
    Q_OBJECT

private slots:
    void highlightingStopsAboveTheLimit_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<bool>("coloured");
        QTest::newRow("200000 bytes") << int(largestHighlightedText) << true;
        QTest::newRow("200001 bytes") << int(largestHighlightedText) + 1 << false;
    }

    void highlightingStopsAboveTheLimit()
    {
        QFETCH(int, bytes);
        QFETCH(bool, coloured);
        // A JSON array padded to the exact size, with a two-byte character inside.
        QByteArray text = QByteArray("[\"é\"") + QByteArray(bytes - 7, ' ') + "]\n";
        QCOMPARE(text.size(), bytes);
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath("data.json"), text));
        FilePreviewWindow preview(dir.filePath("data.json"));
        QCOMPARE(preview.editor()->language(), std::optional<QString>(QStringLiteral("json")));
        if (coloured)
            QTRY_VERIFY_WITH_TIMEOUT(preview.editor()->isHighlighted(), 60000);
        else
            QVERIFY(!preview.editor()->isHighlighted());
    }

    void editingInTheWindow()
    {
        ToolWindowFixture f;
        const QString folder = f.f.env.root() + "/parser";
        QDir().mkpath(folder);
        const InsertedPlace place = insertPlace(f.ctx(), folder, QStringLiteral("Parser work"));
        QVERIFY(writeFile(folder + "/main.cpp", "int main() { return 0; }\n"));
        QVERIFY(writeFile(folder + "/notes.md", "# Notes\n"));
        QDir(folder).mkpath("src/parser");
        QVERIFY(writeFile(folder + "/src/parser/lexer.cpp", "// The lexer\n"));
        QVERIFY(writeFile(folder + "/.env", "TOKEN=1\n"));
        f.openWindow(QSize(1400, 760));
        f.window->state().setContent(ContentState::workspace(place.workspaceId));
        QTRY_VERIFY(f.window->content()->tabBar()->isVisible());
        WorkspaceTabBar *bar = f.window->content()->tabBar();
        OpenFileService &files = f.window->openFiles();
        QList<OpenFileService::SaveAnswer> answers;
        int asked = 0;
        files.setSavePrompt([&](const OpenFile &) {
            ++asked;
            return answers.isEmpty() ? OpenFileService::SaveAnswer::cancel : answers.takeFirst();
        });

        f.window->openFile(folder + "/main.cpp");
        f.window->openFile(folder + "/notes.md");
        QCOMPARE(bar->files().size(), 2);
        QCOMPARE(bar->frontFile(), std::optional(folder + "/notes.md"));
        QCOMPARE(bar->pillRects().size(), 3); // the chat, then the two files
        auto *editor = qobject_cast<FileEditorView *>(f.window->content()->fileEditor());
        QVERIFY(editor);
        QCOMPARE(editor->boundPath(), folder + "/notes.md");

        // Typing marks the pill; the save key writes the file and clears it.
        editor->editor()->setFocus();
        editor->editor()->moveCursor(QTextCursor::End);
        typeText(editor->editor(), QStringLiteral("Ünïcode ✓"));
        QVERIFY(bar->files().at(1).dirty);
        QTest::keyClick(editor->editor(), Qt::Key_S, Qt::ControlModifier);
        QCOMPARE(readFile(folder + "/notes.md"), QString("# Notes\nÜnïcode ✓").toUtf8());
        QVERIFY(!bar->files().at(1).dirty);

        // Another pill and back: each file keeps its own undo history.
        QTest::keyClicks(editor->editor(), " more");
        clickPill(bar, 1);
        QCOMPARE(editor->boundPath(), folder + "/main.cpp");
        clickPill(bar, 2);
        QCOMPARE(editor->boundPath(), folder + "/notes.md");
        QVERIFY(bar->files().at(1).dirty);
        editor->editor()->undo();
        QVERIFY(!bar->files().at(1).dirty); // back to what was saved

        // The chat's pill puts the chat in front; the files stay.
        clickPill(bar, 0);
        QVERIFY(!f.window->content()->fileEditor());
        QCOMPARE(bar->files().size(), 2);
        QVERIFY(!bar->frontFile());
        clickPill(bar, 1);
        QCOMPARE(f.window->content()->fileEditor(), editor);

        // Changed on disk: the clean buffer follows, the dirty one keeps the user's text.
        QTest::qWait(20);
        QVERIFY(writeFile(folder + "/main.cpp", "int main() { return 1; }\n"));
        broadcast::post(f.center, broadcast::FileSystemChanged{folder});
        QCOMPARE(editor->editor()->toPlainText(), QStringLiteral("int main() { return 1; }\n"));
        QTest::keyClicks(editor->editor(), "// mine");
        QTest::qWait(20);
        QVERIFY(writeFile(folder + "/main.cpp", "int main() { return 2; }\n"));
        broadcast::post(f.center, broadcast::FileSystemChanged{folder});
        QVERIFY(editor->editor()->toPlainText().contains("// mine"));
        auto *notice = editor->findChild<QWidget *>(QStringLiteral("diskChangeNotice"));
        QVERIFY(notice && notice->isVisible());
        // The Files tab beside the editor, for the screenshot.
        f.window->actions().action(KeyboardShortcutAction::toggleInspector)->trigger();
        f.window->inspector()->tabs()->setCurrentWidget(f.window->inspector()->fileTree());
        FileTreeView *tree = f.window->inspector()->fileTree();
        QTRY_VERIFY(tree->model() && tree->model()->rowCount() == 4); // src, .env, main.cpp, notes.md
        tree->expand(tree->model()->index(0, 0));
        QTRY_VERIFY_WITH_TIMEOUT(editor->editor()->isHighlighted(), 30000);
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(f.window->grab().save(CORVANE_SCREENSHOT_DIR "/file-tree.png"));

        // Closing the dirty file: Cancel keeps it open and in front; Don't Save closes it.
        const QRectF close = bar->closeButtonRect(0);
        QTest::mouseClick(bar, Qt::LeftButton, {}, close.center().toPoint());
        QCOMPARE(asked, 1);
        QCOMPARE(bar->files().size(), 2);
        QCOMPARE(editor->boundPath(), folder + "/main.cpp");
        answers << OpenFileService::SaveAnswer::discard;
        QTest::mouseClick(bar, Qt::LeftButton, {}, close.center().toPoint());
        QCOMPARE(bar->files().size(), 1);
        QCOMPARE(readFile(folder + "/main.cpp"), QByteArray("int main() { return 2; }\n"));
        // The last file left is the active one, still in front; the middle button closes it.
        QCOMPARE(editor->boundPath(), folder + "/notes.md");
        clickPill(bar, 1, Qt::MiddleButton);
        QVERIFY(bar->files().isEmpty());
        QVERIFY(!f.window->content()->fileEditor());
    }

    void aLargeFileLoadsInPiecesAndOnlyThenTakesEdits()
    {
        QTemporaryDir dir;
        QString text;
        for (int line = 0; text.size() < 3 * FileEditorView::loadPiece; ++line)
            text += QStringLiteral("line %1 ✓\n").arg(line);
        QVERIFY(writeFile(dir.filePath("big.txt"), text.toUtf8()));
        NotificationCenter center;
        OpenFileService files(center);
        const QUuid workspace = QUuid::createUuid();
        FileEditorView view(files, workspace);
        view.show();
        const OpenFilePtr file = files.open(dir.filePath("big.txt"), workspace);
        QVERIFY(view.isLoading());
        QVERIFY(view.editor()->isReadOnly());
        QVERIFY(view.editor()->toPlainText().size() < text.size());
        view.flush(); // half a text is never taken for an edit
        QVERIFY(!file->isDirty());
        QTRY_VERIFY(!view.isLoading());
        QCOMPARE(view.editor()->toPlainText(), text);
        QVERIFY(!view.editor()->isReadOnly());
        QVERIFY(!view.editor()->document()->isModified());
        QVERIFY(!view.editor()->document()->isUndoAvailable());
        view.editor()->moveCursor(QTextCursor::End);
        QTest::keyClicks(view.editor(), "end");
        QVERIFY(file->isDirty());
        QVERIFY(file->contents.endsWith("end"));
    }

    void anOpenFileFollowsARenameAndAMoveInTheTree()
    {
        ToolWindowFixture f;
        const QString folder = f.f.env.root() + "/app";
        QVERIFY(writeFile(folder + "/old.cpp", "int a;\n"));
        QVERIFY(QDir().mkpath(folder + "/src"));
        const InsertedPlace place = insertPlace(f.ctx(), folder, QStringLiteral("Work"));
        f.openWindow(QSize(1200, 700));
        f.window->state().setContent(ContentState::workspace(place.workspaceId));
        FileTreeViewModel &tree = f.window->fileTreeModel();
        QTRY_VERIFY(tree.rootNode());
        f.window->openFile(folder + "/old.cpp");
        WorkspaceTabBar *bar = f.window->content()->tabBar();
        auto *editor = qobject_cast<FileEditorView *>(f.window->content()->fileEditor());
        QVERIFY(editor);

        tree.rename(folder + "/old.cpp", "new.cpp");
        QTRY_COMPARE(bar->files().at(0).title, QStringLiteral("new.cpp"));
        tree.moveItem(folder + "/new.cpp", folder + "/src");
        QTRY_COMPARE(editor->boundPath(), folder + "/src/new.cpp");
        editor->editor()->setFocus();
        editor->editor()->moveCursor(QTextCursor::End);
        QTest::keyClicks(editor->editor(), "int b;");
        QTest::keyClick(editor->editor(), Qt::Key_S, Qt::ControlModifier);
        // Saved where the file now is; the old names do not come back.
        QCOMPARE(readFile(folder + "/src/new.cpp"), QByteArray("int a;\nint b;"));
        QVERIFY(!QFile::exists(folder + "/old.cpp"));
        QVERIFY(!QFile::exists(folder + "/new.cpp"));
    }

    void withoutAWorkspaceAFileIsPreviewed()
    {
        ToolWindowFixture f;
        QVERIFY(writeFile(f.f.env.root() + "/script.sh", "echo hi\n"));
        f.openWindow(QSize(900, 600));
        f.window->openFile(f.f.env.root() + "/script.sh");
        FilePreviewWindow *preview = f.window->findChild<FilePreviewWindow *>();
        QVERIFY(preview);
        QCOMPARE(preview->size(), QSize(800, 600));
        QCOMPARE(preview->windowTitle(), QStringLiteral("script.sh"));
        QVERIFY(preview->editor()->isReadOnly());
        QCOMPARE(preview->editor()->toPlainText(), QStringLiteral("echo hi\n"));
        QVERIFY(f.window->openFiles().workspaces().isEmpty());
    }
};

QTEST_MAIN(TestFileEditor)
#include "tst_file_editor.moc"
