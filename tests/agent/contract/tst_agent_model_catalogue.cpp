// The model catalogue and its two look-ups.
#include "agent/AgentModelCatalogue.h"

#include <QTest>

using namespace corvane;

class AgentModelCatalogueTest : public QObject
{
    Q_OBJECT

private slots:
    void entries_data();
    void entries();
    void modelsOfOneAgent();
    void pickerHidesAndOrders();
    void unknownIds_data();
    void unknownIds();
};

void AgentModelCatalogueTest::entries_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("cliFlag");
    QTest::addColumn<QString>("displayName");
    QTest::addColumn<bool>("claude");
    QTest::addColumn<bool>("current");

    QTest::newRow("Opus 4.8") << 1 << "claude-opus-4-8" << "Opus 4.8" << true << true;
    QTest::newRow("Sonnet 4.6") << 2 << "claude-sonnet-4-6" << "Sonnet 4.6" << true << true;
    QTest::newRow("Haiku 4.5") << 3 << "claude-haiku-4-5-20251001" << "Haiku 4.5" << true << true;
    QTest::newRow("Opus 4.7") << 4 << "claude-opus-4-7" << "Opus 4.7" << true << false;
    QTest::newRow("Opus 4.6") << 5 << "claude-opus-4-6" << "Opus 4.6" << true << false;
    QTest::newRow("Opus 4.5") << 6 << "claude-opus-4-5-20251101" << "Opus 4.5" << true << false;
    QTest::newRow("Opus 4.1") << 7 << "claude-opus-4-1-20250805" << "Opus 4.1" << true << false;
    QTest::newRow("Sonnet 4.5") << 8 << "claude-sonnet-4-5-20250929" << "Sonnet 4.5" << true << false;
    QTest::newRow("GPT-5.5") << 9 << "gpt-5.5" << "GPT-5.5" << false << true;
    QTest::newRow("GPT-5.4") << 10 << "gpt-5.4" << "GPT-5.4" << false << true;
    QTest::newRow("GPT-5 Codex") << 11 << "gpt-5-codex" << "GPT-5 Codex" << false << true;
    QTest::newRow("o3") << 12 << "o3" << "o3" << false << false;
    QTest::newRow("o4-mini") << 13 << "o4-mini" << "o4-mini" << false << false;
}

void AgentModelCatalogueTest::entries()
{
    QFETCH(int, position);
    QFETCH(QString, cliFlag);
    QFETCH(QString, displayName);
    QFETCH(bool, claude);
    QFETCH(bool, current);

    QCOMPARE(AgentModelCatalogue::all().size(), 13);
    const AgentModelDescriptor expected{(claude ? "claude:" : "codex:") + cliFlag,
                                        displayName,
                                        cliFlag,
                                        claude ? AgentType::claudeCode : AgentType::codex,
                                        claude ? "claude" : "chatgpt",
                                        current,
                                        claude ? "Claude" : "Codex"};
    QVERIFY(AgentModelCatalogue::all().at(position - 1) == expected);
    QVERIFY(AgentModelCatalogue::byId(expected.id) == expected);
}

void AgentModelCatalogueTest::modelsOfOneAgent()
{
    QStringList claude, codex;
    for (const AgentModelDescriptor &m : AgentModelCatalogue::forAgentType(AgentType::claudeCode))
        claude << m.cliFlag;
    for (const AgentModelDescriptor &m : AgentModelCatalogue::forAgentType(AgentType::codex))
        codex << m.cliFlag;
    QCOMPARE(claude, (QStringList{"claude-opus-4-8", "claude-sonnet-4-6", "claude-haiku-4-5-20251001", "claude-opus-4-7",
                                  "claude-opus-4-6", "claude-opus-4-5-20251101", "claude-opus-4-1-20250805",
                                  "claude-sonnet-4-5-20250929"}));
    QCOMPARE(codex, (QStringList{"gpt-5.5", "gpt-5.4", "gpt-5-codex", "o3", "o4-mini"}));
}

void AgentModelCatalogueTest::pickerHidesAndOrders()
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

void AgentModelCatalogueTest::unknownIds_data()
{
    QTest::addColumn<QString>("id");
    QTest::newRow("bare flag") << "claude-opus-4-8";
    QTest::newRow("wrong agent prefix") << "codex:claude-opus-4-8";
    QTest::newRow("different case") << "Claude:claude-opus-4-8";
    QTest::newRow("empty") << "";
}

void AgentModelCatalogueTest::unknownIds()
{
    QFETCH(QString, id);
    QVERIFY(!AgentModelCatalogue::byId(id));
}

QTEST_GUILESS_MAIN(AgentModelCatalogueTest)
#include "tst_agent_model_catalogue.moc"
