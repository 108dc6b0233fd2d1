#include "source_control/BranchNameRules.h"

#include "source_control/ParserSupport.h"

namespace corvane {

namespace {

QString quoted(const char *text)
{
    return u'"' + QString::fromLatin1(text) + u'"';
}

std::optional<QString> characterProblem(unsigned char c)
{
    if (c < 0x20 || c == 0x7f)
        return QStringLiteral("it contains a control character");
    switch (c) {
    case ' ': return QStringLiteral("it contains a space");
    case '~': case '^': case ':': case '?': case '*': case '[': case '\\':
        return QStringLiteral("it contains \"%1\"").arg(QChar(c));
    default: return std::nullopt;
    }
}

} // namespace

std::optional<QString> branchNameProblem(const QString &name)
{
    if (name.isEmpty())
        return QStringLiteral("it is empty");
    if (name.startsWith(u'-'))
        return QStringLiteral("it begins with \"-\"");
    if (name == u"HEAD")
        return QStringLiteral("\"HEAD\" is reserved");
    // git judges the bytes of the name under "refs/heads/".
    const QByteArray bytes = name.toUtf8();
    for (const char c : bytes) {
        if (auto problem = characterProblem(static_cast<unsigned char>(c)))
            return problem;
    }
    if (bytes.contains(".."))
        return QStringLiteral("it contains %1").arg(quoted(".."));
    if (bytes.contains("@{"))
        return QStringLiteral("it contains %1").arg(quoted("@{"));
    if (bytes.endsWith('.'))
        return QStringLiteral("it ends with %1").arg(quoted("."));
    for (QByteArrayView part : gitparse::splitOn(bytes, '/', true)) {
        if (part.isEmpty())
            return QStringLiteral("it has an empty part between slashes, or begins or ends with \"/\"");
        if (part.startsWith('.'))
            return QStringLiteral("a part begins with %1").arg(quoted("."));
        if (part.endsWith(".lock"))
            return QStringLiteral("a part ends with %1").arg(quoted(".lock"));
    }
    return std::nullopt;
}

GitResult<void> validateBranchName(const QString &name)
{
    if (const std::optional<QString> problem = branchNameProblem(name))
        return GitError::commandFailed(1, QStringLiteral("'%1' is not a valid branch name: %2").arg(name, *problem));
    return {};
}

} // namespace corvane
