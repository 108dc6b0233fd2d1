#include "presentation/markdown/MarkdownBlock.h"

#include <QHash>

namespace corvane {

QString MarkdownBlock::plainText() const
{
    switch (kind) {
    case Kind::paragraph:
    case Kind::heading:
        return text.text;
    case Kind::codeBlock:
        return rawCode;
    case Kind::table: {
        QStringList lines;
        auto line = [](const QList<StyledText> &cells) {
            QStringList texts;
            for (const StyledText &cell : cells)
                texts << cell.text;
            return texts.join(QLatin1Char('\t'));
        };
        lines << line(headers);
        for (const auto &row : rows)
            lines << line(row);
        return lines.join(QLatin1Char('\n'));
    }
    }
    return {};
}

QString MarkdownBlock::signature() const
{
    static const char letters[] = {'p', 'c', 't', 'h'};
    QString plain = plainText();
    // A highlight that arrives changes the look, not the text: it must still refresh the view.
    if (kind == Kind::codeBlock)
        plain += highlightPending ? QStringLiteral("\x01") : QStringLiteral("\x02") + language;
    if (kind == Kind::heading)
        plain += QString::number(level);
    return QLatin1Char(letters[int(kind)]) + QString::number(qHash(plain), 16);
}

} // namespace corvane
