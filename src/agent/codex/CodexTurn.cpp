#include "agent/codex/CodexTurn.h"

#include "core/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QUuid>

namespace corvane::codexturn {

namespace {

const char *const Tag = "CodexSDK";

// Printed by codex on every run (the second whenever its home is under /tmp), also when nothing
// is wrong: never the reason for a failure.
bool isRoutineNotice(const QString &line)
{
    const QString trimmed = line.trimmed();
    return trimmed == QLatin1String("Reading additional input from stdin...")
        || trimmed.startsWith(QLatin1String("WARNING: proceeding, even though we could not create PATH aliases"));
}

std::optional<QString> readUtf8(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(file.readAll());
    if (utf8.hasError())
        return std::nullopt;
    return text;
}

QString imageSuffix(const Attachment &attachment)
{
    const QString type = attachment.mediaType.toLower();
    if (type.endsWith(QLatin1String("jpeg")) || type.endsWith(QLatin1String("jpg")))
        return QStringLiteral(".jpg");
    if (type.endsWith(QLatin1String("gif")))
        return QStringLiteral(".gif");
    if (type.endsWith(QLatin1String("webp")))
        return QStringLiteral(".webp");
    return QStringLiteral(".png");
}

} // namespace

bool needsScratch(const QList<Attachment> &attachments)
{
    for (const Attachment &a : attachments)
        if (a.type == AttachmentType::image && !(a.fileURL && a.fileURL->isLocalFile()) && !a.data.isEmpty())
            return true;
    return false;
}

Input build(const QString &text, const QList<Attachment> &attachments, const QString &scratch)
{
    Input input;
    QStringList parts;
    if (!text.isEmpty())
        parts << text;
    for (const Attachment &a : attachments) {
        switch (a.type) {
        case AttachmentType::tempFile:
            if (a.fileURL) {
                if (const auto contents = readUtf8(a.fileURL->toLocalFile()))
                    parts << QStringLiteral("\n--- attachment: ") + a.fileName + QStringLiteral(" ---\n") + *contents;
                else
                    logLine(Tag, QStringLiteral("Skipped unreadable attachment: ") + a.fileName);
            }
            break;
        case AttachmentType::image:
            if (a.fileURL && a.fileURL->isLocalFile() && QFileInfo::exists(a.fileURL->toLocalFile())) {
                input.imagePaths << a.fileURL->toLocalFile();
            } else if (!a.data.isEmpty() && !scratch.isEmpty()) {
                // A pasted image lives only in memory; codex reads images from files.
                const QString path = scratch + QLatin1Char('/') + a.id.toString(QUuid::WithoutBraces) + imageSuffix(a);
                QFile file(path);
                if (file.open(QIODevice::WriteOnly) && file.write(a.data) == a.data.size())
                    input.imagePaths << path;
                else
                    logLine(Tag, QStringLiteral("Could not keep image %1 for codex: %2").arg(a.fileName, file.errorString()));
            } else {
                logLine(Tag, QStringLiteral("Dropped image without a file: ") + a.fileName);
            }
            break;
        case AttachmentType::pdf:
            logLine(Tag, QStringLiteral("codex takes no PDF; not sent: ") + a.fileName);
            break;
        }
    }
    input.prompt = parts.join(QLatin1Char('\n'));
    if (input.prompt.isEmpty())
        input.prompt = QStringLiteral(" ");
    return input;
}

QStringList arguments(PermissionMode mode, const QString &model, const QString &sessionId,
                                       const QString &workingDirectory, const Input &input)
{
    const bool resuming = !sessionId.isEmpty();
    QStringList args{QStringLiteral("exec")};
    if (resuming)
        args << QStringLiteral("resume") << sessionId;
    args << QStringLiteral("--json") << QStringLiteral("--skip-git-repo-check");
    if (!model.isEmpty())
        args << QStringLiteral("-m") << model;
    if (mode == PermissionMode::acceptAll)
        args << QStringLiteral("--dangerously-bypass-approvals-and-sandbox");
    else if (resuming) // resume takes no -s
        args << QStringLiteral("-c") << QStringLiteral("sandbox_mode=\"workspace-write\"");
    else
        args << QStringLiteral("-s") << QStringLiteral("workspace-write");
    if (!resuming) // a resumed thread keeps its own folder
        args << QStringLiteral("-C") << workingDirectory;
    for (const QString &path : input.imagePaths)
        args << QStringLiteral("-i") << path;
    // -i takes any number of values: without the separator the prompt would be read as one more image.
    args << QStringLiteral("--") << input.prompt;
    return args;
}

QString failureText(const QString &stderrTail)
{
    QStringList lines = stderrTail.split(QLatin1Char('\n'));
    lines.removeIf(isRoutineNotice);
    return lines.join(QLatin1Char('\n')).trimmed();
}

} // namespace corvane::codexturn
