// The Shortcuts page recording keys like a user would, against a real settings file, and the main
// window's menus following it.
#include "support/PreferencesFixture.h"
#include "support/ToolWindowFixture.h"

#include "shell/preferences/ShortcutRecorder.h"
#include "shell/preferences/ShortcutsPage.h"
#include "shell/window/WindowActions.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

using A = KeyboardShortcutAction;

namespace {

void press(ShortcutRecorder *recorder, Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    recorder->click();
    QTest::keyClick(recorder, key, modifiers);
}

} // namespace

class TestShortcutsPage : public QObject
{
    Q_OBJECT

private slots:
    void rowsShowTheKeysOfThisDesktop()
    {
        PreferencesFixture f;
        ShortcutsPage page(f.settings);
        page.resize(760, 640);
        page.show();
        QCOMPARE(page.recorder(A::newChatInWorkspace)->text(), QStringLiteral("Ctrl+Shift+T"));
        QCOMPARE(page.recorder(A::toggleInspector)->text(), QStringLiteral("Ctrl+Alt+I"));
        QCOMPARE(page.recorder(A::toggleFullScreen)->text(), QStringLiteral("F11"));
        for (A action : allKeyboardShortcutActions()) {
            QVERIFY(!page.recorder(action)->text().contains(QStringLiteral("⌘")));
            QVERIFY(!page.resetButton(action)->isEnabled()); // nothing to reset yet
        }
        QVERIFY(!page.resetAllButton()->isEnabled());
        // Headings in menu order, each action's display name beside its key.
        QStringList labels;
        for (QLabel *label : page.findChildren<QLabel *>())
            if (!label->objectName().startsWith(QLatin1String("message:")))
                labels << label->text();
        QCOMPARE(labels.mid(0, 3), (QStringList{"File", "New Window", "New Workspace"}));
        QVERIFY(labels.contains(QStringLiteral("Edit")) && labels.contains(QStringLiteral("View")));
        QVERIFY(labels.indexOf(QStringLiteral("Edit")) < labels.indexOf(QStringLiteral("Allow Once")));
        QVERIFY(labels.indexOf(QStringLiteral("View")) < labels.indexOf(QStringLiteral("Toggle Sidebar")));
    }

