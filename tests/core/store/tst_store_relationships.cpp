#include "core/records/AgentDefinition.h"
#include "core/records/AutomationFlow.h"
#include "core/records/AutomationIteration.h"
#include "core/records/AutomationRun.h"
#include "core/records/Chat.h"
#include "core/records/ChatActivityDay.h"
#include "core/records/ChecklistItem.h"
#include "core/records/GateResult.h"
#include "core/records/Issue.h"
#include "core/records/IssueLabel.h"
#include "core/records/Message.h"
#include "core/records/Milestone.h"
#include "core/records/Profile.h"
#include "core/records/Project.h"
#include "core/records/ProjectAction.h"
#include "core/records/QualityGate.h"
#include "core/records/Skill.h"
#include "core/records/SkillVersion.h"
#include "core/records/Workspace.h"
#include "core/store/Store.h"
#include "core/store/StoreContext.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace corvane;

namespace {

// One of every record, all linked the way the application links them.
struct World
{
    Profile profile;
    Project project;
    Workspace workspace;
    Chat chat;
    Message message;
    ChatActivityDay day;
    ProjectAction action;
    Skill skill;
    SkillVersion skillVersion;
    Milestone milestone;
    Issue issue;
    IssueLabel label;
    ChecklistItem checklistItem;
    AgentDefinition agent;
    AutomationFlow flow;
    QualityGate gate;
    AutomationRun run;
    AutomationIteration iteration;
    GateResult gateResult;

    World()
    {
        project.profileId = profile.id;
        workspace.projectId = project.id;
        chat.projectId = project.id;
        chat.workspaceId = workspace.id;
        message.chatId = chat.id;
        day.chatId = chat.id;
        day.day = startOfLocalDay(QDateTime::currentDateTime());
        action.projectId = project.id;
        skill.projectId = project.id;
        skillVersion.skillId = skill.id;
        milestone.projectId = project.id;
        issue.projectId = project.id;
        issue.milestoneId = milestone.id;
        issue.workspaceId = workspace.id;
        label.projectId = project.id;
        label.issueId = issue.id;
        checklistItem.issueId = issue.id;
        agent.projectId = project.id;
        agent.filePath = "/a.md";
        flow.projectId = project.id;
        flow.filePath = "/f.md";
        gate.projectId = project.id;
        run.workspaceId = workspace.id;
        run.issueId = issue.id;
        iteration.runId = run.id;
        gateResult.runId = run.id;
    }

    void insertInto(StoreContext &ctx) const
    {
        // Children before parents on purpose: keys are checked when the save commits.
        ctx.insert(gateResult); ctx.insert(iteration); ctx.insert(run); ctx.insert(gate);
        ctx.insert(flow); ctx.insert(agent); ctx.insert(checklistItem); ctx.insert(label);
        ctx.insert(issue); ctx.insert(milestone); ctx.insert(skillVersion); ctx.insert(skill);
        ctx.insert(action); ctx.insert(day); ctx.insert(message); ctx.insert(chat);
        ctx.insert(workspace); ctx.insert(project); ctx.insert(profile);
    }
};

// Every record type, in the order the checks below list them.
template <typename... R>
struct Entities
{
    static QStringList names() { return {QString::fromLatin1(store::RecordTraits<R>::entity)...}; }

    // The names of the types that have at least one record.
    static QStringList present(StoreContext &ctx)
    {
        QStringList out;
        ((ctx.count<R>().valueOr(-1) > 0 ? void(out << QString::fromLatin1(store::RecordTraits<R>::entity)) : void()), ...);
        return out;
    }

    static void remove(StoreContext &ctx, const QString &entity, const QUuid &id)
    {
        ((entity == QLatin1String(store::RecordTraits<R>::entity) ? ctx.remove(ctx.get<R>(id)) : void()), ...);
    }
};
using All = Entities<Profile, Project, Workspace, Chat, Message, ChatActivityDay, ProjectAction, Skill, SkillVersion,
                     Milestone, Issue, IssueLabel, ChecklistItem, AgentDefinition, AutomationFlow, QualityGate,
                     AutomationRun, AutomationIteration, GateResult>;

QStringList allBut(const QStringList &gone)
{
    QStringList out;
    for (const QString &name : All::names())
        if (!gone.contains(name))
            out << name;
    return out;
}

} // namespace

class StoreRelationshipsTest : public QObject
{
    Q_OBJECT

private slots:
    void deleteRules_data()
    {
        QTest::addColumn<QString>("deleted");
        QTest::addColumn<QStringList>("remaining");
        QTest::addColumn<QStringList>("nulledLinks");

        QTest::newRow("profile: projects lose their profile")
            << "Profile" << allBut({"Profile"}) << QStringList{"Project.profileId"};
        QTest::newRow("project: everything it owns goes, definitions and gates stay")
            << "Project"
            << QStringList{"Profile", "AgentDefinition", "AutomationFlow", "QualityGate"}
            << QStringList{"AgentDefinition.projectId", "AutomationFlow.projectId", "QualityGate.projectId"};
        QTest::newRow("workspace: chats and runs go, the issue loses its link")
            << "Workspace"
            << allBut({"Workspace", "Chat", "Message", "ChatActivityDay", "AutomationRun", "AutomationIteration", "GateResult"})
            << QStringList{"Issue.workspaceId"};
        QTest::newRow("chat: messages and activity days go")
            << "Chat" << allBut({"Chat", "Message", "ChatActivityDay"}) << QStringList();
        QTest::newRow("milestone: cards stay without it")
            << "Milestone" << allBut({"Milestone"}) << QStringList{"Issue.milestoneId"};
        QTest::newRow("issue: labels and checklist go, the run keeps its id")
            << "Issue" << allBut({"Issue", "IssueLabel", "ChecklistItem"}) << QStringList();
        QTest::newRow("skill: versions go")
            << "Skill" << allBut({"Skill", "SkillVersion"}) << QStringList();
        QTest::newRow("run: iterations and gate results go")
            << "AutomationRun" << allBut({"AutomationRun", "AutomationIteration", "GateResult"}) << QStringList();
    }

