// The sidebar's strip of profiles in a live main window: the dots and their sign-in marks, a
// drag that reorders, a project dropped on a dot, the dot's menu, the notes under the strip, and
// the gate that stops a first chat on a profile nobody signed in to.
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "core/window/WindowStateModel.h"
#include "shell/preferences/PreferencesWindow.h"
#include "shell/preferences/ProfilesPage.h"
#include "shell/profiles/ProfileActions.h"
#include "shell/profiles/ProfileDotsView.h"
#include "shell/terminal/SignInSheet.h"
#include "shell/window/NewWorkspaceDialog.h"
#include "shell/window/SidebarView.h"
#include "source_control/workspaces/SidebarViewModel.h"
#include "support/ProfileWindowFixture.h"

#include <QApplication>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolTip>
#include <QTreeWidget>

using namespace corvane;
using namespace corvane::test;

namespace {

QColor pixel(QWidget *widget, const QPoint &at)
{
    return widget->grab().toImage().pixelColor(at * widget->devicePixelRatioF());
}

bool near(const QColor &a, const QColor &b)
{
    return std::abs(a.red() - b.red()) < 24 && std::abs(a.green() - b.green()) < 24 && std::abs(a.blue() - b.blue()) < 24;
}

// What a drag across the strip delivers: enter, a move over each dot in turn, then the drop.
void dragAcross(ProfileDotsView *dots, const QString &text, const QList<int> &over, bool drop = true)
{
    QMimeData data;
    data.setText(text);
    const QPoint start = dots->dotRect(over.first()).center();
    QDragEnterEvent enter(start, Qt::MoveAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(dots, &enter);
    for (int index : over) {
        QDragMoveEvent move(dots->dotRect(index).center(), Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(dots, &move);
    }
    if (!drop)
        return;
    QDropEvent dropped(QPointF(dots->dotRect(over.last()).center()), Qt::MoveAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(dots, &dropped);
}

QAction *menuItem(QMenu *menu, const QString &text)
{
    for (QAction *action : menu->actions()) {
        if (action->text() == text)
            return action;
        if (action->menu())
            if (QAction *inner = menuItem(action->menu(), text))
                return inner;
    }
    return nullptr;
}

template <typename T>
T *shownTop(const QString &objectName = {})
{
    T *found = nullptr;
    (void)QTest::qWaitFor([&] {
        for (QWidget *top : QApplication::topLevelWidgets())
            if (auto *candidate = qobject_cast<T *>(top); candidate && candidate->isVisible()
                && (objectName.isEmpty() || candidate->objectName() == objectName))
                found = candidate;
        return found != nullptr;
    }, 5000);
    return found;
}

// Preferences is one window for the whole application; it goes before the services it was given.
struct ClosesPreferences
{
    ~ClosesPreferences()
    {
        for (QWidget *top : QApplication::topLevelWidgets())
            if (qobject_cast<PreferencesWindow *>(top))
                delete top;
    }
};

} // namespace

namespace QTest {
template <>
char *toString(const AuthState &state)
{
    return qstrdup(qPrintable(describe(state)));
}
} // namespace QTest

class ProfileStripTest : public QObject
{
    Q_OBJECT

private slots:
    void dotsShowProfilesAndTheirSignIns()
    {
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work", ProfileColor::green);
        const auto home = f.newProfile("Home", ProfileColor::pink);
        QVERIFY(ClaudeStub::signedIn(work->configDirPath, "w@example.com"));
        f.openWindow();
        ProfileDotsView *dots = f.window->sidebar()->profileDots();
        QVERIFY(dots->isVisible());
        QCOMPARE(dots->order(), (QList<QUuid>{f.defaultProfile()->id, work->id, home->id}));
        // The strip asks about every profile once it shows, without being asked.
        QVERIFY(f.checked(work) && f.checked(home));
        QCOMPARE(f.monitor.state(work->id).kind, AuthState::Kind::signedIn);
        QCOMPARE(f.monitor.state(home->id).kind, AuthState::Kind::signedOut);

        QVERIFY(near(pixel(dots, dots->dotRect(work->id).center()), QColor(profileColorHex(ProfileColor::green))));
        QVERIFY(near(pixel(dots, dots->dotRect(home->id).center()), QColor(profileColorHex(ProfileColor::pink))));
        // Claude's mark sits under the dot, left of centre: green when signed in, hollow when not.
        const auto claudeMark = [&](const QUuid &id) {
            const QRect dot = dots->dotRect(id);
            return QPoint(dot.center().x() - ProfileDotsView::dotSize / 6 - 1, dot.bottom() + 6);
        };
        QVERIFY(near(pixel(dots, claudeMark(work->id)), QColor(0x30, 0xD1, 0x58)));
        QVERIFY(!near(pixel(dots, claudeMark(home->id)), QColor(0x30, 0xD1, 0x58)));

        QHelpEvent help(QEvent::ToolTip, dots->dotRect(home->id).center(), dots->mapToGlobal(dots->dotRect(home->id).center()));
        QApplication::sendEvent(dots, &help);
        QTRY_COMPARE(QToolTip::text(), QStringLiteral("Home"));

        // A click opens the profile's page.
        QTest::mouseClick(dots, Qt::LeftButton, {}, dots->dotRect(home->id).center());
        QCOMPARE(f.window->state().activeProfileId(), std::optional(home->id));

        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QTest::qWait(50); // the notes settle into the layout
        QVERIFY(f.window->sidebar()->grab().save(CORVANE_SCREENSHOT_DIR "/profiles-sidebar.png"));
    }

    void dragReordersLiveAndSavesOnce()
    {
        ProfileWindowFixture f;
        const auto a = f.newProfile("A");
        const auto b = f.newProfile("B");
        const QUuid d = f.defaultProfile()->id;
        f.openWindow();
        ProfileDotsView *dots = f.window->sidebar()->profileDots();
        f.profilePosts = 0;

        const QString text = "profile:" + b->id.toString(QUuid::WithoutBraces).toUpper();
        dragAcross(dots, text, {2, 1}, false);
        QCOMPARE(dots->order(), (QList<QUuid>{d, b->id, a->id}));
        QMimeData data;
        data.setText(text);
        QDragMoveEvent further(dots->dotRect(0).center(), Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(dots, &further);
        QCOMPARE(dots->order(), (QList<QUuid>{b->id, d, a->id}));
        QCOMPARE(f.profilePosts, 0); // nothing saved while the pointer moves
        QCOMPARE(f.store->newContext()->get<Profile>(b->id)->sortOrder, 2);

        QDropEvent dropped(QPointF(dots->dotRect(0).center()), Qt::MoveAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(dots, &dropped);
        QCOMPARE(f.profilePosts, 1);
        auto reread = f.store->newContext();
        QCOMPARE(reread->get<Profile>(b->id)->sortOrder, 0);
        QCOMPARE(reread->get<Profile>(d)->sortOrder, 1);
        QCOMPARE(reread->get<Profile>(a->id)->sortOrder, 2);
        QTRY_COMPARE(dots->order(), (QList<QUuid>{b->id, d, a->id}));

        // A profile dropped where it started saves nothing.
        dragAcross(dots, text, {0});
        QCOMPARE(f.profilePosts, 1);
    }

    void projectDroppedOnADotMovesThere()
    {
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work");
        const auto project = f.newProject("alpha", f.defaultProfile());
        Chat chat; // a session under the old account, which the move must end
        chat.name = "Talk";
        chat.projectId = project->id;
        chat.claudeSessionId = "5f0c2a0e-0000-4000-8000-000000000001";
        const QUuid chatId = f.ctx().insert(chat)->id;
        QVERIFY(f.ctx().save());
        f.openWindow();
        SidebarView *sidebar = f.window->sidebar();
        ProfileDotsView *dots = sidebar->profileDots();
        QTest::mouseClick(dots, Qt::LeftButton, {}, dots->dotRect(0).center()); // the default profile's page
        QTRY_VERIFY(sidebar->item(project->id));

        // The project's row carries its id when dragged; a workspace row carries nothing.
        QTreeWidget *tree = sidebar->tree();
        std::unique_ptr<QMimeData> carried(tree->model()->mimeData({tree->model()->index(0, 0)}));
        QVERIFY(carried);
        QCOMPARE(QUuid::fromString(carried->text()), project->id);

        // Text that is no id is refused and changes nothing.
        dragAcross(dots, QStringLiteral("not a project"), {1});
        QCOMPARE(f.store->newContext()->get<Project>(project->id)->profileId, std::optional(f.defaultProfile()->id));

        dragAcross(dots, carried->text(), {1});
        QCOMPARE(f.store->newContext()->get<Project>(project->id)->profileId, std::optional(work->id));
        // As with Move to Profile: the chat starts a new session, the old one kept to go back to.
        const auto moved = f.store->newContext()->get<Chat>(chatId);
        QVERIFY(moved->pendingProfileMigration);
        QVERIFY(!moved->claudeSessionId);
        QCOMPARE(moved->previousClaudeSessionId, std::optional<QString>("5f0c2a0e-0000-4000-8000-000000000001"));
        QTRY_VERIFY(!sidebar->item(project->id)); // off the default profile's page
        QTest::mouseClick(dots, Qt::LeftButton, {}, dots->dotRect(work->id).center());
        QTRY_VERIFY(sidebar->item(project->id));
    }

    void dotMenu()
    {
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work");
        f.newProject("beta", work);
        f.openWindow();
        ProfileDotsView *dots = f.window->sidebar()->profileDots();
        QVERIFY(f.checked(work));
        QWidget owner;
        QMenu *menu = dots->menuFor(work->id, &owner);
        QVERIFY(menu);
        QStringList texts;
        for (QAction *action : menu->actions())
            if (!action->isSeparator())
                texts << action->text();
        QCOMPARE(texts, (QStringList{"Rename Profile\u2026", "Set as Default", "Color", "Sign in to Claude\u2026",
                                     "Sign in with ChatGPT\u2026", "Use ChatGPT API Key\u2026", "Delete Profile\u2026"}));
        QVERIFY(!menuItem(dots->menuFor(f.defaultProfile()->id, &owner), "Delete Profile\u2026")->isEnabled());

        menuItem(menu, "Teal")->trigger();
        QCOMPARE(work->colorHex, std::optional(profileColorHex(ProfileColor::teal)));

        menuItem(menu, "Rename Profile\u2026")->trigger();
        QPointer<QInputDialog> rename = qobject_cast<QInputDialog *>(f.window->profileActions()->lastSheet());
        QVERIFY(rename);
        rename->setTextValue(QStringLiteral("  Client A "));
        rename->accept();
        QCOMPARE(f.store->newContext()->get<Profile>(work->id)->name, QStringLiteral("Client A"));

        // Closing a sign-in sheet, however the login went, asks claude again about that profile.
        const int before = ClaudeStub::calls(work->configDirPath);
        menuItem(dots->menuFor(work->id, &owner), "Sign in to Claude\u2026")->trigger();
        QPointer<SignInSheet> sheet = qobject_cast<SignInSheet *>(f.window->profileActions()->lastSheet());
        QVERIFY(sheet);
        QCOMPARE(sheet->windowTitle(), QStringLiteral("Sign in to Claude"));
        sheet->reject();
        QTRY_COMPARE(ClaudeStub::calls(work->configDirPath), before + 1);
        QVERIFY(f.settled());

        menuItem(dots->menuFor(work->id, &owner), "Set as Default")->trigger();
        QVERIFY(f.store->newContext()->get<Profile>(work->id)->isDefault);
        QCOMPARE(f.defaultProfile()->id, work->id);
    }

    void deleteFromTheSidebar_data()
    {
        QTest::addColumn<QString>("button");
        QTest::addColumn<bool>("filesGo");
        QTest::newRow("keep the files") << "Delete Profile" << false;
        QTest::newRow("and the files") << "Delete Profile and Files" << true;
        QTest::newRow("cancel") << "Cancel" << false;
    }

    void deleteFromTheSidebar()
    {
        QFETCH(QString, button);
        QFETCH(bool, filesGo);
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work");
        const auto project = f.newProject("gamma", work);
        f.newProject("delta", work);
        f.openWindow();
        QWidget owner;
        menuItem(f.window->sidebar()->profileDots()->menuFor(work->id, &owner), "Delete Profile\u2026")->trigger();
        QPointer<QMessageBox> prompt = qobject_cast<QMessageBox *>(f.window->profileActions()->lastSheet());
        QVERIFY(prompt);
        QCOMPARE(prompt->windowTitle(), QStringLiteral("Delete \"Work\""));
        QCOMPARE(prompt->text(), "2 projects will be moved to the default profile. Choose \"Delete Profile and Files\" to "
                                 "also remove the on-disk Claude Code config directory at " + work->configDirPath + ".");
        QAbstractButton *chosen = nullptr;
        for (QAbstractButton *each : prompt->buttons())
            if (each->text() == button)
                chosen = each;
        QVERIFY(chosen);
        chosen->click();
        const bool deleted = button != "Cancel";
        QCOMPARE(!f.store->newContext()->get<Profile>(work->id), deleted);
        QCOMPARE(f.store->newContext()->get<Project>(project->id)->profileId,
                 std::optional(deleted ? f.defaultProfile()->id : work->id));
        if (filesGo)
            QTRY_VERIFY(!QFileInfo::exists(work->configDirPath));
        else
            QVERIFY(QFileInfo::exists(work->configDirPath));
    }

    void notesUnderTheStrip()
    {
        ProfileWindowFixture f;
        f.openWindow();
        QLabel *notes = f.window->sidebar()->profileNotes();
        QVERIFY(f.checked(f.defaultProfile()));
        QTRY_COMPARE(notes->text(), QStringLiteral("Sign in to run chats on this profile.\n"
                                                   "Add a project folder to start chatting with this profile."));
        QVERIFY(notes->isVisible());

        QVERIFY(ClaudeStub::signedIn(QDir::homePath() + "/.claude", "me@example.com"));
        f.monitor.probeClaude(f.defaultProfile());
        QVERIFY(f.settled());
        QCOMPARE(notes->text(), QStringLiteral("Add a project folder to start chatting with this profile."));
        f.newProject("epsilon", f.defaultProfile());
        f.window->sidebarModel().loadProjects();
        QTRY_VERIFY(!notes->isVisible());
    }

    // A project whose profile never signed in stops at the gate, and "Open Settings" lands on the
    // profile in Preferences; once signed in the way is open.
    void gateBeforeTheFirstWorkspace()
    {
        ProfileWindowFixture f;
        ClosesPreferences closes;
        const auto work = f.newProfile("Work");
        const auto project = f.newProject("zeta", work);
        f.openWindow();
        QVERIFY(f.checked(work));
        emit f.window->sidebar()->newWorkspaceRequested(project->id);
        QPointer<QMessageBox> gate = f.window->findChild<QMessageBox *>(QStringLiteral("signInGate"));
        QVERIFY(gate);
        QVERIFY(!f.window->findChild<NewWorkspaceDialog *>());
        QCOMPARE(gate->windowTitle(), QStringLiteral("Sign in to get started"));
        QCOMPARE(gate->text(), QStringLiteral("The \"Work\" profile isn't signed into Claude or ChatGPT yet. "
                                              "Sign in before creating a new chat."));
        QAbstractButton *settings = nullptr;
        for (QAbstractButton *each : gate->buttons())
            if (each->text() == QStringLiteral("Open Settings"))
                settings = each;
        QVERIFY(settings);
        settings->click();
        auto *preferences = shownTop<PreferencesWindow>();
        QVERIFY(preferences);
        QCOMPARE(preferences->currentTab(), std::optional(PreferencesTab::profiles));
        auto *page = qobject_cast<ProfilesPage *>(preferences->page(PreferencesTab::profiles));
        QVERIFY(page);
        QCOMPARE(page->selectedProfile()->id, work->id);
        QTRY_VERIFY(!gate);

        // Signed in now (the monitor says so before any date is stored): the dialog opens.
        QVERIFY(ClaudeStub::signedIn(work->configDirPath));
        f.monitor.probeClaude(work);
        QVERIFY(f.settled());
        QCOMPARE(f.monitor.state(work->id), AuthState::of(AuthState::Kind::signedIn));
        emit f.window->sidebar()->newWorkspaceRequested(project->id);
        QVERIFY(!f.window->findChild<QMessageBox *>(QStringLiteral("signInGate")));
        QPointer<NewWorkspaceDialog> dialog = f.window->findChild<NewWorkspaceDialog *>();
        QVERIFY(dialog);
        dialog->reject();
    }

    void gateBeforeANewChat()
    {
        ProfileWindowFixture f;
        f.openWindow();
        const QString folder = f.env.path("iota");
        QDir().mkpath(folder);
        QCOMPARE(QProcess::execute("git", {"init", "-q", "-b", "main", folder}), 0);
        QCOMPARE(QProcess::execute("git", {"-C", folder, "-c", "user.name=T", "-c", "user.email=t@example.com", "commit",
                                           "-q", "--allow-empty", "-m", "first"}), 0);
        QVERIFY(f.window->addProjectFolder(folder)); // adding a project is never stopped
        QVERIFY(f.checked(f.defaultProfile()));
        const QUuid workspaceId = f.window->state().content().id;
        const int chats = int(f.ctx().fetchOrEmpty<Chat>(Query(where::eq("workspaceId", workspaceId))).size());
        f.window->runCommand(KeyboardShortcutAction::newChatInWorkspace);
        QPointer<QMessageBox> gate = f.window->findChild<QMessageBox *>(QStringLiteral("signInGate"));
        QVERIFY(gate);
        QCOMPARE(int(f.ctx().fetchOrEmpty<Chat>(Query(where::eq("workspaceId", workspaceId))).size()), chats);
        gate->reject();

        // A sign-in recorded earlier is enough, whatever the monitor says now.
        f.defaultProfile()->codexLastLoginAt = QDateTime::currentDateTime();
        QVERIFY(f.ctx().save());
        f.window->runCommand(KeyboardShortcutAction::newChatInWorkspace);
        QCOMPARE(int(f.ctx().fetchOrEmpty<Chat>(Query(where::eq("workspaceId", workspaceId))).size()), chats + 1);
    }

    void noGateWithoutProfileServices()
    {
        ProfileWindowFixture f;
        const auto project = f.newProject("eta", f.defaultProfile());
        f.openWindow(false);
        QVERIFY(!f.window->profileActions());
        emit f.window->sidebar()->newWorkspaceRequested(project->id);
        QVERIFY(!f.window->findChild<QMessageBox *>(QStringLiteral("signInGate")));
        QPointer<NewWorkspaceDialog> dialog = f.window->findChild<NewWorkspaceDialog *>();
        QVERIFY(dialog);
        dialog->reject();
    }
};

QTEST_MAIN(ProfileStripTest)
#include "tst_profile_strip.moc"
