#include "agent/session/SessionText.h"

#include <QRegularExpression>

#include <QStringList>

namespace corvane::sessiontext {

QString toolSummary(const QString &toolName, const QVariantMap &input)
{
    for (const char *key : {"command", "file_path", "pattern"}) {
        const QVariant value = input.value(QLatin1String(key));
        if (value.typeId() == QMetaType::QString)
            return toolName + QStringLiteral(": ") + value.toString();
    }
    return toolName;
}

QString simpleTitle(const QString &message)
{
    static const QRegularExpression blanks(QStringLiteral("[ \t]+"));
    const QStringList words = message.trimmed().split(blanks, Qt::SkipEmptyParts);
    QString title = words.mid(0, 4).join(QLatin1Char(' '));
    if (words.size() >= 5)
        title += QStringLiteral("...");
    if (title.size() >= 51)
        title = leftCharacters(title, 47) + QStringLiteral("...");
    return title.isEmpty() ? QStringLiteral("New Chat") : title;
}

bool hasPlaceholderName(const QString &chatName)
{
    return chatName == QLatin1String("New Chat") || chatName.startsWith(QLatin1String("Chat "));
}

QString leftCharacters(const QString &text, int count)
{
    int units = 0;
    for (int chars = 0; chars < count && units < text.size(); ++chars)
        units += (text.at(units).isHighSurrogate() && units + 1 < text.size()) ? 2 : 1;
    return text.left(units);
}

QString rightCharacters(const QString &text, int count)
{
    int start = int(text.size());
    for (int chars = 0; chars < count && start > 0; ++chars)
        start -= (start >= 2 && text.at(start - 1).isLowSurrogate() && text.at(start - 2).isHighSurrogate()) ? 2 : 1;
    return text.mid(start);
}

QString outputPreview(const QString &output)
{
    const QString head = leftCharacters(output, 200);
    return head.size() == output.size() ? output : head + QStringLiteral("...");
}

bool isAuthenticationFailure(const QString &description)
{
    static const QStringList needles{
        "not logged in", "login required", "authentication", "unauthorized", "auth token", "expired token",
        "invalid token", "api key", "please login", "log in", "unauthenticated", "401", "credential",
        "access denied", "invalid api key", "anthropic_api_key", "could not find api key"};
    const QString lower = description.toLower();
    for (const QString &needle : needles)
        if (lower.contains(needle))
            return true;
    return false;
}

namespace {

std::optional<QString> transcriptOf(const QList<TranscriptMessage> &messagesByTime)
{
    constexpr int kMessages = 20;
    constexpr int kCharacters = 50000;
    QList<TranscriptMessage> kept;
    for (const TranscriptMessage &m : messagesByTime)
        if (m.contentType == MessageContentType::text && (m.role == MessageRole::user || m.role == MessageRole::assistant))
            kept.append(m);
    if (kept.size() > kMessages)
        kept = kept.mid(kept.size() - kMessages);
    QStringList parts;
    for (const TranscriptMessage &m : std::as_const(kept)) {
        const QString text = m.content.trimmed();
        if (!text.isEmpty())
            parts << (m.role == MessageRole::user ? QStringLiteral("User: ") : QStringLiteral("Assistant: ")) + text;
    }
    if (parts.isEmpty())
        return std::nullopt;
    QString transcript = parts.join(QStringLiteral("\n\n"));
    if (transcript.size() > kCharacters)
        transcript = QStringLiteral("…(earlier turns truncated)…\n\n") + rightCharacters(transcript, kCharacters);
    return transcript;
}

} // namespace

std::optional<QString> resumeReplayPrompt(QList<TranscriptMessage> messagesByTime)
{
    while (!messagesByTime.isEmpty() && messagesByTime.last().role != MessageRole::user)
        messagesByTime.removeLast();
    if (!messagesByTime.isEmpty())
        messagesByTime.removeLast(); // the message being sent now
    const auto transcript = transcriptOf(messagesByTime);
    if (!transcript)
        return std::nullopt;
    return QStringLiteral("[Context from the previous session]\n\nThe previous session of this conversation could not be "
                          "resumed, so the recent transcript below is being replayed as context. Tool state and prior "
                          "file edits were not carried over — only text messages.\n\nRead the transcript and continue "
                          "from where the conversation left off; do not summarize or restate it.\n\n"
                          "--- Previous transcript ---\n")
        + *transcript + QStringLiteral("\n--- End transcript ---");
}

std::optional<QString> migrationSeedPrompt(const QList<TranscriptMessage> &messagesByTime,
                                           const std::optional<QString> &previousProfileName,
                                           const QString &newProfileName)
{
    const auto transcript = transcriptOf(messagesByTime);
    if (!transcript)
        return std::nullopt;
    return QStringLiteral("[Migrated context from previous Claude profile]\n\nThis conversation was previously running "
                          "under profile \"")
        + previousProfileName.value_or(QStringLiteral("(previous profile)"))
        + QStringLiteral("\" and has been moved to profile \"") + newProfileName
        + QStringLiteral("\". The previous session is not available in this profile, so the recent transcript below is "
                         "being replayed as context. Tool state, attachments, and prior file edits from the old session "
                         "were not carried over — only text messages.\n\nPlease read the transcript and silently continue "
                         "from where the conversation left off. Do not summarize or restate the transcript. Wait for the "
                         "user's next message before taking any action.\n\n--- Previous transcript ---\n")
        + *transcript + QStringLiteral("\n--- End transcript ---");
}

} // namespace corvane::sessiontext
