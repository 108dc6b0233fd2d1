// The model catalogue and its look-ups.
#include "agent/AgentModelCatalogue.h"

#include <QTest>

using namespace corvane;

class AgentModelCatalogueTest : public QObject
{
    Q_OBJECT

private slots:
    void entries()
    {
        // id, name shown, and "*" for the current generation, in catalogue order.
        QStringList listed;
        for (const AgentModelDescriptor &m : AgentModelCatalogue::all()) {
            listed << m.id + " | " + m.displayName + (m.isCurrentGeneration ? " *" : "");
            const bool claude = m.agentType == AgentType::claudeCode;
            QCOMPARE(m.id, (claude ? "claude:" : "codex:") + m.cliFlag);
            QCOMPARE(m.iconName, claude ? "claude" : "chatgpt");
            QCOMPARE(m.providerLabel, claude ? "Claude" : "Codex");
            QVERIFY(AgentModelCatalogue::byId(m.id) == m);
        }
        QCOMPARE(listed, (QStringList{"claude:claude-opus-4-8 | Opus 4.8 *", "claude:claude-sonnet-4-6 | Sonnet 4.6 *",
                                      "claude:claude-haiku-4-5-20251001 | Haiku 4.5 *", "claude:claude-opus-4-7 | Opus 4.7",
                                      "claude:claude-opus-4-6 | Opus 4.6", "claude:claude-opus-4-5-20251101 | Opus 4.5",
                                      "claude:claude-opus-4-1-20250805 | Opus 4.1",
                                      "claude:claude-sonnet-4-5-20250929 | Sonnet 4.5", "codex:gpt-5.5 | GPT-5.5 *",
                                      "codex:gpt-5.4 | GPT-5.4 *", "codex:gpt-5-codex | GPT-5 Codex *", "codex:o3 | o3",
                                      "codex:o4-mini | o4-mini"}));
        // Each agent's models, in catalogue order: claude's come first.
        QCOMPARE(AgentModelCatalogue::forAgentType(AgentType::claudeCode) + AgentModelCatalogue::forAgentType(AgentType::codex),
                 AgentModelCatalogue::all());
        QCOMPARE(AgentModelCatalogue::forAgentType(AgentType::codex).size(), 5);
    }

    void pickerHidesAndOrders()
    {
        const auto order = AgentModelCatalogue::pickerOrder({"claude:claude-sonnet-4-6", "codex:o3"});
        QStringList ids;
        for (const AgentModelDescriptor &m : order)
            ids << m.id;
        QVERIFY(!ids.contains("claude:claude-sonnet-4-6") && !ids.contains("codex:o3"));
        QCOMPARE(ids.first(), QString("claude:claude-opus-4-8"));
        // Every claude model comes before every codex one, and within an agent the current generation first.
        const auto firstCodex = std::find_if(order.cbegin(), order.cend(), [](const auto &m) { return m.agentType == AgentType::codex; });
        QVERIFY(std::all_of(firstCodex, order.cend(), [](const auto &m) { return m.agentType == AgentType::codex; }));
        for (int i = 1; i < order.size(); ++i)
            if (order[i].agentType == order[i - 1].agentType)
                QVERIFY(!(order[i].isCurrentGeneration && !order[i - 1].isCurrentGeneration));
    }

    void unknownIds_data()
    {
        QTest::addColumn<QString>("id");
        QTest::newRow("bare flag") << "claude-opus-4-8";
        QTest::newRow("wrong agent prefix") << "codex:claude-opus-4-8";
        QTest::newRow("different case") << "Claude:claude-opus-4-8";
        QTest::newRow("empty") << "";
    }

    void unknownIds()
    {
        QFETCH(QString, id);
        QVERIFY(!AgentModelCatalogue::byId(id));
    }
};

QTEST_GUILESS_MAIN(AgentModelCatalogueTest)
#include "tst_agent_model_catalogue.moc"
