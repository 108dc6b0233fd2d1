#pragma once

// A chat view over a fresh store, with the real claude talking to the scripted model stand-in:
// the pieces the application puts together, nothing replaced.
#include "agent/claude/ClaudeSDKService.h"
#include "agent/session/ChatController.h"
#include "agent/session/SessionManager.h"
#include "core/NotificationCenter.h"
#include "core/records/Chat.h"
#include "core/records/Message.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "shell/chat/ChatView.h"
#include "shell/chat/TimelineView.h"
#include "support/FakeModel.h"
#include "support/StoreFixture.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QJsonDocument>

namespace corvane::test {

inline QString chatScenario(const QString &name)
{
    return qEnvironmentVariable("CORVANE_SOURCE_DIR") + QStringLiteral("/tests/shell/chat/scenarios/") + name;
}

class ChatViewHarness
{
public:
    explicit ChatViewHarness(const QString &scenario)
        : m_store(Store::open(m_env.path("Corvane.store")).value())
        , m_folder(m_env.path("repo"))
        , m_model(scenario, {QStringLiteral("WORKDIR=") + m_env.path("repo")})
        , m_prefs(m_env.path("preferences.json"))
        , m_settings(m_prefs, m_center, [] { return SystemUserNames{QStringLiteral("Test User"), QStringLiteral("test")}; })
        , m_sessions(*m_store, m_center)
    {
        QDir().mkpath(m_folder);
        const InsertedPlace place = insertPlace(m_store->mainContext(), m_folder, {});
        m_projectId = place.projectId;
        m_workspaceId = place.workspaceId;
        m_chatId = addChat("Test chat");
    }

    QUuid addChat(const QString &name, int storedMessages = 0)
    {
        StoreContext &ctx = m_store->mainContext();
        Chat chat;
        chat.name = name;
        chat.projectId = m_projectId;
        chat.workspaceId = m_workspaceId;
        ctx.insert(chat);
        for (int i = 0; i < storedMessages; ++i) {
            Message m;
            m.chatId = chat.id;
            m.role = i % 2 ? MessageRole::assistant : MessageRole::user;
            m.content = i % 2 ? QStringLiteral("Reply %1 with **bold** text and `code`.").arg(i) : QStringLiteral("Question %1").arg(i);
            m.timestamp = QDateTime::currentDateTime().addSecs(i - storedMessages);
            ctx.insert(m);
        }
        (void)ctx.save();
        return chat.id;
    }

    bool ok() const { return m_model.isRunning(); }
    QString error() const { return m_model.error(); }
    QUuid chatId() const { return m_chatId; }
    QString folder() const { return m_folder; }
    FakeModel &model() { return m_model; }
    Store &store() { return *m_store; }
    SessionManager &sessions() { return m_sessions; }
    ChatController &controller() { return m_controller; }
    AppSettings &settings() { return m_settings; }

    std::unique_ptr<ChatView> makeView()
    {
        auto view = std::make_unique<ChatView>(m_sessions, m_controller, *m_store, m_settings);
        view->resize(900, 760);
        return view;
    }

    QList<std::shared_ptr<Message>> stored(const QUuid &chatId = {})
    {
        return m_store->newContext()->fetchOrEmpty<Message>(
            Query(where::eq("chatId", chatId.isNull() ? m_chatId : chatId)).orderBy("timestamp"));
    }

    bool modelReceived(const QString &text)
    {
        for (const QVariantMap &request : m_model.requests())
            if (QString::fromUtf8(QJsonDocument::fromVariant(request).toJson()).contains(text))
                return true;
        return false;
    }

private:
    std::unique_ptr<AgentAdapter> makeAdapter()
    {
        auto adapter = std::make_unique<ClaudeSDKService>(locateTool(AgentTool::claude, FakeModel::claudePath()));
        adapter->setExtraEnvironment(m_model.claudeEnvironment());
        return adapter;
    }

    TestEnvironment m_env;
    std::shared_ptr<Store> m_store;
    QString m_folder;
    FakeModel m_model;
    NotificationCenter m_center;
    PreferencesStore m_prefs;
    AppSettings m_settings;
    SessionManager m_sessions;
    ChatController m_controller{[this](AgentType) { return makeAdapter(); }};
    QUuid m_projectId;
    QUuid m_workspaceId;
    QUuid m_chatId;
};

// What the rows on screen read, top to bottom.
inline QString timelineText(ChatView &view)
{
    view.timelineModel().flush();
    QStringList parts;
    for (TimelineRow *row : view.timeline()->visibleRows())
        parts << row->visibleText();
    return parts.join(QLatin1Char('\n'));
}

} // namespace corvane::test
