#include "presentation/markdown/StyledText.h"

namespace corvane {

void StyledText::append(const QString &piece, FontRole font, const QColor &color, const QString &link, bool underline)
{
    if (piece.isEmpty())
        return;
    if (!runs.isEmpty()) {
        StyledRun &last = runs.last();
        if (last.font == font && last.color == color && last.link == link && last.underline == underline
            && !last.bold && !last.italic) {
            last.length += int(piece.size());
            text += piece;
            return;
        }
    }
    runs.append(StyledRun{int(text.size()), int(piece.size()), font, color, underline, false, false, link});
    text += piece;
}

void StyledText::append(const StyledText &other)
{
    const int offset = int(text.size());
    text += other.text;
    for (StyledRun run : other.runs) {
        run.start += offset;
        runs.append(run);
    }
}

void StyledText::chop(int count)
{
    count = qMin(count, int(text.size()));
    text.chop(count);
    while (count > 0 && !runs.isEmpty()) {
        StyledRun &last = runs.last();
        const int take = qMin(count, last.length);
        last.length -= take;
        count -= take;
        if (last.length == 0)
            runs.removeLast();
    }
}

} // namespace corvane
