#include "presentation/highlight/HighlightTheme.h"

#include "presentation/highlight/HighlightEngine.h"

#include <QFile>
#include <QHash>
#include <QMutex>
#include <QRegularExpression>

namespace corvane {

namespace {

std::optional<QColor> parseColor(const QString &value)
{
    const QColor color = QColor::fromString(value.trimmed());
    return color.isValid() ? std::optional<QColor>(color) : std::nullopt;
}

} // namespace

Result<HighlightTheme> HighlightTheme::parse(const QString &css)
{
    static const QRegularExpression comments(QStringLiteral("/\\*.*?\\*/"),
                                             QRegularExpression::DotMatchesEverythingOption);
    QString text = css;
    text.remove(comments);
    HighlightTheme theme;
    qsizetype at = 0;
    bool sawHljs = false;
    while (true) {
        const qsizetype open = text.indexOf(QLatin1Char('{'), at);
        if (open < 0)
            break;
        const qsizetype close = text.indexOf(QLatin1Char('}'), open);
        if (close < 0)
            return Error(QStringLiteral("The theme has an unclosed rule at character %1.").arg(open));
        const QString selectors = text.mid(at, open - at);
        const QString body = text.mid(open + 1, close - open - 1);
        at = close + 1;

        Declaration declaration;
        std::optional<QColor> background;
        for (const QString &item : body.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
            const qsizetype colon = item.indexOf(QLatin1Char(':'));
            if (colon < 0)
                continue;
            const QString property = item.left(colon).trimmed().toLower();
            const QString value = item.mid(colon + 1).trimmed().toLower();
            if (property == QLatin1String("color"))
                declaration.color = parseColor(value);
            else if (property == QLatin1String("background") || property == QLatin1String("background-color"))
                background = parseColor(value);
            else if (property == QLatin1String("font-style"))
                declaration.italic = value == QLatin1String("italic");
            else if (property == QLatin1String("font-weight"))
                declaration.bold = value == QLatin1String("bold") || value == QLatin1String("bolder") || value.toInt() >= 600;
            else if (property == QLatin1String("text-decoration"))
                declaration.underline = value.contains(QLatin1String("underline"));
        }

        for (const QString &selector : selectors.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            const QStringList parts = selector.simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (parts.isEmpty())
                continue;
            // Only class selectors matter; "pre code.hljs" and the like style the block, not spans.
            if (parts.last() == QLatin1String(".hljs") && parts.size() == 1) {
                sawHljs = true;
                if (declaration.color)
                    theme.m_foreground = *declaration.color;
                if (background)
                    theme.m_background = *background;
                continue;
            }
            Rule rule;
            bool usable = true;
            for (const QString &part : parts) {
                if (!part.startsWith(QLatin1Char('.'))) {
                    usable = false;
                    break;
                }
                const QStringList classes = part.mid(1).split(QLatin1Char('.'), Qt::SkipEmptyParts);
                rule.specificity += int(classes.size());
                rule.compounds.append(classes);
            }
            if (!usable)
                continue;
            rule.declaration = declaration;
            theme.m_rules.append(rule);
        }
    }
    if (!sawHljs)
        return Error(QStringLiteral("The theme has no \".hljs\" rule."));
    return theme;
}

std::shared_ptr<const HighlightTheme> HighlightTheme::named(const QString &name)
{
    static QMutex mutex;
    static QHash<QString, std::shared_ptr<const HighlightTheme>> themes; // misses are kept as null too
    QMutexLocker lock(&mutex);
    if (auto it = themes.constFind(name); it != themes.cend())
        return *it;
    std::shared_ptr<const HighlightTheme> loaded;
    const QString folder = HighlightEngine::libraryDirectory();
    QFile file(folder + QStringLiteral("/styles/") + name + QStringLiteral(".css"));
    if (!folder.isEmpty() && file.open(QIODevice::ReadOnly)) {
        if (auto parsed = parse(QString::fromUtf8(file.readAll())))
            loaded = std::make_shared<const HighlightTheme>(std::move(parsed.value()));
    }
    themes.insert(name, loaded);
    return loaded;
}

bool HighlightTheme::matches(const Rule &rule, const QList<QStringList> &chain)
{
    auto compoundMatches = [](const QStringList &compound, const QStringList &classes) {
        for (const QString &c : compound) {
            if (!classes.contains(c))
                return false;
        }
        return true;
    };
    // The last compound must match the innermost span; the ones before it, some ancestors in order.
    if (chain.isEmpty() || !compoundMatches(rule.compounds.last(), chain.last()))
        return false;
    qsizetype want = rule.compounds.size() - 2;
    for (qsizetype i = chain.size() - 2; i >= -1 && want >= 0; --i) {
        static const QStringList root{QStringLiteral("hljs")};
        if (compoundMatches(rule.compounds[want], i >= 0 ? chain[i] : root))
            --want;
    }
    return want < 0;
}

HighlightStyle HighlightTheme::styleFor(const QList<QStringList> &spans) const
{
    HighlightStyle style{m_foreground};
    for (qsizetype depth = 1; depth <= spans.size(); ++depth) {
        const QList<QStringList> chain = spans.mid(0, depth);
        // Equal specificity: the later rule wins, so walk in order and let ties overwrite.
        int bestColor = -1, bestBold = -1, bestItalic = -1, bestUnderline = -1;
        for (const Rule &rule : m_rules) {
            if (!matches(rule, chain))
                continue;
            const Declaration &d = rule.declaration;
            if (d.color && rule.specificity >= bestColor) {
                style.color = *d.color;
                bestColor = rule.specificity;
            }
            if (d.bold && rule.specificity >= bestBold) {
                style.bold = *d.bold;
                bestBold = rule.specificity;
            }
            if (d.italic && rule.specificity >= bestItalic) {
                style.italic = *d.italic;
                bestItalic = rule.specificity;
            }
            if (d.underline && rule.specificity >= bestUnderline) {
                style.underline = *d.underline;
                bestUnderline = rule.specificity;
            }
        }
    }
    return style;
}

} // namespace corvane