    void conflictIsShownAndTheOldKeyStays()
    {
        PreferencesFixture f;
        ShortcutsPage page(f.settings);
        page.show();
        ShortcutRecorder *dictation = page.recorder(A::toggleDictation);
        const QString before = dictation->text();
        dictation->click();
        QCOMPARE(dictation->text(), QStringLiteral("Press shortcut…"));
        QTest::keyClick(dictation, Qt::Key_T, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(dictation->text(), before);
        QVERIFY(page.message(A::toggleDictation)->isVisible());
        QCOMPARE(page.message(A::toggleDictation)->text(),
                 QStringLiteral("⚠ Ctrl+Shift+T is already used by \"New Chat in Workspace\""));
        QVERIFY(f.reread()->customShortcuts().isEmpty());
        page.resize(820, 680);
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(page.grab().save(CORVANE_SCREENSHOT_DIR "/preferences-shortcuts.png"));

        // The action's own key again is no conflict; the warning goes.
        press(dictation, Qt::Key_J, Qt::ControlModifier);
        QVERIFY(!page.message(A::toggleDictation)->isVisible());
        QCOMPARE(f.reread()->customShortcuts().value(QStringLiteral("toggleDictation")),
                 (KeyCombo{QStringLiteral("j"), KeyCombo::Command}));
        QVERIFY(page.resetButton(A::toggleDictation)->isEnabled());
    }

    void escapeCancelsRecording()
    {
        PreferencesFixture f;
        ShortcutsPage page(f.settings);
        page.show();
        ShortcutRecorder *quickOpen = page.recorder(A::quickOpen);
        const QString before = quickOpen->text();
        quickOpen->click();
        QVERIFY(quickOpen->isRecording());
        QTest::keyClick(quickOpen, Qt::Key_Shift, Qt::ShiftModifier); // a modifier alone waits
        QVERIFY(quickOpen->isRecording());
        QTest::keyClick(quickOpen, Qt::Key_Escape);
        QVERIFY(!quickOpen->isRecording());
        QCOMPARE(quickOpen->text(), before);
        QVERIFY(f.reread()->customShortcuts().isEmpty());

        press(quickOpen, Qt::Key_P, Qt::NoModifier);
        QCOMPARE(page.message(A::quickOpen)->text(),
                 QStringLiteral("⚠ A shortcut needs Ctrl, Alt or Meta, unless it is a function key."));
        QCOMPARE(quickOpen->text(), before);
    }

    void menusFollowRecordingAndResets()
    {
        ToolWindowFixture f;
        f.openWindow(QSize(1000, 700));
        QAction *newWindow = f.window->actions().action(A::newWindow);
        QAction *sidebar = f.window->actions().action(A::toggleSidebar);
        QCOMPARE(newWindow->shortcut(), QKeySequence(QStringLiteral("Ctrl+N")));
        ShortcutsPage page(f.settings);
        page.show();

        press(page.recorder(A::newWindow), Qt::Key_N, Qt::ControlModifier | Qt::AltModifier);
        QCOMPARE(page.recorder(A::newWindow)->text(), QStringLiteral("Ctrl+Alt+N"));
        QCOMPARE(newWindow->shortcut(), QKeySequence(QStringLiteral("Ctrl+Alt+N")));
        press(page.recorder(A::toggleSidebar), Qt::Key_F2, Qt::NoModifier);
        QCOMPARE(sidebar->shortcut(), QKeySequence(QStringLiteral("F2")));
        QVERIFY(page.resetAllButton()->isEnabled());

        page.resetButton(A::newWindow)->click();
        QCOMPARE(newWindow->shortcut(), QKeySequence(QStringLiteral("Ctrl+N")));
        QCOMPARE(page.recorder(A::newWindow)->text(), QStringLiteral("Ctrl+N"));
        QCOMPARE(sidebar->shortcut(), QKeySequence(QStringLiteral("F2")));

        page.resetAllButton()->click();
        QCOMPARE(sidebar->shortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+S")));
        QVERIFY(f.settings.customShortcuts().isEmpty());
        QVERIFY(!page.resetAllButton()->isEnabled());
    }

    void keysThisDesktopCannotBindAreRefused_data()
    {
        QTest::addColumn<int>("action");
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("message");
        const int ctrl = int(Qt::ControlModifier);
        QTest::newRow("terminal's kill line") << int(A::newIssue) << int(Qt::Key_U) << ctrl
                                              << "Ctrl+U is kept for the terminal";
        // Deny's stored key is Ctrl+D: the settings' own rule speaks first.
        QTest::newRow("a stored default") << int(A::newIssue) << int(Qt::Key_D) << ctrl
                                          << "Ctrl+D is already used by \"Deny\"";
        QTest::newRow("Quit") << int(A::newIssue) << int(Qt::Key_Q) << ctrl << "Ctrl+Q is already used by \"Quit\"";
        QTest::newRow("Preferences") << int(A::stopAgent) << int(Qt::Key_Comma) << ctrl
                                     << "Ctrl+, is already used by \"Preferences…\"";
        QTest::newRow("another action's key here") << int(A::newWindow) << int(Qt::Key_S) << int(Qt::ControlModifier | Qt::ShiftModifier)
                                                    << "Ctrl+Shift+S is already used by \"Toggle Sidebar\"";
    }

    void keysThisDesktopCannotBindAreRefused()
    {
        QFETCH(int, action);
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, message);
        PreferencesFixture f;
        ShortcutsPage page(f.settings);
        page.show();
        press(page.recorder(A(action)), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(page.message(A(action))->text(), QStringLiteral("⚠ ") + message);
        QVERIFY(f.reread()->customShortcuts().isEmpty());
    }
};

QTEST_MAIN(TestShortcutsPage)
#include "tst_shortcuts_page.moc"
