#include "automation/FrontMatter.h"

namespace corvane::frontmatter {

namespace {

bool isLineBreak(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QString trimmed(const QString &text, bool (*strip)(QChar))
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && strip(text.at(begin)))
        ++begin;
    while (end > begin && strip(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

QString trimBlanks(const QString &text)
{
    return trimmed(text, isBlank);
}

// Every break is a line of its own: "\r\n" gives an empty line between the two.
QStringList lines(const QString &content)
{
    QStringList out;
    qsizetype start = 0;
    for (qsizetype i = 0; i < content.size(); ++i) {
        if (isLineBreak(content.at(i))) {
            out << content.mid(start, i - start);
            start = i + 1;
        }
    }
    out << content.mid(start);
    return out;
}

} // namespace

FrontMatter parse(const QString &content)
{
    FrontMatter none;
    none.body = content;
    if (!trimmed(content, [](QChar c) { return c.isSpace(); }).startsWith(QLatin1String("---")))
        return none;
    const QStringList all = lines(content);
    if (all.size() < 2 || trimBlanks(all.first()) != QLatin1String("---"))
        return none;
    qsizetype closing = -1;
    for (qsizetype i = 1; i < all.size(); ++i) {
        if (trimBlanks(all.at(i)) == QLatin1String("---")) {
            closing = i;
            break;
        }
    }
    if (closing < 0)
        return none;

    FrontMatter result;
    std::optional<QString> key;
    QString value;
    auto store = [&] {
        if (!key)
            return;
        if (!result.fields.contains(*key))
            result.keys.append(*key);
        result.fields.insert(*key, trimBlanks(value));
    };
    for (qsizetype i = 1; i < closing; ++i) {
        const QString &line = all.at(i);
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon >= 0 && !line.isEmpty() && !isBlank(line.at(0))) {
            store();
            key = trimBlanks(line.left(colon));
            value = line.mid(colon + 1);
        } else if (key) {
            value += QLatin1Char(' ') + line;
        }
    }
    store();
    result.body = trimmed(all.mid(closing + 1).join(QLatin1Char('\n')), isLineBreak);
    return result;
}

QStringList list(const std::optional<QString> &value)
{
    if (!value)
        return {};
    QString text = trimBlanks(*value);
    if (text.startsWith(QLatin1Char('[')) && text.endsWith(QLatin1Char(']')) && text.size() >= 2)
        text = text.mid(1, text.size() - 2);
    QStringList out;
    for (const QString &piece : text.split(QLatin1Char(','))) {
        const QString item = trimBlanks(piece);
        if (!item.isEmpty())
            out << item;
    }
    return out;
}

QStringList allowedTools(const std::optional<QString> &value)
{
    if (!value)
        return {};
    QString text = trimBlanks(*value);
    if (text.startsWith(QLatin1Char('[')))
        text.remove(0, 1);
    if (text.endsWith(QLatin1Char(']')))
        text.chop(1);
    QStringList out;
    QString item;
    int depth = 0;
    auto finish = [&] {
        if (const QString done = trimBlanks(item); !done.isEmpty())
            out << done;
        item.clear();
    };
    for (const QChar c : std::as_const(text)) {
        if (c == QLatin1Char(',') && depth == 0) {
            finish();
            continue;
        }
        if (c == QLatin1Char('('))
            ++depth;
        else if (c == QLatin1Char(')'))
            depth = std::max(0, depth - 1);
        item += c;
    }
    finish();
    return out;
}

std::optional<bool> boolean(const std::optional<QString> &value)
{
    if (!value)
        return std::nullopt;
    const QString text = trimBlanks(*value).toLower();
    if (text == QLatin1String("true") || text == QLatin1String("yes") || text == QLatin1String("1"))
        return true;
    if (text == QLatin1String("false") || text == QLatin1String("no") || text == QLatin1String("0"))
        return false;
    return std::nullopt;
}

} // namespace corvane::frontmatter
