// Flows and subagents mirrored from real files in a temporary HOME and project: the builtins,
// what a scan takes and leaves, saving with its rename rules, and edits made outside.
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/store/StoreContext.h"
#include "support/DefinitionFixture.h"
#include "support/StoreFixture.h"

#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

std::shared_ptr<AutomationFlow> flowNamed(const AutomationFlowsService &service, const QString &name)
{
    for (const auto &flow : service.flows())
        if (flow->name == name)
            return flow;
    return nullptr;
}

std::shared_ptr<AgentDefinition> agentNamed(const AgentDefinitionsService &service, const QString &name)
{
    for (const auto &agent : service.agents())
        if (agent->name == name)
            return agent;
    return nullptr;
}

QStringList namesOf(const AutomationFlowsService &service)
{
    QStringList names;
    for (const auto &flow : service.flows())
        names << flow->name;
    names.sort(); // the service sorts as the user's locale does; tests run in any
    return names;
}

} // namespace

class DefinitionServicesTest : public QObject
{
    Q_OBJECT

private slots:
    void builtinsAreInstalledOnceAndEditsSurvive()
    {
        DefinitionFixture f;
        AutomationFlowsService flows(f.store);
        AgentDefinitionsService agents(f.store);
        QVERIFY(f.reloaded(flows, {}));
        QVERIFY(f.reloaded(agents, {}));
        QCOMPARE(namesOf(flows), (QStringList{"build-and-test", "quick-fix"}));
        QVERIFY(agentNamed(agents, "planner") && agentNamed(agents, "reviewer"));
        QCOMPARE(agentNamed(agents, "planner")->allowedTools, QStringList({"Read", "Grep", "Glob"}));

        const QString quickFix = f.home(".claude/flows/quick-fix.md");
        QVERIFY(writeFile(quickFix, "---\nname: quick-fix\ndescription: mine now\n---\nMy prompt"));
        QFile::remove(f.home(".claude/flows/build-and-test.md"));
        QVERIFY(f.reloaded(flows));
        QCOMPARE(readFile(quickFix), QByteArray("---\nname: quick-fix\ndescription: mine now\n---\nMy prompt"));
        QCOMPARE(flowNamed(flows, "quick-fix")->descriptionText, QStringLiteral("mine now"));
        // A deleted builtin comes back as it was shipped.
        QVERIFY(flowNamed(flows, "build-and-test"));
        QCOMPARE(flowNamed(flows, "build-and-test")->permissionModeRaw, QStringLiteral("acceptAll"));
        QCOMPARE(flows.flows().size(), 2);
    }

    void scanTakesOnlyWhatTheAgentReads()
    {
        DefinitionFixture f;
        const QString project = f.project("app");
        insertPlace(f.store->mainContext(), project, {});
        const QString folder = AutomationFlowsService::projectFolder(project);
        QVERIFY(writeFile(folder + "/ship.md", "---\nname: ship\ngates: []\n---\nShip it"));
        QVERIFY(writeFile(folder + "/.draft.md", "---\nname: draft\n---\n"));
        QVERIFY(writeFile(folder + "/notes.txt", "---\nname: notes\n---\n"));
        QVERIFY(writeFile(folder + "/nested/deep.md", "---\nname: deep\n---\n"));
        QVERIFY(writeFile(folder + "/latin1.md", "---\nname: caf\xe9\n---\n"));
        QVERIFY(writeFile(folder + "/open.md", "---\nname: never closed\nbody"));

        AutomationFlowsService flows(f.store);
        QVERIFY(f.reloaded(flows, {project}));
        QVERIFY(!flows.lastError());
        QCOMPARE(namesOf(flows), (QStringList{"build-and-test", "open", "quick-fix", "ship"}));
        const auto ship = flowNamed(flows, "ship");
        QCOMPARE(ship->scopeRaw, QStringLiteral("project"));
        QVERIFY(ship->projectId.has_value());
        QCOMPARE(ship->enabledGateNames, std::optional<QStringList>(QStringList()));
        QCOMPARE(flowNamed(flows, "open")->coordinatorPrompt, QStringLiteral("---\nname: never closed\nbody"));
        QCOMPARE(flowNamed(flows, "quick-fix")->scopeRaw, QStringLiteral("user"));

        // A file that goes takes its record; a project no longer listed takes its flows'.
        QFile::remove(folder + "/open.md");
        QVERIFY(f.reloaded(flows));
        QCOMPARE(namesOf(flows), (QStringList{"build-and-test", "quick-fix", "ship"}));
        QVERIFY(f.reloaded(flows, {}));
        QCOMPARE(namesOf(flows), (QStringList{"build-and-test", "quick-fix"}));
        QCOMPARE(f.store->mainContext().count<AutomationFlow>().valueOr(-1), 2);
    }

