// The quick search palette in a real main window over a real store: typed into with keys, the
// debounce, the selection, and what opening a row shows, down to the chat view scrolled to the
// message (the chat view is the real one, its agent the scripted model stand-in).
#include "shell/chat/ChatViewHarness.h"

#include "core/window/WindowNavigator.h"
#include "core/window/WindowStateModel.h"
#include "shell/search/QuickSearchPalette.h"
#include "shell/window/ContentArea.h"
#include "shell/window/MainWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollBar>
#include <QTest>
#include <QToolButton>

using namespace corvane;

class QuickSearchPaletteTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<test::ChatViewHarness> m_harness;
    std::unique_ptr<PreferencesStore> m_preferences;
    NotificationCenter m_center;
    std::unique_ptr<AppSettings> m_settings;
    std::unique_ptr<WorkspaceLifecycleService> m_lifecycle;
    std::unique_ptr<MainWindow> m_window;
    QUuid m_longChat;
    QUuid m_heron;

    QuickSearchPalette *openPalette()
    {
        m_window->runCommand(KeyboardShortcutAction::quickOpen); // Ctrl+K
        QuickSearchPalette *palette = m_window->quickSearch();
        return palette && palette->isVisible() ? palette : nullptr;
    }

    QString rowText(QuickSearchPalette *palette, int row)
    {
        auto *label = qobject_cast<QLabel *>(palette->list()->itemWidget(palette->list()->item(row)));
        return label ? label->text() : QString();
    }

private slots:
    void init()
    {
        m_harness = std::make_unique<test::ChatViewHarness>(test::chatScenario("markdown_reply.json"));
        if (!m_harness->ok())
            QSKIP(qPrintable("the model stand-in did not start: " + m_harness->error()));
        Store &store = m_harness->store();
        m_longChat = m_harness->addChat("Long talk", 120);
        StoreContext &context = store.mainContext();
        Message heron;
        heron.chatId = m_longChat;
        heron.content = "Where does the Blue Heron nest?";
        heron.timestamp = QDateTime::currentDateTime().addSecs(-90); // among the chat's older rows
        m_heron = context.insert(heron)->id;
        Message newer;
        newer.chatId = m_harness->chatId();
        newer.role = MessageRole::assistant;
        newer.content = "A blue heron was seen today.";
        context.insert(newer);
        QVERIFY(context.save());

        m_preferences = std::make_unique<PreferencesStore>(QDir::temp().filePath("unused-" + QUuid::createUuid().toString(QUuid::WithoutBraces) + ".json"));
        m_settings = std::make_unique<AppSettings>(*m_preferences, m_center, [] { return SystemUserNames{"Ada", "ada"}; });
        m_lifecycle = std::make_unique<WorkspaceLifecycleService>(context, m_center);
        m_window = std::make_unique<MainWindow>(WindowServices{context, *m_preferences, *m_settings, m_center, *m_lifecycle}, 1);
        test::ChatViewHarness *h = m_harness.get();
        m_window->setChatViewFactory([h](const QUuid &chatId) -> QWidget * {
            auto *view = new ChatView(h->sessions(), h->controller(), h->store(), h->settings());
            view->setChat(chatId);
            return view;
        });
        m_window->resize(1200, 800);
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    void cleanup()
    {
        m_window.reset();
        m_lifecycle.reset();
        m_settings.reset();
        m_preferences.reset();
        m_harness.reset();
    }

    void typingFindsAndReturnRevealsTheMessage()
    {
        QuickSearchPalette *palette = openPalette();
        QVERIFY(palette);
        QCOMPARE(palette->list()->count(), 1); // the empty field: the one workspace
        QVERIFY(rowText(palette, 0).contains("No Project") || rowText(palette, 0).contains("repo"));

        QTest::keyClicks(palette->field(), "blue HERON");
        QVERIFY(palette->model().isSearchPending());
        QTRY_COMPARE(palette->list()->count(), 2);
        QVERIFY(!palette->model().isSearchPending());
        QVERIFY2(rowText(palette, 0).contains("A <b>blue heron</b> was seen today."), qPrintable(rowText(palette, 0)));
        QVERIFY(rowText(palette, 1).contains("Long talk"));
        QVERIFY(rowText(palette, 1).contains("the <b>Blue Heron</b> nest?"));
        QCOMPARE(palette->list()->currentRow(), 0);
        QDir().mkpath(CORVANE_SCREENSHOT_DIR);
        QVERIFY(m_window->grab().save(CORVANE_SCREENSHOT_DIR "/quick-search.png"));

        QTest::keyClick(palette->field(), Qt::Key_Down);
        QTest::keyClick(palette->field(), Qt::Key_Down); // no further: there is no third row
        QCOMPARE(palette->model().selectedIndex(), 1);
        QCOMPARE(palette->list()->currentRow(), 1);
        QTest::keyClick(palette->field(), Qt::Key_Return);

        QVERIFY(!palette->isVisible());
        QCOMPARE(m_window->currentChatId(), std::optional(m_longChat));
        QCOMPARE(m_window->state().content().kind, ContentState::Kind::workspace);
        auto *view = qobject_cast<ChatView *>(m_window->content()->chatView());
        QVERIFY(view);
        QCOMPARE(view->chatId(), m_longChat);
        // A moment later the chat view shows the message, marked, and no longer follows the end.
        QTRY_VERIFY(view->timeline()->findChild<QFrame *>("revealMark"));
        const int row = view->timelineModel().rowOfMessage(m_heron);
        QVERIFY(row >= 0 && row < view->timelineModel().rowCount() - 20);
        TimelineRow *shown = view->timeline()->rowWidget(row);
        QVERIFY(shown);
        QVERIFY(shown->isVisible());
        QVERIFY(view->timeline()->viewport()->rect().intersects(shown->geometry()));
        QVERIFY(shown->visibleText().contains("Blue Heron"));
        QVERIFY(!view->timeline()->follow().isUserFollowing());
    }

    void escapeClosesAndAWorkspaceRowOpensItsWorkspace()
    {
        QuickSearchPalette *palette = openPalette();
        QVERIFY(palette);
        QTest::keyClick(palette->field(), Qt::Key_Escape);
        QVERIFY(!palette->isVisible());

        palette = openPalette();
        QVERIFY(palette);
        QVERIFY(palette->field()->text().isEmpty());
        palette->filterButton(SearchFilterMode::workspaces)->click();
        QCOMPARE(palette->model().filterMode(), SearchFilterMode::workspaces);
        QTest::keyClicks(palette->field(), "rep");
        QVERIFY(!palette->model().isSearchPending()); // workspaces alone: at once
        QCOMPARE(palette->list()->count(), 1);
        QVERIFY(rowText(palette, 0).contains("2 chats"));
        const QRect rect = palette->list()->visualItemRect(palette->list()->item(0));
        QTest::mouseClick(palette->list()->viewport(), Qt::LeftButton, {}, rect.center());
        QVERIFY(!palette->isVisible());
        QCOMPARE(m_window->state().content().kind, ContentState::Kind::workspace);
        QVERIFY(m_window->currentChatId().has_value());
    }
};

QTEST_MAIN(QuickSearchPaletteTest)
#include "tst_quick_search_palette.moc"
