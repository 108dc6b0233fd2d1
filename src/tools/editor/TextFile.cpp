#include "tools/editor/TextFile.h"

#include <QFile>
#include <QSaveFile>
#include <QStringDecoder>

namespace corvane::textfile {

Result<TextFile> decode(const QByteArray &bytes)
{
    if (bytes.contains('\0'))
        return Error(QStringLiteral("The file holds binary data, not text."));
    TextFile file;
    QByteArrayView body(bytes);
    if (body.startsWith("\xEF\xBB\xBF")) {
        file.byteOrderMark = true;
        body = body.sliced(3);
    }
    QStringDecoder decoder(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(body);
    if (decoder.hasError())
        return Error(QStringLiteral("The file is not UTF-8 text."));
    // The editor works in "\n"; a file written with "\r\n" throughout is written back so.
    const qsizetype crlfCount = text.count(QStringLiteral("\r\n"));
    if (crlfCount > 0 && crlfCount == text.count(QLatin1Char('\n'))) {
        file.crlf = true;
        text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    }
    file.text = std::move(text);
    return file;
}

QByteArray encode(const QString &text, const TextFile &shape)
{
    QByteArray bytes = shape.byteOrderMark ? QByteArray("\xEF\xBB\xBF") : QByteArray();
    if (shape.crlf) {
        QString spelled = text;
        spelled.replace(QLatin1Char('\n'), QStringLiteral("\r\n"));
        bytes += spelled.toUtf8();
    } else {
        bytes += text.toUtf8();
    }
    return bytes;
}

Result<TextFile> read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error(file.errorString());
    return decode(file.readAll());
}

Status write(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return Error(file.errorString());
    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return Error(reason);
    }
    if (!file.commit())
        return Error(file.errorString());
    return {};
}

} // namespace corvane::textfile
