#include "accounts/import/SessionLogText.h"

#include "accounts/import/ImportError.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStringDecoder>

namespace corvane::sessionlog {

Result<Head> readHead(const QString &path, qint64 maxBytes)
{
    QFile file(path);
    if (QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly))
        return importerror::unreadable(path);
    Head head;
    head.bytes = file.read(maxBytes);
    head.truncated = file.size() > head.bytes.size();
    return head;
}

Result<QByteArray> readAll(const QString &path)
{
    QFile file(path);
    if (QFileInfo(path).isDir() || !file.open(QIODevice::ReadOnly))
        return importerror::unreadable(path);
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return importerror::unreadable(path);
    return bytes;
}

bool isStrictUtf8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder.decode(bytes);
    return !decoder.hasError();
}

std::optional<QByteArray> completeText(const Head &head)
{
    QByteArray text = head.bytes;
    if (head.truncated) {
        const qsizetype lastBreak = text.lastIndexOf('\n');
        text.truncate(lastBreak < 0 ? 0 : lastBreak + 1);
    }
    if (!isStrictUtf8(text))
        return std::nullopt;
    return text;
}

std::optional<QJsonObject> objectOf(QByteArrayView line)
{
    // Most lines start with "{"; anything else cannot be an object and is not worth a parse.
    qsizetype first = 0;
    while (first < line.size() && (line[first] == ' ' || line[first] == '\t' || line[first] == '\r'))
        ++first;
    if (first == line.size() || line[first] != '{')
        return std::nullopt;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

bool isStrictUuid(QStringView text)
{
    static constexpr int groups[] = {8, 4, 4, 4, 12};
    if (text.size() != 36)
        return false;
    qsizetype at = 0;
    for (int g = 0; g < 5; ++g) {
        if (g > 0 && text[at++] != u'-')
            return false;
        for (int i = 0; i < groups[g]; ++i, ++at) {
            const QChar c = text[at];
            const bool hex = (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
            if (!hex)
                return false;
        }
    }
    return true;
}

QString joinedBlockText(const QJsonArray &blocks, std::initializer_list<QLatin1StringView> types)
{
    QStringList parts;
    for (const QJsonValue &value : blocks) {
        const QJsonObject block = value.toObject();
        const QString type = block.value(QLatin1StringView("type")).toString();
        bool wanted = false;
        for (QLatin1StringView t : types)
            wanted = wanted || type == t;
        const QJsonValue text = block.value(QLatin1StringView("text"));
        if (wanted && text.isString())
            parts << text.toString();
    }
    return parts.join(QLatin1Char('\n'));
}

std::optional<QDateTime> parseTimestamp(const QJsonValue &value)
{
    if (!value.isString())
        return std::nullopt;
    QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    if (!date.isValid())
        date = QDateTime::fromString(value.toString(), Qt::ISODate);
    return date.isValid() ? std::optional<QDateTime>(date) : std::nullopt;
}

std::optional<QString> nonEmptyString(const QJsonObject &object, QLatin1StringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString() || value.toString().isEmpty())
        return std::nullopt;
    return value.toString();
}

FileDates fileDates(const QString &path, const std::optional<QDateTime> &started)
{
    const QFileInfo info(path);
    FileDates dates;
    dates.modified = info.lastModified();
    if (!dates.modified.isValid())
        dates.modified = QDateTime::currentDateTime();
    if (started)
        dates.created = *started;
    else if (const QDateTime born = info.birthTime(); born.isValid())
        dates.created = born;
    else
        dates.created = dates.modified;
    return dates;
}

void stampInOrder(QList<Message> &messages, const QDateTime &now)
{
    // Kept within today, so that an import just after midnight still has one activity day.
    QDateTime first = now.addMSecs(-qint64(messages.size()) + 1);
    if (first.date() != now.date())
        first = now.date().startOfDay();
    for (qsizetype i = 0; i < messages.size(); ++i)
        messages[i].timestamp = first.addMSecs(i);
}

} // namespace corvane::sessionlog
