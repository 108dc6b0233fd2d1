// The chat's Sign In: the sheet runs the login of the chat's agent under its project's profile,
// and closing it has the monitor check that profile again, whatever became of the login.
#include "app/SignInLauncher.h"
#include "core/records/Chat.h"
#include "core/records/Workspace.h"
#include "shell/terminal/SignInSheet.h"
#include "support/ProfileWindowFixture.h"

#include <QApplication>
#include <QPointer>
#include <QTest>

using namespace corvane;
using namespace corvane::test;

class SignInLauncherTest : public QObject
{
    Q_OBJECT

private slots:
    void closingTheSheetChecksTheChatsProfile_data()
    {
        QTest::addColumn<bool>("codex");
        QTest::newRow("claude chat") << false;
        QTest::newRow("codex chat") << true;
    }

    void closingTheSheetChecksTheChatsProfile()
    {
        QFETCH(bool, codex);
        ProfileWindowFixture f;
        const auto work = f.newProfile("Work");
        const auto project = f.newProject("kappa", work);
        Workspace workspace;
        workspace.name = QStringLiteral("Main");
        workspace.projectId = project->id;
        Chat chat;
        chat.name = QStringLiteral("Chat");
        chat.projectId = project->id;
        chat.workspaceId = workspace.id;
        chat.setAgentType(codex ? AgentType::codex : AgentType::claudeCode);
        f.ctx().insert(workspace);
        f.ctx().insert(chat);
        QVERIFY(f.ctx().save());
        // Both tools "found": the stand-in answers for claude, and any executable will do for codex.
        f.settings.setClaudePath(f.stub.path);
        f.settings.setCodexPath(f.stub.path);
        QVERIFY(ClaudeStub::signedIn(work->configDirPath, "w@example.com"));
        QVERIFY(writeFile(*work->codexHomeDir + "/auth.json", R"({"OPENAI_API_KEY":"sk-1"})"));

        QWidget parent;
        openSignInSheet(f.ctx(), f.settings, chat.id, &parent, &f.monitor);
        QPointer<SignInSheet> sheet = parent.findChild<SignInSheet *>();
        QVERIFY(sheet);
        QCOMPARE(sheet->agent(), codex ? SignInAgent::chatGpt : SignInAgent::claude);
        QCOMPARE(f.monitor.state(work->id).kind, AuthState::Kind::unknown);
        sheet->reject();
        if (codex) {
            QTRY_COMPARE(f.monitor.codexState(work->id).kind, AuthState::Kind::signedIn);
            QCOMPARE(f.monitor.state(work->id).kind, AuthState::Kind::unknown);
        } else {
            QTRY_COMPARE(f.monitor.state(work->id).kind, AuthState::Kind::signedIn);
            QCOMPARE(f.monitor.codexState(work->id).kind, AuthState::Kind::unknown);
        }
        QVERIFY(f.settled());
    }
};

QTEST_MAIN(SignInLauncherTest)
#include "tst_sign_in_launcher.moc"
