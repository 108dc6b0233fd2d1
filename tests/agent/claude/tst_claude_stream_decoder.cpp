// The claude stream decoder on canned lines: each message type, each edge of the real tool's
// stream, and lines that are damaged in every way we could think of.
#include "ClaudeLines.h"

#include "agent/claude/ClaudeStreamDecoder.h"

#include <QTest>

using namespace corvane;
using namespace corvane::test::claude;
using Outcome = ClaudeStreamDecoder::Outcome;

namespace {

QStringList decodeAll(ClaudeStreamDecoder &decoder, const QByteArrayList &lines)
{
    QStringList events;
    for (const QByteArray &line : lines)
        for (const ClaudeEvent &event : decoder.decode(line).events)
            events << describe(event);
    return events;
}

QList<ClaudeEvent> eventsOf(ClaudeStreamDecoder &decoder, const QByteArrayList &lines)
{
    QList<ClaudeEvent> events;
    for (const QByteArray &line : lines)
        events << decoder.decode(line).events;
    return events;
}

// Text events joined, and whether any of them cut a character in two.
struct ShownText
{
    QString text;
    bool splitCharacter = false;
};

ShownText shownText(const QList<ClaudeEvent> &events)
{
    ShownText shown;
    for (const ClaudeEvent &e : events) {
        if (e.kind != ClaudeEvent::Kind::text)
            continue;
        if (e.text.front().isLowSurrogate() || e.text.back().isHighSurrogate())
            shown.splitCharacter = true;
        shown.text += e.text;
    }
    return shown;
}

} // namespace

class ClaudeStreamDecoderTest : public QObject
{
    Q_OBJECT

private slots:
    void decodesLines_data(); // below the class: moc misreads an apostrophe in its raw strings
    void decodesLines()
    {
        QFETCH(QByteArrayList, lines);
        QFETCH(QStringList, expected);
        ClaudeStreamDecoder decoder;
        QCOMPARE(decodeAll(decoder, lines), expected);
    }

    void lineOutcomes_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<Outcome>("outcome");
        QTest::addColumn<bool>("isContent");

