// Arbitrary bytes, split into lines, through one claude stream decoder: no line may crash it, and
// whatever it says must stay consistent with what it remembers.
//
// A line that is exactly "\x01" starts a new turn and "\x02" notes an interrupt, so that the
// fuzzer also explores the calls the client makes between lines.
#include "agent/claude/ClaudeStreamDecoder.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

using namespace corvane;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ClaudeStreamDecoder decoder;
    QString shownThisTurn;
    const QList<QByteArray> lines = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)).split('\n');
    for (const QByteArray &line : lines) {
        if (line == "\x01") {
            decoder.resetTurn();
            shownThisTurn.clear();
            continue;
        }
        if (line == "\x02") {
            decoder.noteInterruptRequested();
            continue;
        }
        const ClaudeStreamDecoder::Output out = decoder.decode(line);
        if (out.isContent && !out.parsed)
            __builtin_trap();
        for (const ClaudeEvent &event : out.events) {
            if (event.kind == ClaudeEvent::Kind::text) {
                if (event.text.isEmpty())
                    __builtin_trap();
                shownThisTurn += event.text;
            } else if (event.kind == ClaudeEvent::Kind::result) {
                if (event.ending == ClaudeEvent::Ending::failed && event.error.message.isEmpty())
                    __builtin_trap();
                if (event.ending == ClaudeEvent::Ending::stopped && !event.result.text.isEmpty())
                    __builtin_trap();
                shownThisTurn.clear();
            }
        }
        // Everything shown in this turn, and nothing else, is the turn's response so far.
        if (decoder.accumulatedResponse() != shownThisTurn)
            __builtin_trap();
    }
    return 0;
}