    void deleteRules()
    {
        QFETCH(QString, deleted);
        QFETCH(QStringList, remaining);
        QFETCH(QStringList, nulledLinks);
        test::TestEnvironment env;
        auto opened = Store::open(env.path("Corvane.store"));
        QVERIFY(opened.ok());
        StoreContext &ctx = (*opened)->mainContext();
        const World world;
        world.insertInto(ctx);
        QVERIFY2(ctx.save().ok(), "inserting children before parents in one save");
        QCOMPARE(All::present(ctx), All::names());

        const QHash<QString, QUuid> ids{{"Profile", world.profile.id}, {"Project", world.project.id},
                                        {"Workspace", world.workspace.id}, {"Chat", world.chat.id},
                                        {"Milestone", world.milestone.id}, {"Issue", world.issue.id},
                                        {"Skill", world.skill.id}, {"AutomationRun", world.run.id}};
        All::remove(ctx, deleted, ids.value(deleted));
        QVERIFY(ctx.save().ok());

        // Read everything back through a fresh context so nothing comes from memory.
        auto fresh = (*opened)->newContext();
        QCOMPARE(All::present(*fresh), remaining);
        for (const QString &link : nulledLinks) {
            if (link == "Project.profileId") QVERIFY(!fresh->get<Project>(world.project.id)->profileId);
            if (link == "Issue.workspaceId") QVERIFY(!fresh->get<Issue>(world.issue.id)->workspaceId);
            if (link == "Issue.milestoneId") QVERIFY(!fresh->get<Issue>(world.issue.id)->milestoneId);
            if (link == "AgentDefinition.projectId") QVERIFY(!fresh->get<AgentDefinition>(world.agent.id)->projectId);
            if (link == "AutomationFlow.projectId") QVERIFY(!fresh->get<AutomationFlow>(world.flow.id)->projectId);
            if (link == "QualityGate.projectId") QVERIFY(!fresh->get<QualityGate>(world.gate.id)->projectId);
        }
        if (deleted == "Issue")
            QCOMPARE(fresh->get<AutomationRun>(world.run.id)->issueId, std::optional<QUuid>(world.issue.id));
    }

    void workingDirectories_data()
    {
        QTest::addColumn<bool>("usesWorktree");
        QTest::addColumn<QString>("worktreePath");
        QTest::addColumn<QString>("expected");
        QTest::newRow("no worktree") << false << "/elsewhere" << "/repo";
        QTest::newRow("worktree flag without a path") << true << QString() << "/repo";
        QTest::newRow("relative worktree path") << true << "wt/one" << "/repo/wt/one";
        QTest::newRow("absolute worktree path") << true << "/data/wt" << "/data/wt";
    }

    void workingDirectories()
    {
        QFETCH(bool, usesWorktree);
        QFETCH(QString, worktreePath);
        QFETCH(QString, expected);
        Project project;
        project.path = "/repo";
        Workspace workspace;
        workspace.usesWorktree = usesWorktree;
        if (!worktreePath.isNull())
            workspace.worktreePath = worktreePath;
        QCOMPARE(workspace.workingDirectory(&project), std::optional<QString>(expected));
        Chat chat;
        QCOMPARE(chat.workingDirectory(&workspace, &project), std::optional<QString>(expected));
        QCOMPARE(chat.workingDirectory(nullptr, &project), std::optional<QString>("/repo"));
        QVERIFY(!workspace.workingDirectory(nullptr));
    }

    void activityIsRecordedOncePerDay()
    {
        test::TestEnvironment env;
        auto opened = Store::open(env.path("Corvane.store"));
        QVERIFY(opened.ok());
        StoreContext &ctx = (*opened)->mainContext();
        auto chat = ctx.insert(Chat{});
        QVERIFY(ctx.save().ok());
        const QDateTime morning = QDateTime(QDate(2026, 3, 4), QTime(8, 0));
        chat->recordActivity(morning, ctx);
        QVERIFY(ctx.save().ok());
        chat->recordActivity(morning.addSecs(3600 * 10), ctx);
        chat->backfillActivityIfNeeded(ctx);
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<ChatActivityDay>().valueOr(-1), 1);
        chat->recordActivity(morning.addDays(1), ctx);
        QVERIFY(ctx.save().ok());
        QCOMPARE(ctx.count<ChatActivityDay>().valueOr(-1), 2);
    }
};

QTEST_GUILESS_MAIN(StoreRelationshipsTest)
#include "tst_store_relationships.moc"
