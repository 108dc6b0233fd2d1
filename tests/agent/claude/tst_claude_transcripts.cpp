// Transcripts of the real claude (tests/fixtures/claude) replayed line by line through the
// decoder. What the decoder shows must be exactly what the transcript's finished blocks and
// results say, and the live deltas must already have shown all of it.
#include "agent/claude/ClaudeStreamDecoder.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace corvane;

namespace {

QString fixturesDir()
{
    return QStringLiteral(CLAUDE_FIXTURES_DIR);
}

// How each captured run ended, turn by turn. A transcript not listed here is still checked for
// everything else.
const QHash<QString, QStringList> &knownEndings()
{
    static const QString apiError = "failed: API Error: 400 messages: text content blocks must be non-empty";
    static const QHash<QString, QStringList> endings{
        {"api_error", {apiError, "completed"}},
        {"api_error_last_turn", {apiError}},
        {"interrupt_control", {"stopped", "completed"}},
        {"interrupt_permission_pending", {"stopped"}},
        {"interrupt_sigint", {"stopped"}},
        {"interrupt_sigint.no_result", {}},
        {"resume_unknown", {"failed: No conversation found with session ID: 6f1f3c52-0000-4000-8000-000000000000"}},
        {"two_turns", {"completed", "completed"}},
        {"multibyte_text", {"completed", "completed"}},
        {"plain_text", {"completed"}},
        {"two_text_blocks", {"completed"}},
        {"thinking_text", {"completed"}},
        {"tool_uses", {"completed"}},
        {"subagent", {"completed"}},
        {"ask_user_question", {"completed"}},
        {"permission_deny", {"completed"}},
        {"permission_allow_with_input", {"completed"}},
        {"huge_reply", {"completed"}},
    };
    return endings;
}

QString endingOf(const ClaudeEvent &e)
{
    switch (e.ending) {
    case ClaudeEvent::Ending::completed: return "completed";
    case ClaudeEvent::Ending::stopped: return "stopped";
    case ClaudeEvent::Ending::failed: return "failed: " + e.error.message;
    }
    return {};
}

// What a transcript says, read independently of the decoder: per turn, the text of the
// top-level finished text blocks (or, when the run ended before any, of the live deltas).
struct Transcript
{
    QStringList turnTexts;
    QStringList resultTexts; // "result" of each result line
    int initLines = 0;
    QSet<QString> toolUseIds;
    int toolResults = 0;
    int controlRequests = 0;
    int cancels = 0;
    bool hasThinking = false;
};

Transcript readTranscript(const QList<QByteArray> &lines)
{
    Transcript t;
    QString blocks, deltas;
    auto endTurn = [&] {
        t.turnTexts << (blocks.isEmpty() ? deltas : blocks);
        blocks.clear();
        deltas.clear();
    };
    for (const QByteArray &line : lines) {
        const QJsonObject m = QJsonDocument::fromJson(line).object();
        const QString type = m["type"].toString();
        const bool topLevel = !m["parent_tool_use_id"].isString();
        const QJsonArray content = m["message"].toObject()["content"].toArray();
        if (type == "system" && m["subtype"].toString() == "init")
            ++t.initLines;
        else if (type == "stream_event" && topLevel) {
            const QJsonObject delta = m["event"].toObject()["delta"].toObject();
            if (delta["type"].toString() == "text_delta")
                deltas += delta["text"].toString();
        } else if (type == "assistant") {
            const bool synthetic = m["message"].toObject()["model"].toString() == "<synthetic>";
            for (const QJsonValue &b : content) {
                const QString kind = b["type"].toString();
                if (kind == "text" && topLevel && !synthetic)
                    blocks += b["text"].toString();
                else if (kind == "tool_use")
                    t.toolUseIds.insert(b["id"].toString());
                else if (kind == "thinking")
                    t.hasThinking = true;
            }
        } else if (type == "user") {
            for (const QJsonValue &b : content)
                if (b["type"].toString() == "tool_result")
                    ++t.toolResults;
        } else if (type == "control_request")
            ++t.controlRequests;
        else if (type == "control_cancel_request")
            ++t.cancels;
        else if (type == "result") {
            t.resultTexts << m["result"].toString();
            endTurn();
        }
    }
    if (!blocks.isEmpty() || !deltas.isEmpty())
        endTurn();
    return t;
}

QList<QByteArray> readLines(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

} // namespace

class ClaudeTranscriptsTest : public QObject
{
    Q_OBJECT

private slots:
    void replaysTranscript_data()
    {
        QTest::addColumn<QString>("path");
        const QFileInfoList files = QDir(fixturesDir()).entryInfoList({"*.jsonl"}, QDir::Files, QDir::Name);
        if (files.isEmpty())
            QSKIP("no captured claude transcripts in tests/fixtures/claude");
        for (const QFileInfo &file : files)
            QTest::newRow(qPrintable(file.completeBaseName())) << file.filePath();
    }

