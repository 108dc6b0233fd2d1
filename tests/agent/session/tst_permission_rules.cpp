// The decisions taken without asking: which mode approves which request, the folders that are
// always guarded, and how the agent's planning tools become the live plan.
#include "agent/AgentPermissionRequest.h"
#include "agent/session/PermissionRules.h"
#include "agent/session/PlanState.h"

#include <QTest>

using namespace corvane;

class PermissionRulesTest : public QObject
{
    Q_OBJECT

private slots:
    void autoApproval_data()
    {
        QTest::addColumn<PermissionMode>("mode");
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QVariantMap>("input");
        QTest::addColumn<QString>("label");
        const auto path = [](const char *p) { return QVariantMap{{"file_path", p}}; };
        const auto command = [](const char *c) { return QVariantMap{{"command", c}}; };
        QTest::newRow("bypass: edit of .git/config asks") << PermissionMode::acceptAll << "Edit" << path("/repo/.git/config") << "";
        QTest::newRow("bypass: edit of src passes") << PermissionMode::acceptAll << "Edit" << path("/repo/src/a.c") << "Bypass Permissions";
        QTest::newRow("bypass: a name that only starts like .git passes")
            << PermissionMode::acceptAll << "Write" << path("/repo/.github/ci.yml") << "Bypass Permissions";
        QTest::newRow("bypass: rm -rf .git/hooks asks") << PermissionMode::acceptAll << "Bash" << command("rm -rf .git/hooks") << "";
        QTest::newRow("bypass: cd .git && ls asks") << PermissionMode::acceptAll << "Bash" << command("cd .git && ls") << "";
        QTest::newRow("bypass: git log passes") << PermissionMode::acceptAll << "Bash" << command("git log -1") << "Bypass Permissions";
        QTest::newRow("bypass: ls passes") << PermissionMode::acceptAll << "Bash" << command("ls") << "Bypass Permissions";
        QTest::newRow("bypass: cat /x/.idea/y asks") << PermissionMode::acceptAll << "Bash" << command("cat /x/.idea/y") << "";
        QTest::newRow("bypass: a read of .git is never guarded")
            << PermissionMode::acceptAll << "Read" << path("/repo/.git/HEAD") << "Bypass Permissions";
        QTest::newRow("edits: Write passes, even guarded")
            << PermissionMode::acceptEdits << "Write" << path("/repo/.vscode/x.json") << "Auto Accept Edits";
        QTest::newRow("edits: Bash asks") << PermissionMode::acceptEdits << "Bash" << command("ls") << "";
        QTest::newRow("ask: asks for a read") << PermissionMode::ask << "Read" << path("/repo/a") << "";
        QTest::newRow("bypass: ExitPlanMode passes") << PermissionMode::acceptAll << "ExitPlanMode" << QVariantMap() << "Bypass Permissions";
    }

    void autoApproval()
    {
        QFETCH(PermissionMode, mode);
        QFETCH(QString, tool);
        QFETCH(QVariantMap, input);
        QFETCH(QString, label);
        QCOMPARE(permissionrules::autoApprovalLabel(mode, tool, input).value_or(QString()), label);
    }

    void summariesAndHeadings()
    {
        AgentPermissionRequest request;
        request.toolName = "WebFetch";
        request.toolInput = {{"url", "https://example.org"}};
        QCOMPARE(permissionrules::requestSummary(request), QString("Fetch URL: https://example.org"));
        request.toolName = "mcp__db__query";
        request.description = "Query the database";
        QCOMPARE(permissionrules::requestSummary(request), QString("Query the database"));
        QCOMPARE(permissionrules::requestHeading("Bash"), QString("Claude wants to run a command:"));
        QCOMPARE(permissionrules::requestHeading("mcp__db__query"), QString("Claude wants to use mcp__db__query"));
    }

    void planTools_data()
    {
        QTest::addColumn<bool>("active");
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QVariantMap>("input");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<int>("tasks");
        QTest::newRow("EnterPlanMode starts a plan") << false << "EnterPlanMode" << QVariantMap() << true << 0;
        QTest::newRow("TaskCreate outside a plan is shown") << false << "TaskCreate" << QVariantMap{{"subject", "x"}} << false << 0;
        QTest::newRow("TaskCreate adds a task") << true << "TaskCreate" << QVariantMap{{"subject", "x"}} << true << 1;
        QTest::newRow("TaskUpdate of an unknown id changes nothing")
            << true << "TaskUpdate" << QVariantMap{{"taskId", "99"}, {"status", "completed"}} << true << 0;
        QTest::newRow("TodoWrite rebuilds the tasks")
            << true << "TodoWrite"
            << QVariantMap{{"todos", QVariantList{QVariantMap{{"content", "a"}}, QVariantMap{{"subject", "b"}, {"status", "in_progress"}}}}}
            << true << 2;
        QTest::newRow("TodoWrite with a non-list keeps the tasks, still hidden")
            << true << "TodoWrite" << QVariantMap{{"todos", "garbage"}} << true << 0;
        QTest::newRow("Write of notes.md becomes the plan")
            << true << "Write" << QVariantMap{{"file_path", "notes.md"}, {"content", "# Plan"}} << true << 0;
        QTest::newRow("Write with empty content is shown")
            << true << "Write" << QVariantMap{{"file_path", "notes.md"}, {"content", ""}} << false << 0;
        QTest::newRow("Write of code is shown") << true << "Write" << QVariantMap{{"file_path", "a.c"}, {"content", "x"}} << false << 0;
        QTest::newRow("Bash is shown") << true << "Bash" << QVariantMap{{"command", "ls"}} << false << 0;
    }

    void planTools()
    {
        QFETCH(bool, active);
        QFETCH(QString, tool);
        QFETCH(QVariantMap, input);
        QFETCH(bool, hidden);
        QFETCH(int, tasks);
        PlanState plan;
        plan.isActive = active;
        QCOMPARE(planfilter::apply(plan, tool, input).hidden, hidden);
        QCOMPARE(plan.tasks.size(), tasks);
    }

    void tasksAreUpdatedInPlace()
    {
        PlanState plan;
        planfilter::apply(plan, "EnterPlanMode", {});
        planfilter::apply(plan, "TaskCreate", {{"subject", "Write the parser"}});
        planfilter::apply(plan, "TaskCreate", {{"subject", "Test it"}});
        planfilter::apply(plan, "TaskUpdate", {{"taskId", "2"}, {"status", "in_progress"}, {"addBlockedBy", QVariantList{"1"}}});
        planfilter::apply(plan, "TaskUpdate", {{"taskId", "1"}, {"status", "no such status"}});
        QCOMPARE(plan.tasks.at(1).status, PlanTask::Status::inProgress);
        QCOMPARE(plan.tasks.at(1).blockedBy, QStringList{"1"});
        QCOMPARE(plan.tasks.at(0).status, PlanTask::Status::pending);
        planfilter::apply(plan, "TodoWrite", {{"todos", QVariantList{QVariantMap{{"text", "only"}}}}});
        QCOMPARE(plan.tasks.size(), 1);
        QCOMPARE(plan.tasks.at(0).id, QString("todo-0"));
        QCOMPARE(plan.tasks.at(0).subject, QString("only"));
    }
};

QTEST_GUILESS_MAIN(PermissionRulesTest)
#include "tst_permission_rules.moc"
