#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/settings/PreferencesStore.h"
#include "core/window/ContentState.h"
#include "core/window/PinnedTool.h"
#include "core/window/ProfilePage.h"
#include "core/window/ShortcutBindings.h"
#include "core/window/TabBarLayout.h"
#include "core/window/WindowCommands.h"
#include "core/window/WindowStateModel.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace corvane;

Q_DECLARE_METATYPE(corvane::ContentState)
Q_DECLARE_METATYPE(corvane::KeyboardShortcutAction)
using CustomShortcuts = QHash<QString, corvane::KeyCombo>;
Q_DECLARE_METATYPE(CustomShortcuts)

namespace {
constexpr quint64 Cmd = KeyCombo::Command;
constexpr quint64 Shift = KeyCombo::Shift;

QStringList ids(const QList<PinnedTool> &tools)
{
    QStringList out;
    for (const PinnedTool &tool : tools)
        out << tool.id;
    return out;
}
} // namespace

class WindowStateTest : public QObject
{
    Q_OBJECT

private slots:
    void contentText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("readable");
        const QUuid id = QUuid::createUuid();
        QTest::newRow("workspace") << "workspace:" + id.toString(QUuid::WithoutBraces) << true;
        QTest::newRow("project") << "projectInfo:" + id.toString(QUuid::WithoutBraces) << true;
        QTest::newRow("tool") << "tool:pulse" << true;
        QTest::newRow("empty") << "empty" << true;
        QTest::newRow("nothing stored") << "" << false;
        QTest::newRow("chat with a damaged id") << "chat:not-a-uuid" << false;
        QTest::newRow("tool without id") << "tool:" << false;
        QTest::newRow("unknown kind") << "inbox:3" << false;
        QTest::newRow("empty with payload") << "empty:x" << false;
    }

    void contentText()
    {
        QFETCH(QString, text);
        QFETCH(bool, readable);
        const auto content = ContentState::fromText(text);
        QCOMPARE(content.has_value(), readable);
        if (readable)
            QCOMPARE(content->toText(), text);
    }

    void activeProfilePersistence()
    {
        test::TestEnvironment env;
        const QString file = env.path("settings.json");
        const QUuid profile = QUuid::createUuid();
        {
            PreferencesStore preferences(file);
            WindowStateModel state(preferences);
            QCOMPARE(state.activeProfileId(), std::nullopt);
            QVERIFY(state.isInspectorCollapsed());
            state.setActiveProfileId(profile);
            QCOMPARE(preferences.string(windowStateKey::activeProfileId),
                     profile.toString(QUuid::WithoutBraces).toUpper());
        }
        {
            PreferencesStore preferences(file);
            WindowStateModel state(preferences);
            QCOMPARE(state.activeProfileId(), std::optional(profile));
            state.setActiveProfileId(std::nullopt);
            QVERIFY(!preferences.contains(windowStateKey::activeProfileId));
        }
        {
            PreferencesStore preferences(file);
            preferences.setString(windowStateKey::activeProfileId, QStringLiteral("not a uuid"));
            preferences.setStringList(windowStateKey::columnWidths, {"260", "wide", "360"});
            WindowStateModel state(preferences);
            QCOMPARE(state.activeProfileId(), std::nullopt);
            QVERIFY(state.columnWidths().isEmpty());
        }
    }

    void visibleTools_data()
    {
        QTest::addColumn<bool>("enableAll");
        QTest::addColumn<QStringList>("disabled");
        QTest::addColumn<QStringList>("order");
        QTest::addColumn<QStringList>("expected");
        const QStringList all{"ports", "terminal", "skills", "agents", "flows", "pulse", "planner"};
        QTest::newRow("defaults") << true << QStringList() << QStringList() << all;
        QTest::newRow("disabled ignored while all enabled") << true << QStringList{"ports"} << QStringList() << all;
        QTest::newRow("every tool disabled") << false << all << QStringList() << QStringList();
        QTest::newRow("pulse alone first") << true << QStringList() << QStringList{"pulse"}
                                           << QStringList{"pulse", "ports", "terminal", "skills", "agents", "flows", "planner"};
        QTest::newRow("order with unknown and disabled ids")
            << false << QStringList{"terminal"} << QStringList{"planner", "gone", "terminal", "ports"}
            << QStringList{"planner", "ports", "skills", "agents", "flows", "pulse"};
    }

    void visibleTools()
    {
        QFETCH(bool, enableAll);
        QFETCH(QStringList, disabled);
        QFETCH(QStringList, order);
        QFETCH(QStringList, expected);
        QCOMPARE(ids(corvane::visibleTools(enableAll, QSet<QString>(disabled.begin(), disabled.end()), order)), expected);
    }

    void commandEnabled_data()
    {
        QTest::addColumn<KeyboardShortcutAction>("action");
        QTest::addColumn<ContentState>("content");
        QTest::addColumn<bool>("hasProjects");
        QTest::addColumn<bool>("enabled");
        const auto ws = ContentState::workspace(QUuid::createUuid());
        using A = KeyboardShortcutAction;
        QTest::newRow("close workspace in a tool") << A::closeChat << ContentState::tool("pulse") << true << false;
        QTest::newRow("close workspace in a workspace") << A::closeChat << ws << true << true;
        QTest::newRow("new workspace without projects") << A::newChat << ws << false << false;
        QTest::newRow("new workspace with a project") << A::newChat << ContentState::empty() << true << true;
        QTest::newRow("inspector for planner") << A::toggleInspector << ContentState::tool("planner") << true << true;
        QTest::newRow("inspector for pulse") << A::toggleInspector << ContentState::tool("pulse") << true << false;
        QTest::newRow("inspector for a project") << A::toggleInspector << ContentState::projectInfo(QUuid::createUuid())
                                                 << true << false;
        QTest::newRow("stop agent when empty") << A::stopAgent << ContentState::empty() << true << false;
        QTest::newRow("allow without a request") << A::allowOnce << ws << true << false;
    }

    void commandEnabled()
    {
        QFETCH(KeyboardShortcutAction, action);
        QFETCH(ContentState, content);
        QFETCH(bool, hasProjects);
        QFETCH(bool, enabled);
        CommandContext context;
        context.content = content;
        context.hasProjects = hasProjects;
        QCOMPARE(isCommandEnabled(action, context), enabled);
    }

    void toggleTitles()
    {
        CommandContext context;
        context.isSidebarOpen = true;
        context.isTerminalVisible = false;
        QCOMPARE(menuItemTitle(KeyboardShortcutAction::toggleSidebar, context), QStringLiteral("Hide Sidebar"));
        QCOMPARE(menuItemTitle(KeyboardShortcutAction::toggleInspector, context), QStringLiteral("Show Inspector"));
        QCOMPARE(menuItemTitle(KeyboardShortcutAction::toggleTerminal, context), QStringLiteral("Show Terminal"));
        QCOMPARE(menuItemTitle(KeyboardShortcutAction::closeChat, context), QStringLiteral("Close Workspace"));
    }

    void shortcutBindings_data()
    {
        QTest::addColumn<CustomShortcuts>("custom");
        QTest::addColumn<KeyboardShortcutAction>("action");
        QTest::addColumn<QString>("bound"); // empty: unbound
        QTest::addColumn<QString>("note");
        using A = KeyboardShortcutAction;
        const CustomShortcuts none;
        QTest::newRow("new chat in workspace keeps Ctrl+Shift+T") << none << A::newChatInWorkspace << "Ctrl+Shift+T" << "";
        QTest::newRow("terminal toggle moves off the shared key") << none << A::toggleTerminal << "Ctrl+`" << "";
        QTest::newRow("deny leaves Ctrl+D to the terminal") << none << A::deny << "Ctrl+Shift+D" << "";
        QTest::newRow("focus input leaves Ctrl+L") << none << A::focusChatInput << "Ctrl+Shift+L" << "";
        QTest::newRow("close window leaves Ctrl+W") << none << A::closeWindow << "Ctrl+Alt+W" << "";
        QTest::newRow("new window stays") << none << A::newWindow << "Ctrl+N" << "";
        QTest::newRow("user's own key on a terminal key")
            << CustomShortcuts{{"stopAgent", {"c", Cmd}}} << A::stopAgent << ""
            << "Ctrl+C is kept for the terminal";
        QTest::newRow("user's key taken by an earlier action")
            << CustomShortcuts{{"toggleDictation", {"t", Cmd | Shift}}} << A::toggleDictation << ""
            << "Ctrl+Shift+T is already used by \"New Chat in Workspace\"";
        QTest::newRow("upper-case stored key still clashes")
            << CustomShortcuts{{"quickOpen", {"N", Cmd}}} << A::quickOpen << ""
            << "Ctrl+N is already used by \"New Window\"";
        QTest::newRow("Quit keeps its key")
            << CustomShortcuts{{"newIssue", {"q", Cmd}}} << A::newIssue << ""
            << "Ctrl+Q is already used by \"Quit\"";
        QTest::newRow("user's free key is bound")
            << CustomShortcuts{{"quickOpen", {"p", Cmd}}} << A::quickOpen << "Ctrl+P" << "";
    }

    void shortcutBindings()
    {
        QFETCH(CustomShortcuts, custom);
        QFETCH(KeyboardShortcutAction, action);
        QFETCH(QString, bound);
        QFETCH(QString, note);
        const QList<ShortcutBinding> bindings = resolveShortcutBindings(custom);
        QCOMPARE(bindings.size(), keyboardShortcutActionCount);
        const ShortcutBinding &binding = bindings[int(action)];
        QCOMPARE(binding.combo ? binding.combo->displayString() : QString(), bound);
        QCOMPARE(binding.note, note);
        QSet<KeyCombo> seen;
        for (const ShortcutBinding &each : bindings) {
            if (!each.combo)
                continue;
            QVERIFY2(!seen.contains(*each.combo), qPrintable(each.combo->displayString()));
            QVERIFY(!isKeptForTerminal(*each.combo));
            seen.insert(*each.combo);
        }
    }

    void profilePage_data()
    {
        // Projects: "mine" (work), "home" (home), "loose" (none), "stray" (a deleted profile).
        QTest::addColumn<QString>("active");
        QTest::addColumn<bool>("workIsDefault");
        QTest::addColumn<QStringList>("expected");
        const QStringList all{"mine", "home", "loose", "stray"};
        QTest::newRow("no active profile") << "" << true << all;
        QTest::newRow("active profile deleted") << "gone" << true << all;
        QTest::newRow("default profile takes the orphans") << "work" << true << QStringList{"mine", "loose", "stray"};
        QTest::newRow("other profile only its own") << "home" << true << QStringList{"home"};
        QTest::newRow("no default: orphans nowhere but the full list") << "work" << false << QStringList{"mine"};
    }

    void profilePage()
    {
        QFETCH(QString, active);
        QFETCH(bool, workIsDefault);
        QFETCH(QStringList, expected);
        auto work = std::make_shared<Profile>();
        work->isDefault = workIsDefault;
        auto home = std::make_shared<Profile>();
        const auto project = [](const char *name, std::optional<QUuid> profile) {
            auto p = std::make_shared<Project>();
            p->name = QString::fromLatin1(name);
            p->profileId = profile;
            return p;
        };
        const QList<std::shared_ptr<Project>> projects{project("mine", work->id), project("home", home->id),
                                                       project("loose", std::nullopt),
                                                       project("stray", QUuid::createUuid())};
        std::optional<QUuid> activeId;
        if (active == QLatin1String("work"))
            activeId = work->id;
        else if (active == QLatin1String("home"))
            activeId = home->id;
        else if (!active.isEmpty())
            activeId = QUuid::createUuid();
        QStringList names;
        for (const auto &p : projectsOnProfilePage(projects, {work, home}, activeId))
            names << p->name;
        QCOMPARE(names, expected);
    }

    void tabBarLayout_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<int>("pills");
        QTest::addColumn<double>("pillWidth");
        QTest::addColumn<double>("lastX");
        QTest::newRow("ten pills in 500 keep the minimum") << 500.0 << 10 << 120.0 << 8.0 + 9 * 124;
        QTest::newRow("two pills share 800") << 800.0 << 2 << (800.0 - 16 - 28 - 4 - 4) / 2 << 8.0 + (800.0 - 52) / 2 + 4;
        QTest::newRow("narrower than the paddings") << 20.0 << 1 << 120.0 << 8.0;
    }

    void tabBarLayout()
    {
        QFETCH(double, width);
        QFETCH(int, pills);
        QFETCH(double, pillWidth);
        QFETCH(double, lastX);
        const QList<QRectF> rects = tabBar::pillRects(width, 40, pills);
        QCOMPARE(rects.size(), pills);
        QCOMPARE(rects.first().width(), pillWidth);
        QCOMPARE(rects.last().x(), lastX);
        QCOMPARE(rects.first().y(), 6.0);
        QCOMPARE(rects.first().height(), 28.0);
        QVERIFY(tabBar::pillRects(width, 40, 0).isEmpty());
    }
};

QTEST_GUILESS_MAIN(WindowStateTest)
#include "tst_window_state.moc"
