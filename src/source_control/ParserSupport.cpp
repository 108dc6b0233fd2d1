#include "source_control/ParserSupport.h"

#include <QStringDecoder>

namespace corvane::gitparse {

QList<QByteArrayView> splitOn(QByteArrayView text, char separator, bool keepEmpty)
{
    QList<QByteArrayView> pieces;
    qsizetype start = 0;
    while (start <= text.size()) {
        qsizetype end = text.indexOf(separator, start);
        if (end < 0)
            end = text.size();
        const QByteArrayView piece = text.sliced(start, end - start);
        if (keepEmpty || !piece.isEmpty())
            pieces.append(piece);
        start = end + 1;
    }
    return pieces;
}

QList<QByteArrayView> records(QByteArrayView output)
{
    return splitOn(output, output.contains('\0') ? '\0' : '\n', false);
}

QList<QByteArrayView> lines(QByteArrayView output)
{
    return splitOn(output, '\n', false);
}

QVarLengthArray<QByteArrayView, 12> splitFields(QByteArrayView line, int limit)
{
    QVarLengthArray<QByteArrayView, 12> fields;
    qsizetype start = 0;
    while (fields.size() < limit - 1) {
        const qsizetype space = line.indexOf(' ', start);
        if (space < 0)
            break;
        fields.append(line.sliced(start, space - start));
        start = space + 1;
    }
    fields.append(line.sliced(start));
    return fields;
}

QByteArrayView trimSpacesAndTabs(QByteArrayView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text[begin] == ' ' || text[begin] == '\t'))
        ++begin;
    while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t'))
        --end;
    return text.sliced(begin, end - begin);
}

QString text(QByteArrayView bytes)
{
    return QString::fromUtf8(bytes);
}

std::optional<QString> strictUtf8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString decoded = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return decoded;
}

int parseCount(QByteArrayView output)
{
    bool ok = false;
    const int count = output.trimmed().toInt(&ok);
    return ok ? count : 0;
}

bool isDsStore(QStringView path)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    return path.sliced(slash + 1) == u".DS_Store";
}

} // namespace corvane::gitparse