        QTest::newRow("message") << init() << Outcome::decoded << true;
        QTest::newRow("stream event") << textDelta(0, "x") << Outcome::decoded << true;
        QTest::newRow("keep-alive") << QByteArray(R"({"type":"keep_alive"})") << Outcome::ignored << false;
        QTest::newRow("rate limit event") << QByteArray(R"({"type":"rate_limit_event"})") << Outcome::ignored << true;
        QTest::newRow("unknown type") << QByteArray(R"({"type":"whatever"})") << Outcome::ignored << true;
        QTest::newRow("blank line") << QByteArray(" \r") << Outcome::ignored << false;
        QTest::newRow("not JSON") << QByteArray("Error: something broke") << Outcome::skipped << false;
        QTest::newRow("truncated") << init().left(40) << Outcome::skipped << false;
        QTest::newRow("two objects on one line") << init() + init() << Outcome::skipped << false;
        QTest::newRow("array") << QByteArray(R"([{"type":"result"}])") << Outcome::skipped << false;
        QTest::newRow("string") << QByteArray(R"("result")") << Outcome::skipped << false;
        QTest::newRow("null") << QByteArray("null") << Outcome::skipped << false;
        QTest::newRow("no type") << QByteArray(R"({"subtype":"init"})") << Outcome::skipped << false;
        QTest::newRow("type not text") << QByteArray(R"({"type":7})") << Outcome::skipped << false;
        QTest::newRow("number out of range") << QByteArray(R"({"type":"result","total_cost_usd":1e400})") << Outcome::skipped << false;
        QTest::newRow("deeply nested") << QByteArray(R"({"type":"x","a":)") + QByteArray(5000, '[') << Outcome::skipped << false;
        QTest::newRow("invalid UTF-8") << QByteArray("{\"type\":\"assistant\",\"x\":\"\xff\xfe\"}") << Outcome::dropped << false;
        QTest::newRow("overlong UTF-8") << QByteArray("{\"type\":\"\xc0\xaf\"}") << Outcome::dropped << false;
        QTest::newRow("encoded surrogate") << QByteArray("{\"type\":\"\xed\xa0\x80\"}") << Outcome::dropped << false;
        QTest::newRow("cut inside a character") << QByteArray("{\"type\":\"a\xf0\x9f\x98") << Outcome::dropped << false;
        QTest::newRow("assistant without content list")
            << QByteArray(R"({"type":"assistant","message":{"content":"Hello"}})") << Outcome::skipped << true;
        QTest::newRow("malformed control request")
            << QByteArray(R"({"type":"control_request","request_id":"r1"})") << Outcome::skipped << true;
    }

    void lineOutcomes()
    {
        QFETCH(QByteArray, line);
        QFETCH(Outcome, outcome);
        QFETCH(bool, isContent);
        ClaudeStreamDecoder decoder;
        const ClaudeStreamDecoder::Output out = decoder.decode(line);
        QCOMPARE(out.outcome, outcome);
        QCOMPARE(out.isContent, isContent);
        QCOMPARE(out.parsed, outcome == Outcome::decoded || (outcome == Outcome::ignored && !line.trimmed().isEmpty())
                                 || (outcome == Outcome::skipped && isContent));
    }

    void damagedLinesLeaveTheTurnIntact_data()
    {
        QTest::addColumn<QByteArrayList>("damage");

        QTest::newRow("garbage") << QByteArrayList{"}{", "\x00\x01", "[1,2", "{\"type\":"};
        QTest::newRow("invalid UTF-8 in a delta")
            << QByteArrayList{textDelta(0, "bad").replace("bad", "b\xff" "d"), QByteArray("\xf0\x28\x8c\x28")};
        QTest::newRow("cut-off copies of real lines") << QByteArrayList{textDelta(0, "xyz").chopped(3), assistantText("Hello").left(30),
                                                                        success("nope").chopped(1)};
        QTest::newRow("wrong types in stream events")
            << QByteArrayList{R"({"type":"stream_event","event":"message_start"})",
                              R"({"type":"stream_event","event":{"type":"content_block_delta","index":"0","delta":{"type":"text_delta","text":"x"}}})",
                              R"({"type":"stream_event","event":{"type":"content_block_delta","index":0.5,"delta":{"type":"text_delta","text":"x"}}})",
                              R"({"type":"stream_event","event":{"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":5}}})",
                              R"({"type":"stream_event","event":{"type":"content_block_delta","index":0,"delta":"text"}})",
                              R"({"type":"stream_event","event":{"type":"content_block_start","index":0,"content_block":null}})"};
        QTest::newRow("wrong types in messages")
            << QByteArrayList{R"({"type":"assistant","message":null})", R"({"type":"assistant","message":{"content":[1,"a",null]}})",
                              R"({"type":"assistant","message":{"content":[{"type":"text","text":7}]}})",
                              R"({"type":"user","message":{"content":[{"type":"tool_result","tool_use_id":[],"content":{}}]}})",
                              R"({"type":"control_request","request_id":"r1","request":{"subtype":7}})",
                              R"({"type":"control_cancel_request"})", R"({"type":"system","subtype":["init"]})"};
    }

    void damagedLinesLeaveTheTurnIntact()
    {
        QFETCH(QByteArrayList, damage);
        const QByteArrayList before{init(), messageStart(), blockStart(0), textDelta(0, "Hel")};
        const QByteArrayList after{textDelta(0, "lo"), assistantText("Hello"), blockStop(0), success("Hello")};

        ClaudeStreamDecoder clean;
        const QStringList expected = decodeAll(clean, before + after);

        ClaudeStreamDecoder decoder;
        QStringList events = decodeAll(decoder, before);
        const QStringList fromDamage = decodeAll(decoder, damage);
        events << decodeAll(decoder, after);
        // Damaged lines may say a little (a "Tool" result), but never disturb the turn around them.
        for (const QString &e : fromDamage)
            events.removeOne(e);
        QCOMPARE(events, expected);
    }

    void multiByteTextReassembled_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("piece");

        const QString mixed = QString::fromUtf8("Thumbs 👍🏽, family 👩‍👩‍👧‍👦, flags 🇯🇵, café, 日本語, 𝔘𝔫𝔦𝔠𝔬𝔡𝔢.");
        // Cuts every n UTF-16 units: with odd n many cuts fall between the halves of a character.
        for (int n : {1, 2, 3, 5, 7})
            QTest::addRow("mixed text in pieces of %d units", n) << mixed << n;
        QTest::newRow("only emoji, one unit at a time") << QString::fromUtf8("😀😃😄😁") << 1;
        QTest::newRow("supplementary plane only") << QString::fromUtf8("𝔘𝔫𝔦𝔠𝔬𝔡𝔢") << 3;
    }

    void multiByteTextReassembled()
    {
        QFETCH(QString, text);
        QFETCH(int, piece);
        QByteArrayList lines{messageStart(), blockStart(0)};
        for (qsizetype i = 0; i < text.size(); i += piece)
            lines << textDelta(0, text.mid(i, piece)); // a lone surrogate is written as a \u escape
        const QByteArrayList finish{assistantText(text), blockStop(0), success(text)};

        ClaudeStreamDecoder decoder;
        const ShownText live = shownText(eventsOf(decoder, lines));
        QVERIFY2(!live.splitCharacter, "a text event carried half a character");
        QVERIFY(text.startsWith(live.text));
        QVERIFY(live.text.size() >= text.size() - 1); // at most a held first half is still missing

        const ShownText rest = shownText(eventsOf(decoder, finish));
        QVERIFY(!rest.splitCharacter);
        QCOMPARE(live.text + rest.text, text);
    }

    void resultCarriesUsageAndCost()
    {
        ClaudeStreamDecoder decoder;
        const QList<ClaudeEvent> events = eventsOf(decoder, {R"({"type":"result","subtype":"success","is_error":false,"result":"Hi",
            "total_cost_usd":0.00081,"duration_ms":58.5,"num_turns":4,"usage":{"input_tokens":100,"output_tokens":14},
            "modelUsage":{"claude-opus-4-8[1m]":{"inputTokens":100,"outputTokens":14,"costUSD":0.00081}},
            "permission_denials":[{"tool_name":"Write","tool_use_id":"t1","tool_input":{"file_path":"a"}},"junk"]})"});
        QCOMPARE(events.size(), 1);
        const ClaudeEvent &e = events.first();
        QCOMPARE(e.ending, ClaudeEvent::Ending::completed);
        const AgentResult &r = e.result;
        QCOMPARE(r.text, "Hi");
        QCOMPARE(r.cost, 0.00081);
        QCOMPARE(r.durationMs, 58.5);
        QCOMPARE(r.numTurns, 4);
        QCOMPARE(r.subtype, "success");
        QVERIFY(!r.isError);
        QVERIFY(r.usage);
        QCOMPARE(r.usage->value("output_tokens").toInt(), 14);
        const QVariantMap modelUsage = r.extra.value("modelUsage").toMap();
        QCOMPARE(modelUsage.value("claude-opus-4-8[1m]").toMap().value("costUSD").toDouble(), 0.00081);
        const QVariantList denials = r.extra.value("permissionDenials").toList();
        QCOMPARE(denials.size(), 1);
        QCOMPARE(denials.first().toMap().value("tool_name").toString(), "Write");
        QCOMPARE(r.extra.value("errors").toStringList(), QStringList());

        // The older spelling, and numbers of the wrong kind.
        const ClaudeEvent old = eventsOf(decoder, {R"({"type":"result","result":"x","model_usage":{"m":{}},"num_turns":2.5,"usage":[]})"}).first();
        QVERIFY(old.result.extra.value("modelUsage").toMap().contains("m"));
        QCOMPARE(old.result.numTurns, 0);
        QVERIFY(!old.result.usage);
        QVERIFY(!eventsOf(decoder, {success("y")}).first().result.extra.contains("modelUsage"));
    }

    void stopAskedForReadsAsStop()
    {
        // After a signal claude may write the result without its marker line.
        ClaudeStreamDecoder decoder;
        decodeAll(decoder, {messageStart(), blockStart(0), textDelta(0, "Partial")});
        decoder.noteInterruptRequested();
        decoder.resetTurn(); // a message typed right after Stop does not make the stop a failure
        QCOMPARE(decodeAll(decoder, {stoppedResult()}), QStringList{R"(result(stopped, ""))"});
        // The stop is used up: the next error of that kind is a failure again.
        QCOMPARE(decodeAll(decoder, {stoppedResult()}), QStringList{R"(result(failed, "Unknown error"))"});
    }

    void permissionRequestFields()
    {
        ClaudeStreamDecoder decoder;
        const QList<ClaudeEvent> events = eventsOf(decoder, {R"({"type":"control_request","request_id":"r7","request":{
            "subtype":"can_use_tool","tool_name":"Bash","display_name":"Bash","input":{"command":"mkdir -p build"},
            "description":"Create the build folder","decision_reason":"asks","decision_reason_type":"subcommandResults",
            "permission_suggestions":[{"type":"addRules","behavior":"allow"},"junk"],"tool_use_id":"toolu_9"}})"});
        QCOMPARE(events.size(), 1);
        AgentPermissionRequest expected;
        expected.requestId = "r7";
        expected.toolName = "Bash";
        expected.toolInput = {{"command", "mkdir -p build"}};
        expected.toolUseId = "toolu_9";
        expected.reason = "asks";
        expected.suggestions = QList<QVariantMap>{{{"type", "addRules"}, {"behavior", "allow"}}};
        expected.description = "Create the build folder";
        QCOMPARE(events.first().permission, expected);

        const ClaudeEvent bare = eventsOf(decoder, {R"({"type":"control_request","request_id":"r8","request":{"subtype":"can_use_tool"}})"}).first();
        QCOMPARE(bare.permission.toolName, QString());
        QVERIFY(bare.permission.toolInput.isEmpty());
        QVERIFY(!bare.permission.reason && !bare.permission.suggestions && !bare.permission.description);
    }

    void questionsParsed()
    {
        ClaudeStreamDecoder decoder;
        const QList<ClaudeEvent> events = eventsOf(decoder, {R"({"type":"control_request","request_id":"q1","request":{
            "subtype":"can_use_tool","tool_name":"AskUserQuestion","input":{"questions":[
              {"question":"Which colour?","header":"Colour","multiSelect":false,
               "options":[{"label":"Blue","description":"Calm"},{"label":"Red"},{"description":"no label"},"junk"]},
              {"question":"Toppings?","multiSelect":true},
              {"header":"no question"},
              {"question":"Typed badly?","header":5,"multiSelect":"yes","options":{"label":"x"}}]}}})"});
        QCOMPARE(events.size(), 1);
        const ClaudeEvent &e = events.first();
        QCOMPARE(e.kind, ClaudeEvent::Kind::question);
        QCOMPARE(e.id, "q1");
        const QList<AgentQuestion> expected{
            {"Which colour?", QString("Colour"), {{"Blue", QString("Calm")}, {"Red", std::nullopt}}, false},
            {"Toppings?", std::nullopt, {}, true},
            {"Typed badly?", std::nullopt, {}, false},
        };
        QCOMPARE(e.questions, expected);
        QVERIFY(e.input.contains("questions"));
    }

    void openRequestInputKeptUntilAnswered()
    {
        ClaudeStreamDecoder decoder;
        decodeAll(decoder, {canUseTool("r1", "Write", {{"file_path", "a.txt"}, {"content", "x"}}), canUseTool("r2", "Edit", {})});
        decoder.resetTurn();
        QCOMPARE(decoder.requestInput("r1"), (QVariantMap{{"file_path", "a.txt"}, {"content", "x"}}));
        decoder.forgetRequest("r1");
        QVERIFY(!decoder.requestInput("r1"));
        decodeAll(decoder, {R"({"type":"control_cancel_request","request_id":"r2"})"});
        QVERIFY(!decoder.requestInput("r2"));
        decodeAll(decoder, {canUseTool("r3", "Write", {}), success("done")});
        QVERIFY(!decoder.requestInput("r3"));
    }

    void turnBookkeepingEndsWithResult()
    {
        ClaudeStreamDecoder decoder;
        decodeAll(decoder, {assistantThinking(), assistantTool("t1", "Bash", {}), assistantText("Turn one."), success("Turn one.")});
        QCOMPARE(decoder.accumulatedResponse(), QString());
        // The same tool id and a thinking block in the next turn are news again.
        QCOMPARE(decodeAll(decoder, {assistantThinking(), assistantTool("t1", "Bash", {}), assistantText("Two.")}),
                 (QStringList{"thinking", "toolStarted(Bash, t1, {})", R"(text("Two."))"}));
        QCOMPARE(decoder.accumulatedResponse(), "Two.");
        decoder.resetTurn();
        QCOMPARE(decoder.accumulatedResponse(), QString());
        QVERIFY(decoder.state().startedToolUseIds.isEmpty());
    }

    void messageWrittenMidStreamDoesNotRepeatText()
    {
        ClaudeStreamDecoder decoder;
        decodeAll(decoder, {messageStart(), blockStart(0), textDelta(0, "Half a")});
        decoder.resetTurn(); // the user wrote again while the reply was streaming
        QCOMPARE(decodeAll(decoder, {textDelta(0, " reply"), assistantText("Half a reply")}), QStringList{R"(text(" reply"))"});
    }
};

