#include "core/window/ContentState.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array<const char *, 5> kindNames{"projectInfo", "chat", "workspace", "tool", "empty"};

} // namespace

QString kindName(ContentState::Kind kind)
{
    return QString::fromLatin1(kindNames[std::size_t(kind)]);
}

QString ContentState::toText() const
{
    switch (kind) {
    case Kind::empty:
        return kindName(kind);
    case Kind::tool:
        return kindName(kind) + QLatin1Char(':') + toolId;
    default:
        return kindName(kind) + QLatin1Char(':') + id.toString(QUuid::WithoutBraces);
    }
}

std::optional<ContentState> ContentState::fromText(const QString &text)
{
    const qsizetype colon = text.indexOf(QLatin1Char(':'));
    const QString head = colon < 0 ? text : text.left(colon);
    const QString rest = colon < 0 ? QString() : text.mid(colon + 1);
    for (std::size_t i = 0; i < kindNames.size(); ++i) {
        if (head != QLatin1String(kindNames[i]))
            continue;
        const auto kind = Kind(i);
        if (kind == Kind::empty)
            return colon < 0 ? std::optional(empty()) : std::nullopt;
        if (kind == Kind::tool)
            return rest.isEmpty() ? std::nullopt : std::optional(tool(rest));
        const QUuid id = QUuid::fromString(rest);
        if (id.isNull())
            return std::nullopt;
        return ContentState{kind, id, {}};
    }
    return std::nullopt;
}

} // namespace corvane
