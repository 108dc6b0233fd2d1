#pragma once

#include "core/Result.h"
#include "presentation/markdown/StyledText.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class QJSEngine;
class QJSValue;

namespace corvane {

class HighlightTheme;

// A run of highlighted text and the classes of the spans around it, outermost first.
struct HighlightSegment
{
    QString text;
    QList<QStringList> spans;
    bool operator==(const HighlightSegment &) const = default;
};

// highlight.js 11 (its CommonJS "lib" folder) running in a QJSEngine. Qt 6.4's engine needs
// fixes to the library text at load time: no `__proto__: null` in object literals, no
// Unicode property classes (\p{L} and friends become explicit ranges), no `unshift`, whose
// array misbehaves under a later sort there, and no "\/" escapes, which its RegExp `source`
// doubles. Its unicode regular-expression mode only matches at the start of the input, so the
// grammars that needed it for those classes run without it. With that, the grammars give
// node's output.
//
// An engine belongs to the thread that made it and is slow to load (all grammars, a few
// hundred milliseconds): SyntaxHighlighter keeps one per worker thread. Language names are
// highlight.js's own, aliases included ("c++", "py", "sh").
class HighlightEngine
{
public:
    // `directory` is the package folder (holding lib/ and styles/); empty means
    // libraryDirectory().
    explicit HighlightEngine(QString directory = {});
    ~HighlightEngine();
    HighlightEngine(const HighlightEngine &) = delete;
    HighlightEngine &operator=(const HighlightEngine &) = delete;

    // The highlight.js package folder: $CORVANE_HLJS_DIR, else the one the build found, else
    // "../share/corvane/highlight.js" beside the executable. Empty when none has lib/core.js.
    static QString libraryDirectory();

    // Loads the library once; later calls return the first outcome.
    Status load();

    // highlight.js's HTML for the code, or nothing for an unknown language or a failure.
    std::optional<QString> highlightHtml(const QString &code, const QString &language);
    // The code as styled runs in the code font and the theme's colours; nothing for an unknown
    // language, an empty language name or a failure (the caller shows the code plain).
    std::optional<StyledText> highlight(const QString &code, const QString &language, const HighlightTheme &theme);

    QStringList languages();

    // Splits highlight.js's HTML into text segments with their span classes.
    static QList<HighlightSegment> parseHtml(const QString &html);
    // The library text as this engine runs it (public for tests of the substitutions).
    static QString adaptSource(const QString &source);

private:
    Result<QJSValue> evaluateModule(const QString &path);

    QString m_directory;
    std::unique_ptr<QJSEngine> m_engine;
    std::unique_ptr<QJSValue> m_hljs;
    std::unique_ptr<QJSValue> m_highlight;
    std::optional<Status> m_loaded;
};

} // namespace corvane
