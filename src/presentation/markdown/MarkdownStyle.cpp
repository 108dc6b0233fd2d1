#include "presentation/markdown/MarkdownStyle.h"

#include <QHash>
#include <QMutex>

namespace corvane {

namespace {

QFont makeFont(double size, QFont::Weight weight, bool italic = false, bool monospaced = false)
{
    QFont font;
    if (monospaced) {
        font.setFamily(QStringLiteral("monospace"));
        font.setStyleHint(QFont::Monospace);
        font.setFixedPitch(true);
    }
    // Pixel sizes keep a ramp the same on every screen density the toolkit scales for us.
    font.setPixelSize(qMax(1, qRound(size)));
    font.setWeight(weight);
    font.setItalic(italic);
    return font;
}

} // namespace

const QFont &FontRamp::font(FontRole role) const
{
    switch (role) {
    case FontRole::body: return body;
    case FontRole::bold: return bold;
    case FontRole::italic: return italic;
    case FontRole::code: return code;
    case FontRole::h1: return h1;
    case FontRole::h2: return h2;
    case FontRole::h3: return h3;
    case FontRole::h4: return h4;
    case FontRole::h5: return h5;
    case FontRole::h6: return h6;
    }
    return body;
}

QFont FontRamp::font(const StyledRun &run) const
{
    QFont result = font(run.font);
    if (run.bold)
        result.setWeight(QFont::Bold);
    if (run.italic)
        result.setItalic(true);
    return result;
}

std::shared_ptr<const FontRamp> FontRamp::forSize(double size)
{
    static QMutex mutex;
    static QHash<double, std::shared_ptr<const FontRamp>> ramps; // a handful of sizes; never trimmed
    QMutexLocker lock(&mutex);
    if (auto found = ramps.value(size))
        return found;
    auto ramp = std::make_shared<FontRamp>();
    const double s = size;
    ramp->size = s;
    ramp->body = makeFont(s, QFont::Normal);
    ramp->bold = makeFont(s, QFont::DemiBold);
    ramp->italic = makeFont(s, QFont::Normal, true);
    ramp->code = makeFont(s - 1, QFont::Normal, false, true);
    ramp->h1 = makeFont(s + 8, QFont::Bold);
    ramp->h2 = makeFont(s + 5, QFont::Bold);
    ramp->h3 = makeFont(s + 3, QFont::DemiBold);
    ramp->h4 = makeFont(s + 1, QFont::DemiBold);
    ramp->h5 = makeFont(s, QFont::DemiBold);
    ramp->h6 = makeFont(s, QFont::DemiBold);
    ramps.insert(size, ramp);
    return ramp;
}

MarkdownPalette MarkdownPalette::light()
{
    QColor background(0xd1, 0xd1, 0xd6);
    background.setAlphaF(0.3f);
    return {QColor(0x1d, 0x1d, 0x1f), QColor(0x6e, 0x6e, 0x73), QColor(0xc4, 0x1a, 0x58), background,
            QColor(0x0a, 0x64, 0xd6)};
}

MarkdownPalette MarkdownPalette::dark()
{
    QColor background(0x48, 0x48, 0x4a);
    background.setAlphaF(0.3f);
    return {QColor(0xe8, 0xe8, 0xea), QColor(0x98, 0x98, 0x9d), QColor(0xff, 0x7a, 0x90), background,
            QColor(0x5a, 0xa9, 0xff)};
}

} // namespace corvane