void ClaudeStreamDecoderTest::decodesLines_data()
{
    QTest::addColumn<QByteArrayList>("lines");
    QTest::addColumn<QStringList>("expected");

    // Session and status
    QTest::newRow("init") << QByteArrayList{init()}
                          << QStringList{"initialized(s-1, claude-sonnet-4-6, 2 tools, 2.1.197)"};
    QTest::newRow("init without fields")
        << QByteArrayList{R"({"type":"system","subtype":"init"})"} << QStringList{"initialized(, unknown, 0 tools, )"};
    QTest::newRow("init with fields of the wrong type")
        << QByteArrayList{R"({"type":"system","subtype":"init","session_id":5,"model":[],"tools":"Bash","claude_code_version":{}})"}
        << QStringList{"initialized(, unknown, 0 tools, )"};
    QTest::newRow("init keeps only text tool names")
        << QByteArrayList{R"({"type":"system","subtype":"init","session_id":"s","tools":["Bash",3,null,"Read"]})"}
        << QStringList{"initialized(s, unknown, 2 tools, )"};
    QTest::newRow("status") << QByteArrayList{status()} << QStringList{R"(status("requesting"))"};
    QTest::newRow("status without text")
        << QByteArrayList{R"({"type":"system","subtype":"status","status":null})"} << QStringList{"status(none)"};
    QTest::newRow("other system subtypes say nothing")
        << QByteArrayList{R"({"type":"system","subtype":"api_retry","attempt":1})",
                          R"({"type":"system","subtype":"thinking_tokens","estimated_tokens":9})",
                          R"({"type":"system","subtype":"task_started"})", R"({"type":"system"})"}
        << QStringList{};

    // Live text and finished blocks
    QTest::newRow("deltas then the finished block")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Hel"), textDelta(0, "lo"), assistantText("Hello"), blockStop(0)}
        << QStringList{R"(text("Hel"))", R"(text("lo"))"};
    QTest::newRow("finished block longer than its deltas")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Hel"), assistantText("Hello world")}
        << QStringList{R"(text("Hel"))", R"(text("lo world"))"};
    QTest::newRow("finished block that disagrees with its deltas")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Hxx"), assistantText("Hello")}
        << QStringList{R"(text("Hxx"))", R"(text("lo"))"};
    QTest::newRow("two text blocks in one reply")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "First "), textDelta(0, "block of the reply."),
                          assistantText("First block of the reply."), blockStop(0), blockStart(1), textDelta(1, "Second "),
                          textDelta(1, "block of the same reply."), assistantText("Second block of the same reply."), blockStop(1)}
        << QStringList{R"(text("First "))", R"(text("block of the reply."))", R"(text("Second "))",
                       R"(text("block of the same reply."))"};
    QTest::newRow("second block shorter than the first, without deltas")
        << QByteArrayList{assistantText("A rather long first block."), assistantText("Short.")}
        << QStringList{R"(text("A rather long first block."))", R"(text("Short."))"};
    QTest::newRow("finished blocks arrive after their stop")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "One"), blockStop(0), blockStart(1), textDelta(1, "Two"),
                          blockStop(1), assistantText("One."), assistantText("Two.")}
        << QStringList{R"(text("One"))", R"(text("Two"))", R"(text("."))", R"(text("."))"};
    QTest::newRow("text after a tool use in the same reply")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Running it."), assistantText("Running it."), blockStop(0),
                          blockStart(1, "tool_use"), assistantTool("t1", "Bash", {{"command", "ls"}}), blockStop(1),
                          blockStart(2), textDelta(2, "Then this."), assistantText("Then this.")}
        << QStringList{R"(text("Running it."))", R"(toolStarted(Bash, t1, {"command":"ls"}))", R"(text("Then this."))"};
    QTest::newRow("same index in the next model message")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Before."), assistantText("Before."), messageStop(),
                          toolResult("t1", "ok"), messageStart(), blockStart(0), textDelta(0, "After."), assistantText("After.")}
        << QStringList{R"(text("Before."))", R"(toolResult(t1, "ok"))", R"(text("After."))"};
    QTest::newRow("deltas of a subagent are not live text")
        << QByteArrayList{streamEvent({{"type", "content_block_delta"}, {"index", 0},
                                       {"delta", QJsonObject{{"type", "text_delta"}, {"text", "sub"}}}}, "task_1")}
        << QStringList{};
    QTest::newRow("empty finished block") << QByteArrayList{assistantText("")} << QStringList{};

    // Thinking
    QTest::newRow("thinking then text")
        << QByteArrayList{messageStart(), blockStart(0, "thinking"), thinkingDelta(0, "Hmm"), thinkingDelta(0, " yes"),
                          assistantThinking(), blockStop(0), blockStart(1), textDelta(1, "Answer."), assistantText("Answer.")}
        << QStringList{"thinking", R"(text("Answer."))"};
    QTest::newRow("thinking announced again after a tool round")
        << QByteArrayList{assistantThinking(), assistantTool("t1", "Bash", {}), toolResult("t1", "done"), assistantThinking()}
        << QStringList{"thinking", "toolStarted(Bash, t1, {})", R"(toolResult(t1, "done"))", "thinking"};

    // Tools
    QTest::newRow("tool use announced once")
        << QByteArrayList{assistantTool("t1", "Bash", {{"command", "ls"}}), assistantTool("t1", "Bash", {{"command", "ls"}})}
        << QStringList{R"(toolStarted(Bash, t1, {"command":"ls"}))"};
    QTest::newRow("tool use without a name or id")
        << QByteArrayList{assistant({{"type", "tool_use"}, {"id", "t1"}}), assistant({{"type", "tool_use"}, {"name", "Bash"}}),
                          assistant({{"type", "tool_use"}, {"id", 7}, {"name", "Bash"}})}
        << QStringList{};
    QTest::newRow("tool use with input of the wrong type")
        << QByteArrayList{assistant({{"type", "tool_use"}, {"id", "t1"}, {"name", "Bash"}, {"input", "ls"}})}
        << QStringList{"toolStarted(Bash, t1, {})"};
    QTest::newRow("tool result as text") << QByteArrayList{toolResult("t1", "hi")} << QStringList{R"(toolResult(t1, "hi"))"};
    QTest::newRow("tool result as a list of text blocks")
        << QByteArrayList{toolResult("t1", QJsonArray{QJsonObject{{"type", "text"}, {"text", "one"}}, QJsonObject{{"type", "image"}},
                                                      QJsonObject{{"type", "text"}, {"text", "two"}}, "stray"})}
        << QStringList{R"(toolResult(t1, "one\ntwo"))"};
    QTest::newRow("tool result of the wrong type") << QByteArrayList{toolResult("t1", 42)} << QStringList{R"(toolResult(t1, ""))"};
    QTest::newRow("tool result without an id")
        << QByteArrayList{userContent({QJsonObject{{"type", "tool_result"}, {"content", "x"}, {"is_error", true}}})}
        << QStringList{R"(toolResult(Tool, "x", error))"};
    QTest::newRow("user line without tool results")
        << QByteArrayList{userContent({QJsonObject{{"type", "text"}, {"text", "Run ls"}}}),
                          R"({"type":"user","message":{"role":"user","content":"plain text"}})"}
        << QStringList{};
    QTest::newRow("tool_progress")
        << QByteArrayList{R"({"type":"tool_progress","tool_use_id":"t1","tool_name":"Bash","elapsed_seconds":12.5})"}
        << QStringList{"toolProgress(Bash, 12.5)"};

    // Subagents: a flat stream
    QTest::newRow("subagent tool calls and results")
        << QByteArrayList{assistantTool("task_1", "Task", {{"description", "Count files"}}),
                          userContent({QJsonObject{{"type", "text"}, {"text", "Run ls"}}}, "task_1"),
                          assistantTool("t2", "Bash", {{"command", "ls"}}, "task_1"), toolResult("t2", "", "task_1"),
                          toolResult("task_1", QJsonArray{QJsonObject{{"type", "text"}, {"text", "No files."}}})}
        << QStringList{R"(toolStarted(Task, task_1, {"description":"Count files"}))", R"(toolStarted(Bash, t2, {"command":"ls"}))",
                       R"(toolResult(t2, ""))", R"(toolResult(task_1, "No files."))"};
    QTest::newRow("subagent text while a top-level block streams")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "Top"), assistantText("Helper says hi.", "task_1"),
                          assistantText("Top level.")}
        << QStringList{R"(text("Top"))", R"(text("Helper says hi."))", R"(text(" level."))"};

    // How turns end
    QTest::newRow("success") << QByteArrayList{success("Done.")} << QStringList{R"(result(completed, "Done."))"};
    QTest::newRow("success without text reports the turn's text")
        << QByteArrayList{assistantText("Part one. "), assistantText("Part two."), success("")}
        << QStringList{R"(text("Part one. "))", R"(text("Part two."))", R"(result(completed, "Part one. Part two."))"};
    QTest::newRow("user stop")
        << QByteArrayList{messageStart(), blockStart(0), textDelta(0, "This reply comes"), assistantText("This reply comes"),
                          interruptMarker(), stoppedResult()}
        << QStringList{R"(text("This reply comes"))", R"(result(stopped, ""))"};
    QTest::newRow("stop while a permission request is open")
        << QByteArrayList{canUseTool("r1", "Write", {{"file_path", "a.txt"}}), R"({"type":"control_cancel_request","request_id":"r1"})",
                          toolResult("toolu_1", "The user doesn't want to proceed with this tool use."),
                          userContent({QJsonObject{{"type", "text"}, {"text", "[Request interrupted by user for tool use]"}}}),
                          stoppedResult()}
        << QStringList{R"(permission(r1, Write, {"file_path":"a.txt"}))", "cancel(r1)",
                       R"(toolResult(toolu_1, "The user doesn't want to proceed with this tool use."))", R"(result(stopped, ""))"};
    QTest::newRow("error during execution without a stop")
        << QByteArrayList{R"({"type":"result","subtype":"error_during_execution","is_error":true,"errors":["No conversation found with session ID: 6f1f"]})"}
        << QStringList{R"(result(failed, "No conversation found with session ID: 6f1f"))"};
    QTest::newRow("error with only diagnostics")
        << QByteArrayList{assistantText("Partial"), stoppedResult()}
        << QStringList{R"(text("Partial"))", R"(result(failed, "Unknown error"))"};
    QTest::newRow("error with empty text")
        << QByteArrayList{R"({"type":"result","subtype":"success","is_error":true,"result":""})"}
        << QStringList{R"(result(failed, "Unknown error"))"};
    QTest::newRow("API error shown once, as the failure")
        << QByteArrayList{syntheticApiError("API Error: 400 messages: text content blocks must be non-empty"),
                          R"({"type":"result","subtype":"success","is_error":true,"api_error_status":400,"result":"API Error: 400 messages: text content blocks must be non-empty"})"}
        << QStringList{R"(result(failed, "API Error: 400 messages: text content blocks must be non-empty"))"};
    QTest::newRow("API error without result text")
        << QByteArrayList{syntheticApiError("API Error: 500 overloaded"), R"({"type":"result","is_error":true})"}
        << QStringList{R"(result(failed, "API Error: 500 overloaded"))"};
    QTest::newRow("made-up notice that does not end in an error")
        << QByteArrayList{syntheticApiError("API Error: retried"), success("Fine.")}
        << QStringList{R"(text("API Error: retried"))", R"(result(completed, "Fine."))"};

    // Control protocol
    QTest::newRow("can_use_tool") << QByteArrayList{canUseTool("r1", "Write", {{"file_path", "a.txt"}})}
                                  << QStringList{R"(permission(r1, Write, {"file_path":"a.txt"}))"};
    QTest::newRow("AskUserQuestion")
        << QByteArrayList{canUseTool("r2", "AskUserQuestion",
                                     {{"questions", QJsonArray{QJsonObject{{"question", "Colour?"}},
                                                               QJsonObject{{"question", "Size?"}}}}})}
        << QStringList{"question(r2, 2 questions)"};
    QTest::newRow("AskUserQuestion without usable questions")
        << QByteArrayList{canUseTool("r3", "AskUserQuestion", {{"questions", QJsonArray{QJsonObject{{"header", "x"}}, 5}}})}
        << QStringList{R"(permission(r3, AskUserQuestion, {"questions":[{"header":"x"},5]}))"};
    QTest::newRow("control_request without request id")
        << QByteArrayList{R"({"type":"control_request","request":{"subtype":"can_use_tool","tool_name":"Write"}})"} << QStringList{};
    QTest::newRow("control_request with request of the wrong type")
        << QByteArrayList{R"({"type":"control_request","request_id":"r1","request":"can_use_tool"})"} << QStringList{};
    QTest::newRow("control_request of another subtype")
        << QByteArrayList{R"({"type":"control_request","request_id":"r1","request":{"subtype":"hook_callback"}})"} << QStringList{};
    QTest::newRow("control_cancel_request")
        << QByteArrayList{R"({"type":"control_cancel_request","request_id":"r9"})"} << QStringList{"cancel(r9)"};
    QTest::newRow("control_cancel_request without id")
        << QByteArrayList{R"({"type":"control_cancel_request","request_id":9})"} << QStringList{};
    QTest::newRow("answer to our own interrupt")
        << QByteArrayList{R"({"type":"control_response","response":{"subtype":"success","request_id":"corvane-interrupt-1"}})"}
        << QStringList{};

    // Nothing to say
    QTest::newRow("bookkeeping and unknown types")
        << QByteArrayList{R"({"type":"keep_alive"})", R"({"type":"rate_limit_event"})", R"({"type":"tool_use_summary"})",
                          R"({"type":"brand_new_thing","x":1})", messageStop()}
        << QStringList{};
}

QTEST_GUILESS_MAIN(ClaudeStreamDecoderTest)
#include "tst_claude_stream_decoder.moc"
