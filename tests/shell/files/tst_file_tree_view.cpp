// The Files tab driven as a user would, offscreen: selecting a file, the row menu, renaming
// with F2 (and Escape), the keys for trash and the clipboard, the conflict question, the new
// folder dialog, and drops (a folder onto its own subfolder is refused).
#include "shell/files/FileDialogs.h"
#include "shell/files/FileTreeView.h"
#include "shell/window/InspectorView.h"
#include "support/FileTreeFixture.h"
#include "support/TestEnvironment.h"
#include "tools/files/FileTreeItemModel.h"
#include "tools/files/FileTreeViewModel.h"

#include <QApplication>
#include <QClipboard>
#include <QDragMoveEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

QStringList actionTexts(const QMenu &menu)
{
    QStringList texts;
    for (QAction *action : menu.actions()) {
        if (!action->isSeparator())
            texts << action->text();
    }
    return texts;
}

bool trigger(QMenu &menu, const QString &text)
{
    for (QAction *action : menu.actions()) {
        if (action->text() == text) {
            action->trigger();
            return true;
        }
    }
    return false;
}

} // namespace

class FileTreeViewTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_environment = std::make_unique<TestEnvironment>();
        m_dir = std::make_unique<QTemporaryDir>();
        makeTree(m_dir->path(), {"a.txt", "b.txt", "app/src/main.c", "app2/"});
        m_tree = std::make_unique<FileTreeViewModel>(m_center);
        m_view = std::make_unique<FileTreeView>();
        m_view->setTreeModel(m_tree.get());
        m_view->resize(400, 500);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
        m_tree->setRoot(m_dir->path());
        QVERIFY(settle(*m_tree));
    }
    void cleanup()
    {
        m_view.reset();
        m_tree.reset();
        m_dir.reset();
        m_environment.reset();
    }

    void selectingAFileOpensIt()
    {
        QSignalSpy open(m_view.get(), &FileTreeView::fileOpenRequested);
        QTest::mouseClick(m_view->viewport(), Qt::LeftButton, {}, rect("app").center());
        QCOMPARE(open.count(), 0);
        QTest::mouseClick(m_view->viewport(), Qt::LeftButton, {}, rect("b.txt").center());
        QCOMPARE(open.count(), 1);
        QCOMPARE(open.first().first().toString(), path("b.txt"));
    }

    void rowMenu()
    {
        std::unique_ptr<QMenu> menu(m_view->makeContextMenu(index("a.txt")));
        QCOMPARE(actionTexts(*menu), (QStringList{"Open in Editor", "Preview", "Open With\u2026", "Copy as Pathname", "Show in Folder",
                                                  "Rename", "Duplicate", "New File", "New Folder\u2026", "Copy", "Cut", "Paste",
                                                  "Move to Trash"}));
        QSignalSpy preview(m_view.get(), &FileTreeView::filePreviewRequested);
        QVERIFY(trigger(*menu, "Preview"));
        QCOMPARE(preview.count(), 1);
        QVERIFY(trigger(*menu, "Copy as Pathname"));
        QCOMPARE(QGuiApplication::clipboard()->text(), path("a.txt"));
        QVERIFY(trigger(*menu, "Duplicate"));
        QVERIFY(settle(*m_tree));
        QVERIFY(index("a 2.txt").isValid());
        // The empty area's menu makes things in the root.
        std::unique_ptr<QMenu> rootMenu(m_view->makeContextMenu({}));
        QCOMPARE(actionTexts(*rootMenu), (QStringList{"New File", "New Folder\u2026", "Paste"}));
        m_view->setFolderNamePrompt([](QWidget *) { return std::optional<QString>(QStringLiteral("docs")); });
        QVERIFY(trigger(*rootMenu, "New Folder\u2026"));
        QVERIFY(settle(*m_tree));
        QVERIFY(QFileInfo(path("docs")).isDir());
    }

    void renameWithF2()
    {
        QSignalSpy open(m_view.get(), &FileTreeView::fileOpenRequested);
        m_view->setCurrentIndex(index("a.txt"));
        open.clear();
        QTest::keyClick(m_view.get(), Qt::Key_F2);
        QCOMPARE(m_tree->renamingPath(), std::optional(path("a.txt")));
        auto *editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
        QVERIFY(editor);
        QCOMPARE(editor->text(), QStringLiteral("a.txt"));
        editor->setText(QStringLiteral("b.txt")); // taken: becomes "b 2.txt"
        QTest::keyClick(editor, Qt::Key_Return);
        QTRY_VERIFY(!m_view->isEditingName()); // the delegate commits from the event loop
        QVERIFY(settle(*m_tree));
        QVERIFY(!m_tree->renamingPath());
        QCOMPARE(diskNames(m_dir->path()), (QStringList{"app", "app2", "b 2.txt", "b.txt"}));
        QCOMPARE(open.count(), 0);

        // Escape leaves the name and rename mode.
        m_view->setCurrentIndex(index("b.txt"));
        QTest::keyClick(m_view.get(), Qt::Key_F2);
        editor = qobject_cast<QLineEdit *>(QApplication::focusWidget());
        QVERIFY(editor);
        editor->setText(QStringLiteral("never.txt"));
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!m_tree->renamingPath());
        QVERIFY(settle(*m_tree));
        QVERIFY(QFileInfo::exists(path("b.txt")));
    }

    void newFileGoesIntoRename()
    {
        std::unique_ptr<QMenu> menu(m_view->makeContextMenu(index("app")));
        QVERIFY(trigger(*menu, "New File"));
        QVERIFY(settle(*m_tree));
        QVERIFY(m_view->isExpanded(index("app")));
        QTRY_VERIFY(m_view->isEditingName());
        QCOMPARE(m_view->currentIndex(), index("app/untitled"));
    }

    void keys()
    {
        m_view->setCurrentIndex(index("a.txt"));
        QTest::keyClick(m_view.get(), Qt::Key_C, Qt::ControlModifier);
        m_view->setCurrentIndex(index("app2"));
        QTest::keyClick(m_view.get(), Qt::Key_V, Qt::ControlModifier);
        QVERIFY(settle(*m_tree));
        QCOMPARE(diskNames(path("app2")), QStringList{"a.txt"});
        m_view->setCurrentIndex(index("b.txt"));
        QTest::keyClick(m_view.get(), Qt::Key_Delete);
        QVERIFY(settle(*m_tree));
        QVERIFY(!QFileInfo::exists(path("b.txt")));
        QVERIFY(QFileInfo::exists(m_environment->path("xdg_data_home/Trash/files/b.txt")));
    }

    void conflictIsAsked()
    {
        makeTree(m_dir->path(), {"app2/a.txt"});
        m_tree->copyItem(path("a.txt"), path("app2"));
        QVERIFY(settle(*m_tree));
        QPointer<QMessageBox> box = m_view->findChild<QMessageBox *>(QStringLiteral("fileConflictBox"));
        QVERIFY(box);
        QCOMPARE(box->text(), QStringLiteral("A file named \"a.txt\" already exists in this location."));
        QCOMPARE(box->informativeText(), QStringLiteral("Do you want to replace the existing file, or keep both files?"));
        QStringList buttons;
        for (QAbstractButton *button : box->buttons())
            buttons << button->text();
        buttons.sort();
        QCOMPARE(buttons, (QStringList{"Cancel", "Keep Both", "Replace"}));
        box->findChild<QPushButton *>(QStringLiteral("keepBoth"))->click();
        QVERIFY(settle(*m_tree));
        QCOMPARE(diskNames(path("app2")), (QStringList{"a 2.txt", "a.txt"}));
        QTRY_VERIFY(!box);
    }

    void newFolderDialog()
    {
        NewFolderDialog dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("New Folder"));
        QVERIFY(dialog.findChild<QLabel *>()->text() == QStringLiteral("Enter a name for the new folder:"));
        QCOMPARE(dialog.field()->placeholderText(), QStringLiteral("Folder name"));
        QCOMPARE(dialog.field()->text(), QStringLiteral("untitled folder"));
        QCOMPARE(dialog.createButton()->text(), QStringLiteral("Create"));
        dialog.field()->setText(QStringLiteral("   "));
        QVERIFY(!dialog.createButton()->isEnabled());
        dialog.field()->setText(QStringLiteral(" src "));
        QVERIFY(dialog.createButton()->isEnabled());
        QCOMPARE(dialog.name(), QStringLiteral("src"));
    }

    void dropOntoOwnSubfolderRefused()
    {
        m_tree->setExpanded(path("app"), true);
        QVERIFY(settle(*m_tree));
        QTRY_VERIFY(index("app/src").isValid());
        QVERIFY(m_view->isExpanded(index("app")));
        std::unique_ptr<QMimeData> dragged(m_view->model()->mimeData({index("app")}));
        QVERIFY(!drag(dragged.get(), rect("app/src").center()));
        QVERIFY(settle(*m_tree));
        QCOMPARE(diskNames(m_dir->path()), (QStringList{"a.txt", "app", "app2", "b.txt"}));
        QCOMPARE(diskNames(path("app")), QStringList{"src"});
        // The same folder onto a sibling whose name begins alike is a move.
        QVERIFY(drag(dragged.get(), rect("app2").center()));
        QVERIFY(settle(*m_tree));
        QCOMPARE(diskNames(path("app2")), QStringList{"app"});
    }

    void inspectorHasAFilesTab()
    {
        InspectorView inspector;
        inspector.setFileTreeModel(m_tree.get());
        QCOMPARE(inspector.tabs()->count(), 2);
        QCOMPARE(inspector.tabs()->tabText(0), QStringLiteral("Changes"));
        QCOMPARE(inspector.tabs()->tabText(1), QStringLiteral("Files"));
        QCOMPARE(inspector.tabs()->widget(1), inspector.fileTree());
        QCOMPARE(inspector.fileTree()->model()->rowCount(), 4);
        QSignalSpy open(&inspector, &InspectorView::fileOpenRequested);
        QSignalSpy preview(&inspector, &InspectorView::filePreviewRequested);
        emit inspector.fileTree()->fileOpenRequested(path("a.txt"));
        emit inspector.fileTree()->filePreviewRequested(path("b.txt"));
        QCOMPARE(open.count(), 1);
        QCOMPARE(preview.first().first().toString(), path("b.txt"));
    }

private:
    QString path(const QString &relative) const { return m_dir->filePath(relative); }
    QModelIndex index(const QString &relative) const { return m_view->itemModel()->indexForPath(path(relative)); }
    QRect rect(const QString &relative) const { return m_view->visualRect(index(relative)); }

    // Enters, moves and drops at `at`; true when the view accepted the move (a drop indicator).
    bool drag(const QMimeData *data, const QPoint &at)
    {
        QDragEnterEvent enter(at, Qt::MoveAction | Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_view->viewport(), &enter);
        QDragMoveEvent move(at, Qt::MoveAction | Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_view->viewport(), &move);
        const bool accepted = move.isAccepted();
        QDropEvent drop(at, Qt::MoveAction | Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(m_view->viewport(), &drop);
        return accepted;
    }

    std::unique_ptr<TestEnvironment> m_environment;
    std::unique_ptr<QTemporaryDir> m_dir;
    NotificationCenter m_center;
    std::unique_ptr<FileTreeViewModel> m_tree;
    std::unique_ptr<FileTreeView> m_view;
};

QTEST_MAIN(FileTreeViewTest)
#include "tst_file_tree_view.moc"
