// The words of the profile screens: the deletion prompts, the sign-in gate, the page notes and
// the models a profile may pick.
#include "accounts/ProfileTexts.h"
#include "core/records/Profile.h"

#include <QtTest>

using namespace corvane;
using namespace corvane::profileText;
using Kind = AuthState::Kind;

class ProfileTextsTest : public QObject
{
    Q_OBJECT

private slots:
    void sidebarDeletionCountsProjects_data()
    {
        QTest::addColumn<int>("projects");
        QTest::addColumn<QString>("opening");
        QTest::newRow("none") << 0 << "No projects are linked to this profile.";
        QTest::newRow("one") << 1 << "1 project will be moved to the default profile.";
        QTest::newRow("several") << 12 << "12 projects will be moved to the default profile.";
    }

    void sidebarDeletionCountsProjects()
    {
        QFETCH(int, projects);
        QFETCH(QString, opening);
        QCOMPARE(deleteTextInSidebar(projects, "/p/X"),
                 opening + " Choose \"Delete Profile and Files\" to also remove the on-disk Claude Code config directory at /p/X.");
    }

    void titlesWithAndWithoutName()
    {
        QCOMPARE(deleteTitle("Work"), QStringLiteral("Delete \"Work\""));
        QCOMPARE(deleteTitle(QString()), QStringLiteral("Delete Profile"));
        QCOMPARE(gateText("Work"), QStringLiteral("The \"Work\" profile isn't signed into Claude or ChatGPT yet. "
                                                  "Sign in before creating a new chat."));
        QCOMPARE(gateText("  "), QStringLiteral("Sign in to Claude or ChatGPT on this profile before creating a new chat."));
        QVERIFY(deleteTextInPreferences("Work", "/p/X").startsWith("Projects assigned to \"Work\" will be moved"));
    }

    void gateLetsThroughAnySignIn_data()
    {
        QTest::addColumn<bool>("claudeDate");
        QTest::addColumn<bool>("codexDate");
        QTest::addColumn<int>("claude");
        QTest::addColumn<int>("codex");
        QTest::addColumn<bool>("passes");
        QTest::newRow("never signed in") << false << false << int(Kind::signedOut) << int(Kind::unknown) << false;
        QTest::newRow("still checking") << false << false << int(Kind::probing) << int(Kind::probing) << false;
        QTest::newRow("claude once") << true << false << int(Kind::signedOut) << int(Kind::signedOut) << true;
        QTest::newRow("codex once") << false << true << int(Kind::unknown) << int(Kind::unknown) << true;
        QTest::newRow("claude now, nothing recorded") << false << false << int(Kind::signedIn) << int(Kind::unknown) << true;
        QTest::newRow("codex now, nothing recorded") << false << false << int(Kind::error) << int(Kind::signedIn) << true;
    }

    void gateLetsThroughAnySignIn()
    {
        QFETCH(bool, claudeDate);
        QFETCH(bool, codexDate);
        QFETCH(int, claude);
        QFETCH(int, codex);
        QFETCH(bool, passes);
        Profile profile;
        if (claudeDate)
            profile.lastLoginAt = QDateTime::currentDateTime();
        if (codexDate)
            profile.codexLastLoginAt = QDateTime::currentDateTime();
        QCOMPARE(passesGate(profile, AuthState::of(Kind(claude)), AuthState::of(Kind(codex))), passes);
    }

    void pageNotes_data()
    {
        QTest::addColumn<int>("claude");
        QTest::addColumn<int>("projects");
        QTest::addColumn<QStringList>("notes");
        const QString signIn = "Sign in to run chats on this profile.";
        const QString add = "Add a project folder to start chatting with this profile.";
        QTest::newRow("signed out, empty") << int(Kind::signedOut) << 0 << QStringList{signIn, add};
        QTest::newRow("signed out, projects") << int(Kind::signedOut) << 2 << QStringList{signIn};
        QTest::newRow("unknown, empty") << int(Kind::unknown) << 0 << QStringList{add};
        QTest::newRow("error, projects") << int(Kind::error) << 1 << QStringList{};
    }

    void pageNotes()
    {
        QFETCH(int, claude);
        QFETCH(int, projects);
        QFETCH(QStringList, notes);
        QCOMPARE(profileText::pageNotes(AuthState::of(Kind(claude)), projects), notes);
    }

    void modelsOfSignedInAgentsOnly()
    {
        const auto both = modelChoices({}, true, true);
        const auto claudeOnly = modelChoices({}, true, false);
        const auto codexOnly = modelChoices({}, false, true);
        QVERIFY(!claudeOnly.isEmpty());
        QVERIFY(!codexOnly.isEmpty());
        QCOMPARE(both.size(), claudeOnly.size() + codexOnly.size());
        for (const auto &model : claudeOnly)
            QCOMPARE(model.agentType, AgentType::claudeCode);
        for (const auto &model : codexOnly)
            QCOMPARE(model.agentType, AgentType::codex);
        QVERIFY(modelChoices({}, false, false).isEmpty());
        const auto hidden = modelChoices({claudeOnly.first().id}, true, false);
        QCOMPARE(hidden.size(), claudeOnly.size() - 1);
        QVERIFY(!hidden.contains(claudeOnly.first()));
    }
};

QTEST_GUILESS_MAIN(ProfileTextsTest)
#include "tst_profile_texts.moc"