    void replaysTranscript()
    {
        QFETCH(QString, path);
        const QList<QByteArray> lines = readLines(path);
        QVERIFY(!lines.isEmpty());
        const Transcript expected = readTranscript(lines);

        ClaudeStreamDecoder decoder;
        QStringList turnTexts, resultTexts, endings;
        QString text, textFromFinishedBlocks;
        int inits = 0, toolStarts = 0, toolResults = 0, requests = 0, cancels = 0, thinking = 0;
        for (const QByteArray &line : lines) {
            const ClaudeStreamDecoder::Output out = decoder.decode(line);
            QVERIFY2(out.outcome == ClaudeStreamDecoder::Outcome::decoded || out.outcome == ClaudeStreamDecoder::Outcome::ignored,
                     line.left(200).constData());
            const bool finishedBlock = line.startsWith(R"({"type":"assistant")");
            for (const ClaudeEvent &e : out.events) {
                switch (e.kind) {
                case ClaudeEvent::Kind::initialized: ++inits; QVERIFY(!e.info.sessionId.isEmpty()); break;
                case ClaudeEvent::Kind::text:
                    text += e.text;
                    if (finishedBlock)
                        textFromFinishedBlocks += e.text;
                    break;
                case ClaudeEvent::Kind::toolStarted: ++toolStarts; break;
                case ClaudeEvent::Kind::toolResult: ++toolResults; break;
                case ClaudeEvent::Kind::permissionRequest:
                case ClaudeEvent::Kind::question: ++requests; break;
                case ClaudeEvent::Kind::cancelRequest: ++cancels; break;
                case ClaudeEvent::Kind::thinkingStarted: ++thinking; break;
                case ClaudeEvent::Kind::result:
                    endings << endingOf(e);
                    if (e.ending == ClaudeEvent::Ending::completed)
                        resultTexts << e.result.text;
                    else
                        resultTexts << QString();
                    turnTexts << std::exchange(text, QString());
                    break;
                default: break;
                }
            }
        }
        if (!text.isEmpty())
            turnTexts << text;

        QCOMPARE(turnTexts, expected.turnTexts);
        // Every finished block had streamed in full before it arrived: it adds nothing.
        QCOMPARE(textFromFinishedBlocks, QString());
        for (qsizetype i = 0; i < resultTexts.size(); ++i)
            if (endings[i] == "completed")
                QCOMPARE(resultTexts[i], expected.resultTexts[i]);
        if (knownEndings().contains(QTest::currentDataTag()))
            QCOMPARE(endings, knownEndings().value(QTest::currentDataTag()));
        QCOMPARE(inits, expected.initLines);
        QCOMPARE(toolStarts, expected.toolUseIds.size());
        QCOMPARE(toolResults, expected.toolResults);
        QCOMPARE(requests, expected.controlRequests);
        QCOMPARE(cancels, expected.cancels);
        QCOMPARE(thinking > 0, expected.hasThinking);
    }
};

QTEST_GUILESS_MAIN(ClaudeTranscriptsTest)
#include "tst_claude_transcripts.moc"
