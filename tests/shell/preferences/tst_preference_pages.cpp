// The Preferences pages that write settings, driven like a user would against a real settings
// file: what they write, what they post, and what the main window does about it.
#include "support/PreferencesFixture.h"
#include "support/ToolWindowFixture.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/runtime/ToolLocator.h"
#include "core/Broadcasts.h"
#include "core/window/PinnedTool.h"
#include "shell/Appearance.h"
#include "shell/preferences/AppearancePage.h"
#include "shell/preferences/GeneralPage.h"
#include "shell/preferences/ModelsPage.h"
#include "shell/preferences/ToolsPage.h"
#include "shell/preferences/UpdatesPage.h"
#include "shell/window/SidebarView.h"
#include "shell/window/WindowActions.h"

#include <QAction>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

QString writeFile(const TestEnvironment &env, const QString &name, bool executable)
{
    const QString path = env.path(name);
    QFile file(path);
    (void)file.open(QIODevice::WriteOnly);
    file.write("#!/bin/sh\nexit 0\n");
    file.close();
    if (executable)
        file.setPermissions(file.permissions() | QFileDevice::ExeOwner);
    return path;
}

void enterPath(QLineEdit *field, const QString &path)
{
    field->setFocus();
    field->clear();
    QTest::keyClicks(field, path);
    QTest::keyClick(field, Qt::Key_Return);
}

QStringList sidebarTools(const MainWindow &window)
{
    QStringList ids;
    for (QToolButton *button : window.sidebar()->findChildren<QToolButton *>())
        if (button->objectName().startsWith(QLatin1String("tool:")))
            ids << button->objectName().mid(5);
    return ids;
}

QStringList ids(const QList<PinnedTool> &tools)
{
    QStringList out;
    for (const PinnedTool &tool : tools)
        out << tool.id;
    return out;
}

} // namespace

class TestPreferencePages : public QObject
{
    Q_OBJECT

private slots:
    void tabsInOrderOpeningOnGeneral()
    {
        PreferencesFixture f;
        PreferencesWindow window(f.services());
        QStringList titles;
        for (int i = 0; i < window.tabList()->count(); ++i)
            titles << window.tabList()->item(i)->text();
        QCOMPARE(titles, (QStringList{"General", "Appearance", "Models", "Source Control", "Tools", "Shortcuts",
                                      "Archived Chats", "Archived Workspaces", "Updates"}));
        QCOMPARE(window.currentTab(), std::optional(PreferencesTab::general));
        window.resize(780, 600);
        window.show();
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(window.grab().save(CORVANE_SCREENSHOT_DIR "/preferences-general.png"));
        window.showTab(PreferencesTab::updates);
        QCOMPARE(window.currentTab(), std::optional(PreferencesTab::updates));

        // Without a store there is nothing archived to list.
        PreferencesWindow bare(PreferencesServices{f.settings});
        QVERIFY(!bare.page(PreferencesTab::archivedChats));
        QVERIFY(!bare.page(PreferencesTab::archivedWorkspaces));
        QVERIFY(bare.page(PreferencesTab::updates));
    }

    void namesAndChoicesWrittenThrough()
    {
        PreferencesFixture f;
        PreferencesWindow window(f.services());
        window.show();
        auto *page = qobject_cast<GeneralPage *>(window.page(PreferencesTab::general));
        QVERIFY(page);
        QCOMPARE(page->firstNameField()->text(), QStringLiteral("Ada"));
        QCOMPARE(page->lastNameField()->text(), QStringLiteral("Lovelace"));

        page->firstNameField()->selectAll();
        QTest::keyClicks(page->firstNameField(), "Grace");
        page->lastNameField()->selectAll();
        QTest::keyClicks(page->lastNameField(), "Brewster Hopper");
        QCOMPARE(f.reread()->displayName(), QStringLiteral("Grace Brewster Hopper"));

        const auto hiddenPosts = f.countPosts(broadcast::showHiddenFilesChanged);
        QVERIFY(page->hiddenFilesBox()->isChecked());
        page->hiddenFilesBox()->click();
        QCOMPARE(*hiddenPosts, 1);
        QVERIFY(!f.reread()->showHiddenFilesInInspector());

        QComboBox *mode = page->permissionModeBox();
        mode->setCurrentIndex(mode->findText(QStringLiteral("Auto Accept Edits")));
        emit mode->activated(mode->currentIndex());
        QCOMPARE(f.reread()->permissionMode(), PermissionMode::acceptEdits);

        QSignalSpy checklist(&window, &PreferencesWindow::setupChecklistRequested);
        page->checklistButton()->click();
        QCOMPARE(checklist.size(), 1);
    }

