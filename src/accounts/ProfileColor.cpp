#include "accounts/ProfileColor.h"

namespace corvane {

QList<ProfileColor> allProfileColors()
{
    QList<ProfileColor> out;
    for (std::size_t i = 0; i < store::EnumCodec<ProfileColor>::names.size(); ++i)
        out << ProfileColor(i);
    return out;
}

std::optional<ProfileColor> profileColorFromText(const QString &text)
{
    const QString wanted = text.trimmed();
    for (ProfileColor color : allProfileColors())
        if (wanted.compare(profileColorHex(color), Qt::CaseInsensitive) == 0
            || wanted.compare(toRaw(color), Qt::CaseInsensitive) == 0)
            return color;
    return std::nullopt;
}

} // namespace corvane