    void twoRecordsOfOneFileAreHealed()
    {
        DefinitionFixture f;
        AgentDefinitionsService agents(f.store);
        QVERIFY(f.reloaded(agents, {}));
        AgentDefinition twin;
        twin.name = "twin";
        twin.filePath = agentNamed(agents, "planner")->filePath;
        f.store->mainContext().insert(twin);
        QVERIFY(f.store->mainContext().save());
        QVERIFY(f.reloaded(agents));
        QVERIFY(!agents.lastError());
        QCOMPARE(agents.agents().size(), 2);
    }

    void savingRenamesTheFileOrRefuses()
    {
        DefinitionFixture f;
        AutomationFlowsService flows(f.store);
        QVERIFY(f.reloaded(flows, {}));
        QVERIFY(flows.createFlow("Builder", DefinitionLocation::user()));
        QCOMPARE(flows.createFlow("Builder", DefinitionLocation::user()).error().message,
                 QStringLiteral("A flow named 'Builder' already exists"));
        QVERIFY(f.reloaded(flows));
        auto builder = flowNamed(flows, "Builder");
        QVERIFY(builder);

        // Onto a name that has a file: refused, both files and the record as they were.
        const QByteArray quickFixBefore = readFile(f.home(".claude/flows/quick-fix.md"));
        ScannedFlow edited = scannedFlowOf(*builder);
        edited.name = "  quick-fix ";
        edited.description = "changed";
        QCOMPARE(flows.saveFlow(builder, edited).error().message, QStringLiteral("A flow named 'quick-fix' already exists"));
        QCOMPARE(readFile(f.home(".claude/flows/quick-fix.md")), quickFixBefore);
        QVERIFY(QFile::exists(f.home(".claude/flows/Builder.md")));
        QCOMPARE(builder->descriptionText, QStringLiteral("A short description of what this flow does"));

        // Onto a free name: the old file goes, the record follows.
        edited.name = "Shipper";
        edited.enabledGateNames = QStringList{"test"};
        const Status saved = flows.saveFlow(builder, edited);
        QVERIFY2(saved, saved ? "" : qPrintable(saved.error().message));
        QVERIFY(!QFile::exists(f.home(".claude/flows/Builder.md")));
        QVERIFY(readFile(f.home(".claude/flows/Shipper.md")).contains("\ngates: [test]\n"));
        QVERIFY(f.reloaded(flows));
        QCOMPARE(namesOf(flows), (QStringList{"Shipper", "build-and-test", "quick-fix"}));
        QCOMPARE(flowNamed(flows, "Shipper")->descriptionText, QStringLiteral("changed"));

        QVERIFY(flows.deleteFlow(flowNamed(flows, "Shipper")));
        QVERIFY(f.reloaded(flows));
        QCOMPARE(namesOf(flows), (QStringList{"build-and-test", "quick-fix"}));
    }

