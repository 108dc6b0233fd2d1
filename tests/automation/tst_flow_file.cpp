// Flow files: what a missing key means (gates above all: none runs every gate, an empty list
// runs none), the exact written form, and the builtins surviving a write and a read.
#include "automation/FlowFile.h"

#include <QTest>

using namespace corvane;

using Gates = std::optional<QStringList>;
Q_DECLARE_METATYPE(Gates)

class FlowFileTest : public QObject
{
    Q_OBJECT

private slots:
    void missingKeysTakeTheirDefaults()
    {
        const ScannedFlow flow = flowfile::parse("Just a prompt.\n", "/p/.corvane/flows/tidy.up.md");
        QCOMPARE(flow.name, QStringLiteral("tidy.up"));
        QCOMPARE(flow.icon, QStringLiteral("bolt.fill"));
        QCOMPARE(flow.colorHex, QStringLiteral("#3D8BFF"));
        QCOMPARE(flow.permissionModeRaw, QStringLiteral("acceptEdits"));
        QCOMPARE(flow.enabledGateNames, std::nullopt);
        QCOMPARE(flow.coordinatorPrompt, QStringLiteral("Just a prompt.\n"));
        QVERIFY(!flow.skipReviewPhase && !flow.defaultOpenWorkspace);
    }

    void gates_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<Gates>("gates");
        QTest::newRow("no key: every gate") << "" << Gates();
        QTest::newRow("empty: none") << "gates:\n" << Gates(QStringList());
        QTest::newRow("empty brackets: none") << "gates: []\n" << Gates(QStringList());
        QTest::newRow("named") << "gates: [lint, test]\n" << Gates(QStringList{"lint", "test"});
    }

    void gates()
    {
        QFETCH(QString, line);
        QFETCH(Gates, gates);
        const ScannedFlow flow = flowfile::parse("---\nname: f\n" + line + "---\nbody", "/f.md");
        QCOMPARE(flow.enabledGateNames, gates);
        // Written back, the difference between none and all survives.
        QCOMPARE(flowfile::parse(flowfile::write(flow), "/f.md").enabledGateNames, gates);
    }

    void writtenForm()
    {
        ScannedFlow flow;
        flow.name = "ship";
        flow.availableAgentNames = {"planner", "reviewer"};
        flow.enabledGateNames = QStringList();
        flow.skipReviewPhase = true;
        flow.permissionModeRaw = "something-new"; // kept as it stands
        flow.coordinatorPrompt = "# Ship\n\nGo.";
        QCOMPARE(flowfile::write(flow), QStringLiteral("---\nname: ship\nicon: bolt.fill\ncolor: #3D8BFF\n"
                                                       "agents: [planner, reviewer]\ngates: []\nskip-review: true\n"
                                                       "permission-mode: something-new\n---\n\n# Ship\n\nGo."));
    }

    void builtinsSurviveAWriteAndARead()
    {
        const auto builtins = flowfile::builtins();
        QCOMPARE(builtins.size(), 2);
        QCOMPARE(builtins.at(0).name, QStringLiteral("build-and-test"));
        QCOMPARE(builtins.at(1).name, QStringLiteral("quick-fix"));
        for (const ScannedFlow &flow : builtins) {
            QVERIFY(flow.coordinatorPrompt.contains("[CORVANE:READY_FOR_VALIDATION]"));
            QCOMPARE(flowfile::parse(flowfile::write(flow), flow.filePath), flow);
        }
    }

    void aNewFlowStartsFromTheTemplate()
    {
        const ScannedFlow flow = flowfile::parse(flowfile::newFlowTemplate("Nightly"), "/Nightly.md");
        QCOMPARE(flow.name, QStringLiteral("Nightly"));
        QCOMPARE(flow.description, QStringLiteral("A short description of what this flow does"));
        QCOMPARE(flow.permissionModeRaw, QStringLiteral("acceptEdits"));
        QCOMPARE(flow.coordinatorPrompt,
                 QStringLiteral("# Nightly Coordinator\n\nYou are the Coordinator for the \"Nightly\" automation flow..."));
    }
};

QTEST_GUILESS_MAIN(FlowFileTest)
#include "tst_flow_file.moc"
