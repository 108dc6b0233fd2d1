#include "agent/session/SessionText.h"

#include <QTest>

using namespace corvane;
using namespace corvane::sessiontext;

class SessionTextTest : public QObject
{
    Q_OBJECT

private slots:
    void toolSummaries_data()
    {
        QTest::addColumn<QString>("tool");
        QTest::addColumn<QVariantMap>("input");
        QTest::addColumn<QString>("expected");
        QTest::newRow("bash command") << "Bash" << QVariantMap{{"command", "ls -la"}} << "Bash: ls -la";
        QTest::newRow("file path") << "Write" << QVariantMap{{"file_path", "/a.txt"}, {"content", "x"}} << "Write: /a.txt";
        QTest::newRow("pattern") << "Grep" << QVariantMap{{"pattern", "TODO"}} << "Grep: TODO";
        QTest::newRow("command before file path")
            << "Odd" << QVariantMap{{"file_path", "/f"}, {"command", "c"}} << "Odd: c";
        QTest::newRow("none of the keys") << "WebSearch" << QVariantMap{{"query", "qt"}} << "WebSearch";
        QTest::newRow("key that is not text") << "Bash" << QVariantMap{{"command", 42}} << "Bash";
    }

    void toolSummaries()
    {
        QFETCH(QString, tool);
        QFETCH(QVariantMap, input);
        QFETCH(QString, expected);
        QCOMPARE(toolSummary(tool, input), expected);
    }

    void previews_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("exactly 200") << QString(200, 'a') << QString(200, 'a');
        QTest::newRow("201") << QString(201, 'a') << QString(200, 'a') + "...";
        const QString emoji = QString::fromUtf8("😀");
        QTest::newRow("emoji are whole characters")
            << emoji.repeated(201) << emoji.repeated(200) + "...";
        QTest::newRow("emoji at the cut") << QString(199, 'a') + emoji + emoji << QString(199, 'a') + emoji + "...";
    }

    void previews()
    {
        QFETCH(QString, output);
        QFETCH(QString, expected);
        QCOMPARE(outputPreview(output), expected);
    }

    void authenticationFailures_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<bool>("auth");
        QTest::newRow("missing key") << "Could not find API key" << true;
        QTest::newRow("http 401") << "API Error: 401 {\"type\":\"error\"}" << true;
        QTest::newRow("env var named") << "Set ANTHROPIC_API_KEY first" << true;
        QTest::newRow("network") << "Network down" << false;
    }

    void authenticationFailures()
    {
        QFETCH(QString, description);
        QFETCH(bool, auth);
        QCOMPARE(isAuthenticationFailure(description), auth);
    }

    void migrationPromptKeepsTheRecentTextTurns()
    {
        QList<TranscriptMessage> messages;
        for (int i = 0; i < 25; ++i)
            messages.append({i % 2 ? MessageRole::assistant : MessageRole::user, MessageContentType::text,
                             QString("  turn %1  ").arg(i)});
        messages.append({MessageRole::tool, MessageContentType::toolStart, "Bash: ls"});
        messages.append({MessageRole::user, MessageContentType::text, "   "});
        const auto prompt = migrationSeedPrompt(messages, std::nullopt, "Work");
        QVERIFY(prompt);
        QVERIFY(prompt->startsWith("[Migrated context from previous Claude profile]"));
        QVERIFY(prompt->contains("profile \"(previous profile)\" and has been moved to profile \"Work\""));
        QVERIFY(!prompt->contains("turn 5\n"));
        QVERIFY(prompt->contains("Assistant: turn 7\n\nUser: turn 8"));
        QVERIFY(prompt->contains("User: turn 24\n--- End transcript ---"));
        QVERIFY(!prompt->contains("Bash: ls"));
    }

    void migrationPromptTruncatesLongTranscripts()
    {
        QList<TranscriptMessage> messages{{MessageRole::user, MessageContentType::text, QString(60000, 'x')}};
        const auto prompt = migrationSeedPrompt(messages, QString("Home"), "Work");
        QVERIFY(prompt);
        const QString transcript = prompt->section("--- Previous transcript ---\n", 1).section("\n--- End transcript ---", 0, 0);
        QVERIFY(transcript.startsWith("…(earlier turns truncated)…\n\n"));
        QCOMPARE(transcript.size(), QString("…(earlier turns truncated)…\n\n").size() + 50000);
        QVERIFY(!migrationSeedPrompt({{MessageRole::system, MessageContentType::text, "note"}}, {}, "W"));
    }
};

QTEST_GUILESS_MAIN(SessionTextTest)
#include "tst_session_text.moc"
