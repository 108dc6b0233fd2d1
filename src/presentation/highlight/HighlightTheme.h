#pragma once

#include "core/Result.h"
#include "presentation/markdown/StyledText.h"

#include <QColor>
#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

namespace corvane {

// How a highlighted span looks.
struct HighlightStyle
{
    QColor color;
    bool bold = false;
    bool italic = false;
    bool underline = false;
    bool operator==(const HighlightStyle &) const = default;
};

// A highlight.js theme read from its CSS file: the colours of the ".hljs" block and the rules
// for the "hljs-..." classes, including the compound (".hljs-title.class_") and descendant
// (".hljs-meta .hljs-string") selectors the themes use. Styles resolve as a browser would:
// the more specific rule wins, the later of two equal ones, and a span inherits what it does
// not set from the span around it.
class HighlightTheme
{
public:
    static Result<HighlightTheme> parse(const QString &css);
    // A theme by its highlight.js name ("atom-one-dark"), loaded once from the library's
    // styles folder; null when the library or the theme is not there.
    static std::shared_ptr<const HighlightTheme> named(const QString &name);

    QColor background() const { return m_background; }
    QColor foreground() const { return m_foreground; }

    // The style of text inside nested spans, outermost first, each given by its class list
    // (["hljs-title", "class_"]). The ".hljs" block around them all is implied.
    HighlightStyle styleFor(const QList<QStringList> &spans) const;

private:
    struct Declaration
    {
        std::optional<QColor> color;
        std::optional<bool> bold, italic, underline;
    };
    struct Rule
    {
        QList<QStringList> compounds; // descendant chain, outermost first
        int specificity = 0;
        Declaration declaration;
    };
    static bool matches(const Rule &rule, const QList<QStringList> &chain);

    QList<Rule> m_rules;
    QColor m_background;
    QColor m_foreground;
};

} // namespace corvane