    void badNamesAndPlacesAreRefusedClearly_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("blockFolder");
        QTest::addColumn<QString>("message");
        QTest::newRow("a name with a slash") << "a/b" << false << "'a/b' cannot be used as a name";
        QTest::newRow("a folder that cannot be made") << "ship" << true << "Could not create the folder ";
    }

    void badNamesAndPlacesAreRefusedClearly()
    {
        QFETCH(QString, name);
        QFETCH(bool, blockFolder);
        QFETCH(QString, message);
        DefinitionFixture f;
        const QString project = f.project("app");
        if (blockFolder)
            QVERIFY(writeFile(project + "/.corvane", "a file where the folder would go"));
        AutomationFlowsService flows(f.store);
        const auto made = flows.createFlow(name, DefinitionLocation::project(project));
        QVERIFY(!made);
        QVERIFY2(made.error().message.startsWith(message), qPrintable(made.error().message));
        QVERIFY(f.reloaded(flows, {project}));
        QCOMPARE(flows.flows().size(), 2); // the builtins are still listed
    }

    void agentsKeepTheirOwnRules()
    {
        DefinitionFixture f;
        const QString project = f.project("app");
        const QString folder = AgentDefinitionsService::projectFolder(project);
        QVERIFY(writeFile(folder + "/planner.md", "---\nname: planner\ntools: [Read, Grep]\nmood: calm\n---\nLocal"));
        QVERIFY(writeFile(folder + "/bare.md", "---\nname: bare\ndisplay-name: bare\ntools:\n---\n"));
        AgentDefinitionsService agents(f.store);
        QVERIFY(f.reloaded(agents, {project}));

        // The same name in the user's folder and a project: two records, each with its scope.
        int planners = 0;
        for (const auto &agent : agents.agents())
            planners += agent->name == "planner";
        QCOMPARE(planners, 2);
        auto bare = agentNamed(agents, "bare");
        QCOMPARE(bare->allowedTools, std::nullopt);

        std::shared_ptr<AgentDefinition> local;
        for (const auto &agent : agents.agents())
            if (agent->isProjectScoped() && agent->name == "planner")
                local = agent;
        QCOMPARE(local->allowedTools, QStringList({"Read", "Grep"}));
        QVERIFY(agents.saveAgent(local, scannedAgentOf(*local)));
        // Unknown keys go at the editor's save; lists are written without brackets.
        QCOMPARE(readFile(folder + "/planner.md"),
                 QByteArray("---\nname: planner\ntools: Read, Grep\nicon: person.crop.circle\ncolor: #7B61FF\n---\n\nLocal"));
        QVERIFY(agents.saveAgent(bare, scannedAgentOf(*bare)));
        QVERIFY(!readFile(folder + "/bare.md").contains("display-name"));

        // Renaming the user's planner moves its file; the next reload brings a fresh one back.
        QVERIFY(f.reloaded(agents));
        std::shared_ptr<AgentDefinition> user;
        for (const auto &agent : agents.agents())
            if (!agent->isProjectScoped() && agent->name == "planner")
                user = agent;
        ScannedAgent renamed = scannedAgentOf(*user);
        renamed.name = "reviewer";
        QCOMPARE(agents.saveAgent(user, renamed).error().message, QStringLiteral("An agent named 'reviewer' already exists"));
        renamed.name = "architect";
        QVERIFY(agents.saveAgent(user, renamed));
        QVERIFY(f.reloaded(agents));
        QVERIFY(QFile::exists(f.home(".claude/agents/architect.md")));
        QVERIFY(QFile::exists(f.home(".claude/agents/planner.md")));
        QCOMPARE(agents.readAgentFile(agentNamed(agents, "architect")), user->systemPrompt);
    }

    void editsMadeOutsideArePickedUp()
    {
        DefinitionFixture f;
        const QString project = f.project("app");
        AutomationFlowsService flows(f.store);
        QVERIFY(f.reloaded(flows, {project}));
        flows.startWatching();
        QVERIFY(f.reloadsBySelf(flows)); // the first scan learns the folders

        // An edit in the user's folder, then a project folder that did not exist yet.
        QVERIFY(writeFile(f.home(".claude/flows/quick-fix.md"), "---\nname: quick-fix\ndescription: edited outside\n---\n"));
        QVERIFY(f.reloadsBySelf(flows));
        QTRY_COMPARE(flowNamed(flows, "quick-fix")->descriptionText, QStringLiteral("edited outside"));
        QVERIFY(writeFile(AutomationFlowsService::projectFolder(project) + "/late.md", "---\nname: late\n---\n"));
        QTRY_VERIFY_WITH_TIMEOUT(flowNamed(flows, "late"), 5000);
    }
};

QTEST_GUILESS_MAIN(DefinitionServicesTest)
#include "tst_definition_services.moc"