    void badProgramPathKeepsTheSetting_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("expected");
        QTest::newRow("missing") << "missing" << "does not exist.";
        QTest::newRow("folder") << "folder" << "is not a file.";
        QTest::newRow("not executable") << "plain" << "is not executable.";
    }

    void badProgramPathKeepsTheSetting()
    {
        QFETCH(QString, kind);
        QFETCH(QString, expected);
        PreferencesFixture f;
        const QString good = writeFile(f.env, QStringLiteral("claude-good"), true);
        f.settings.setClaudePath(good);
        GeneralPage page(f.settings);
        page.show();
        const QString bad = kind == QLatin1String("missing") ? f.env.path("nowhere/claude")
                          : kind == QLatin1String("folder")  ? f.env.root()
                                                             : writeFile(f.env, QStringLiteral("claude-plain"), false);
        enterPath(page.pathField(AgentTool::claude), bad);
        QLabel *message = page.pathMessage(AgentTool::claude);
        QVERIFY2(message->text().contains(expected), qPrintable(message->text()));
        QVERIFY(message->text().startsWith(QLatin1Char('"') + bad + QLatin1Char('"')));
        QCOMPARE(page.pathField(AgentTool::claude)->text(), bad); // the typing is not thrown away
        QCOMPARE(f.reread()->claudePath(), good);
    }

    void programPathsChosenOrCleared()
    {
        PreferencesFixture f;
        GeneralPage page(f.settings);
        page.show();
        const QString codex = writeFile(f.env, QStringLiteral("codex"), true);
        page.setFilePicker([&](QWidget *, const QString &) { return codex; });
        page.browseButton(AgentTool::codex)->click();
        QCOMPARE(page.pathField(AgentTool::codex)->text(), codex);
        QCOMPARE(f.reread()->codexPath(), codex);
        QVERIFY(page.pathMessage(AgentTool::codex)->text().isEmpty());

        page.setFilePicker([](QWidget *, const QString &) { return QString(); }); // cancelled
        page.browseButton(AgentTool::codex)->click();
        QCOMPARE(f.reread()->codexPath(), codex);

        enterPath(page.pathField(AgentTool::codex), QString());
        QCOMPARE(f.reread()->codexPath(), QString());
        // Blank looks in the usual places and says what it found there.
        const ToolLocation usual = locateTool(AgentTool::codex);
        QCOMPARE(page.pathMessage(AgentTool::codex)->text(),
                 usual.found() ? QStringLiteral("Found at %1.").arg(*usual.path) : QStringLiteral("Not found in the usual places."));
    }

    void appearanceChangesPostAndApply()
    {
        PreferencesFixture f;
        // As the application does: the look follows the broadcast.
        f.center.addObserver(broadcast::appearanceModeChanged,
                             [&](const Notification &) { applyAppearance(f.settings.appearanceMode()); }, nullptr, this);
        const auto modePosts = f.countPosts(broadcast::appearanceModeChanged);
        const auto sizePosts = f.countPosts(broadcast::textSizeScaleChanged);
        const auto terminalPosts = f.countPosts(broadcast::terminalAppearanceModeChanged);
        AppearancePage page(f.settings);
        page.show();
        QVERIFY(page.findChild<QRadioButton *>(QStringLiteral("appearance:system"))->isChecked());

        page.findChild<QRadioButton *>(QStringLiteral("appearance:dark"))->click();
        QCOMPARE(*modePosts, 1);
        QCOMPARE(f.reread()->appearanceMode(), AppearanceMode::dark);
        QVERIFY(QApplication::palette().color(QPalette::Window).lightness() < 80);
        page.findChild<QRadioButton *>(QStringLiteral("appearance:light"))->click();
        QVERIFY(QApplication::palette().color(QPalette::Window).lightness() > 180);

        QCOMPARE(page.textSizeLabel()->text(), QStringLiteral("100%"));
        page.textSizeSlider()->setValue(123); // between two steps: the nearer one is taken
        QCOMPARE(page.textSizeSlider()->value(), 125);
        QCOMPARE(page.textSizeLabel()->text(), QStringLiteral("125%"));
        QCOMPARE(f.reread()->textSizeScale(), 1.25);
        QCOMPARE(*sizePosts, 1);
        page.textSizeSlider()->setValue(10); // below the range
        QCOMPARE(f.reread()->textSizeScale(), 0.85);

        QComboBox *terminal = page.terminalModeBox();
        terminal->setCurrentIndex(terminal->findText(QStringLiteral("Dark")));
        emit terminal->activated(terminal->currentIndex());
        QCOMPARE(*terminalPosts, 1);
        QCOMPARE(f.reread()->terminalAppearanceMode(), TerminalAppearanceMode::dark);
        applyAppearance(AppearanceMode::system);
    }

    void hiddenModelLeavesThePicker()
    {
        PreferencesFixture f;
        const auto posts = f.countPosts(broadcast::modelVisibilityChanged);
        ModelsPage page(f.settings);
        page.show();
        const QString sonnet = QStringLiteral("claude:claude-sonnet-4-6");
        QCheckBox *visible = page.visibilitySwitch(sonnet);
        QVERIFY(visible && visible->isChecked());
        visible->click();
        QCOMPARE(*posts, 1);
        const QSet<QString> hidden = f.reread()->hiddenModelIdsSet();
        QCOMPARE(hidden, QSet<QString>{sonnet});
        for (const AgentModelDescriptor &model : AgentModelCatalogue::pickerOrder(hidden))
            QVERIFY(model.id != sonnet);
        QCOMPARE(AgentModelCatalogue::pickerOrder(hidden).size(), AgentModelCatalogue::all().size() - 1);
        visible->click();
        QVERIFY(f.reread()->hiddenModelIdsSet().isEmpty());
    }

    void lastVisibleModelOfAnAgentStays_data()
    {
        QTest::addColumn<int>("agent");
        QTest::addColumn<QString>("agentName");
        QTest::newRow("claude") << int(AgentType::claudeCode) << "Claude";
        QTest::newRow("codex") << int(AgentType::codex) << "Codex";
    }

    void lastVisibleModelOfAnAgentStays()
    {
        QFETCH(int, agent);
        QFETCH(QString, agentName);
        PreferencesFixture f;
        ModelsPage page(f.settings);
        page.show();
        const QList<AgentModelDescriptor> models = AgentModelCatalogue::forAgentType(AgentType(agent));
        for (int i = 0; i + 1 < models.size(); ++i)
            page.visibilitySwitch(models[i].id)->click();
        QVERIFY(!page.refusal()->isVisible());
        QCOMPARE(f.settings.hiddenModelIdsSet().size(), models.size() - 1);

        QCheckBox *last = page.visibilitySwitch(models.last().id);
        last->click();
        QVERIFY(last->isChecked());
        QVERIFY(page.refusal()->isVisible());
        QVERIFY2(page.refusal()->text().contains(QStringLiteral("last visible %1 model").arg(agentName)),
                 qPrintable(page.refusal()->text()));
        QVERIFY(!f.reread()->hiddenModelIdsSet().contains(models.last().id));
        // The other agent is not affected by this one's last model.
        const AgentType other = AgentType(agent) == AgentType::codex ? AgentType::claudeCode : AgentType::codex;
        page.visibilitySwitch(AgentModelCatalogue::forAgentType(other).first().id)->click();
        QVERIFY(!page.refusal()->isVisible());
    }

    void toolsSwitchedAndReorderedInTheSidebar()
    {
        ToolWindowFixture f;
        f.openWindow(QSize(1100, 700));
        QCOMPARE(sidebarTools(*f.window), ids(allPinnedTools()));
        ToolsPage page(f.settings);
        page.show();
        QListWidget *list = page.toolList();
        QCOMPARE(page.shownOrder(), ids(allPinnedTools()));
        // Greyed while every tool is on: the switches do not move.
        QVERIFY(!(list->item(5)->flags() & Qt::ItemIsUserCheckable));

        page.enableAllBox()->click();
        QVERIFY(list->item(5)->flags() & Qt::ItemIsUserCheckable);
        QCOMPARE(list->item(5)->data(Qt::UserRole).toString(), QStringLiteral("pulse"));
        list->item(5)->setCheckState(Qt::Unchecked);
        QCOMPARE(ids(visibleTools(f.settings)), (QStringList{"ports", "terminal", "skills", "agents", "flows", "planner"}));
        QTRY_COMPARE(sidebarTools(*f.window), ids(visibleTools(f.settings)));

        list->setCurrentRow(6); // Planner to the top
        QVERIFY(!page.moveDownButton()->isEnabled());
        for (int i = 0; i < 6; ++i)
            page.moveUpButton()->click();
        QVERIFY(!page.moveUpButton()->isEnabled());
        QCOMPARE(f.settings.toolOrder().first(), QStringLiteral("planner"));
        QTRY_COMPARE(sidebarTools(*f.window), (QStringList{"planner", "ports", "terminal", "skills", "agents", "flows"}));

        // A drop moves the row in the list's model; the order is written once it has settled.
        QVERIFY(list->model()->moveRow(QModelIndex(), 1, QModelIndex(), 4)); // Ports after Skills
        QTRY_COMPARE(f.settings.toolOrder(), (QStringList{"planner", "terminal", "skills", "ports", "agents", "flows", "pulse"}));
        QTRY_COMPARE(sidebarTools(*f.window), (QStringList{"planner", "terminal", "skills", "ports", "agents", "flows"}));

        // All on again: Pulse comes back where the order puts it, the switch kept for later.
        page.enableAllBox()->click();
        QTRY_COMPARE(sidebarTools(*f.window), (QStringList{"planner", "terminal", "skills", "ports", "agents", "flows", "pulse"}));
        QCOMPARE(f.settings.disabledTools(), QSet<QString>{"pulse"});
    }

    void helpItemsOpenTheirPages_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("url");
        QTest::newRow("website") << "Corvane Website" << "https://corvane.dev/";
        QTest::newRow("roadmap") << "Roadmap" << "https://corvane.dev/roadmap";
        QTest::newRow("blog") << "Blog" << "https://corvane.dev/blog";
        QTest::newRow("feature") << "Request a Feature…" << "https://corvane.dev/feedback/feature";
        QTest::newRow("issue") << "Report an Issue…" << "https://corvane.dev/feedback/issue";
        QTest::newRow("message") << "Send Us a Message…" << "https://corvane.dev/contact";
        QTest::newRow("donate") << "Support Corvane…" << "https://corvane.dev/donate";
    }

    void helpItemsOpenTheirPages()
    {
        QFETCH(QString, title);
        QFETCH(QString, url);
        ToolWindowFixture f;
        f.openWindow(QSize(900, 600));
        QList<QUrl> opened;
        f.window->actions().setUrlOpener([&](const QUrl &u) { opened << u; });
        QAction *item = nullptr;
        for (QAction *action : f.window->findChildren<QAction *>())
            if (action->text() == title && action->objectName().startsWith(QLatin1String("help:")))
                item = action;
        QVERIFY(item);
        item->trigger();
        QCOMPARE(opened, QList<QUrl>{QUrl(url)});
        QVERIFY(f.window->findChild<QAction *>(QStringLiteral("action:about")));
    }

    void checkForUpdatesOpensTheUpdatesTab()
    {
        QCoreApplication::setApplicationVersion(QStringLiteral("1.4.2"));
        ToolWindowFixture f;
        f.openWindow(QSize(900, 600));
        QAction *item = f.window->findChild<QAction *>(QStringLiteral("action:checkForUpdates"));
        QVERIFY(item);
        QCOMPARE(item->text(), QStringLiteral("Check for Updates…"));
        item->trigger();
        QPointer<PreferencesWindow> window;
        for (QWidget *top : QApplication::topLevelWidgets())
            if (auto *candidate = qobject_cast<PreferencesWindow *>(top); candidate && candidate->isVisible())
                window = candidate;
        QVERIFY(window);
        QCOMPARE(window->currentTab(), std::optional(PreferencesTab::updates));
        auto *page = qobject_cast<UpdatesPage *>(window->page(PreferencesTab::updates));
        QCOMPARE(page->versionLabel()->text(), QStringLiteral("Corvane 1.4.2"));
        QVERIFY(page->findChild<QLabel *>(QStringLiteral("updateExplanation"))->text().contains(QStringLiteral("package manager")));

        // The checklist asked for on General reaches the window's owner.
        QSignalSpy checklist(f.window.get(), &MainWindow::setupChecklistRequested);
        qobject_cast<GeneralPage *>(window->page(PreferencesTab::general))->checklistButton()->click();
        QCOMPARE(checklist.size(), 1);
        window->close();
        QTRY_VERIFY(!window);
    }
};

QTEST_MAIN(TestPreferencePages)
#include "tst_preference_pages.moc"
