#pragma once

#include <QColor>
#include <QList>
#include <QString>

namespace corvane {

// Which font of a FontRamp a run is drawn in. The ramp turns a role into a QFont at one size.
enum class FontRole { body, bold, italic, code, h1, h2, h3, h4, h5, h6 };

// One styled range of a StyledText: [start, start + length) in UTF-16 units of `text`.
// `bold` and `italic` add emphasis on top of the role's own font (highlighted code uses them);
// `link` is non-empty for a clickable span and is then the target to open.
struct StyledRun
{
    int start = 0;
    int length = 0;
    FontRole font = FontRole::body;
    QColor color;
    bool underline = false;
    bool bold = false;
    bool italic = false;
    QString link;

    bool operator==(const StyledRun &) const = default;
};

// Text with styled runs that cover it completely and in order, without gaps. The plain text
// is what selection and copying see; a view lays it out with one QTextLayout, or turns it into
// a QTextDocument (see MarkdownDocument).
struct StyledText
{
    QString text;
    QList<StyledRun> runs;

    bool isEmpty() const { return text.isEmpty(); }

    // Appends `piece` as one run; neighbouring runs of the same style merge.
    void append(const QString &piece, FontRole font, const QColor &color, const QString &link = {},
                bool underline = false);
    void append(const StyledText &other);
    // Removes the last character (a trailing line end of a paragraph), shrinking or dropping
    // the run that held it.
    void chop(int count);

    bool operator==(const StyledText &) const = default;
};

} // namespace corvane
