#include "presentation/highlight/HighlightEngine.h"

#include "presentation/highlight/HighlightTheme.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJSEngine>
#include <QJSValue>
#include <QLoggingCategory>
#include <QMutex>
#include <QRegularExpression>

#include <mutex>

namespace corvane {

namespace {

Result<QString> readText(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Error(QStringLiteral("Cannot read %1: %2").arg(path, file.errorString()));
    return QString::fromUtf8(file.readAll());
}

bool inUnicodeClass(const QString &name, char32_t cp)
{
    const QChar::Category c = QChar::category(cp);
    const bool letter = c == QChar::Letter_Uppercase || c == QChar::Letter_Lowercase || c == QChar::Letter_Titlecase
        || c == QChar::Letter_Modifier || c == QChar::Letter_Other;
    if (name == QLatin1String("L"))
        return letter;
    if (name == QLatin1String("P"))
        return c >= QChar::Punctuation_Connector && c <= QChar::Punctuation_Other;
    if (name == QLatin1String("S"))
        return c >= QChar::Symbol_Math && c <= QChar::Symbol_Other;
    const bool start = letter || c == QChar::Number_Letter;
    if (name == QLatin1String("XID_Start"))
        return start;
    if (name == QLatin1String("XID_Continue"))
        return start || c == QChar::Mark_NonSpacing || c == QChar::Mark_SpacingCombining
            || c == QChar::Number_DecimalDigit || c == QChar::Punctuation_Connector;
    return false;
}

// The members of a Unicode property class as character-class ranges in \uXXXX form, with the
// backslashes doubled when the class stands inside a string literal. Basic plane only: the
// grammars use these for identifiers, and astral identifiers in code are vanishingly rare.
QString classRanges(const QString &name, bool doubled)
{
    static QMutex mutex;
    static QHash<QString, QString> memo;
    QMutexLocker lock(&mutex);
    const QString key = name + (doubled ? QStringLiteral("/2") : QStringLiteral("/1"));
    if (auto it = memo.constFind(key); it != memo.cend())
        return *it;
    const QString slash = doubled ? QStringLiteral("\\\\") : QStringLiteral("\\");
    auto hex = [&](char32_t cp) { return slash + QStringLiteral("u%1").arg(uint(cp), 4, 16, QLatin1Char('0')); };
    QString out;
    char32_t cp = 0;
    while (cp <= 0xFFFF) {
        if ((cp >= 0xD800 && cp <= 0xDFFF) || !inUnicodeClass(name, cp)) {
            ++cp;
            continue;
        }
        const char32_t first = cp;
        while (cp + 1 <= 0xFFFF && !(cp + 1 >= 0xD800 && cp + 1 <= 0xDFFF) && inUnicodeClass(name, cp + 1))
            ++cp;
        out += hex(first);
        if (cp != first)
            out += QLatin1Char('-') + hex(cp);
        ++cp;
    }
    memo.insert(key, out);
    return out;
}

bool insideCharacterClass(const QString &source, qsizetype at)
{
    const qsizetype lineStart = source.lastIndexOf(QLatin1Char('\n'), at) + 1;
    bool inside = false;
    for (qsizetype i = lineStart; i < at; ++i) {
        const QChar c = source.at(i);
        if (c == QLatin1Char('\\')) {
            ++i;
            continue;
        }
        if (c == QLatin1Char('['))
            inside = true;
        else if (c == QLatin1Char(']'))
            inside = false;
    }
    return inside;
}

// The engine's compiler warns about every hoisted variable of the library (hundreds of lines
// per load). Only that category is silenced; every other category keeps the filter it had.
QLoggingCategory::CategoryFilter previousFilter = nullptr;

void silenceCompiler(QLoggingCategory *category)
{
    if (qstrcmp(category->categoryName(), "qt.qml.compiler") == 0) {
        category->setEnabled(QtDebugMsg, false);
        category->setEnabled(QtInfoMsg, false);
        category->setEnabled(QtWarningMsg, false);
        return;
    }
    if (previousFilter)
        previousFilter(category);
}

void installCompilerSilence()
{
    static std::once_flag once;
    std::call_once(once, [] { previousFilter = QLoggingCategory::installFilter(silenceCompiler); });
}

} // namespace

HighlightEngine::HighlightEngine(QString directory) : m_directory(std::move(directory)) {}

HighlightEngine::~HighlightEngine()
{
    // The values belong to the engine: release them first.
    m_highlight.reset();
    m_hljs.reset();
}

QString HighlightEngine::libraryDirectory()
{
    QStringList candidates;
    candidates << qEnvironmentVariable("CORVANE_HLJS_DIR");
#ifdef CORVANE_HLJS_DEFAULT_DIR
    candidates << QStringLiteral(CORVANE_HLJS_DEFAULT_DIR);
#endif
    if (QCoreApplication::instance())
        candidates << QCoreApplication::applicationDirPath() + QStringLiteral("/../share/corvane/highlight.js");
    for (const QString &candidate : std::as_const(candidates)) {
        if (!candidate.isEmpty() && QFileInfo::exists(candidate + QStringLiteral("/lib/core.js")))
            return QDir::cleanPath(candidate);
    }
    return {};
}

namespace {

// Qt 6.4 escapes the slash of "\/" once more when it gives a regular expression's `source`
// ("\\/"), and highlight.js builds its matchers from sources: "\x2F" means the same slash
// in a regular expression, a string and a template, and survives. Escape pairs are copied whole,
// so "\\/" (a backslash, then a slash) stays as it is.
QString escapeSlashes(const QString &text)
{
    QString out;
    out.reserve(text.size() + text.size() / 64);
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\\') && i + 1 < n) {
            if (text.at(i + 1) == QLatin1Char('/'))
                out += QLatin1String("\\x2F");
            else
                out += QStringView(text).mid(i, 2);
            ++i;
            continue;
        }
        out += c;
    }
    return out;
}

} // namespace

QString HighlightEngine::adaptSource(const QString &source)
{
    static const QRegularExpression protoNull(QStringLiteral("__proto__:\\s*null,"));
    static const QRegularExpression unshift(QStringLiteral("([\\w$.]+)\\.unshift\\(([^;]*)\\);"));
    static const QRegularExpression property(QStringLiteral("(\\\\\\\\|\\\\)p\\{(\\w+)\\}"));
    QString text = escapeSlashes(source);
    text.remove(protoNull);
    text.replace(unshift, QStringLiteral("\\1.splice(0, 0, \\2);"));
    QString out;
    qsizetype last = 0;
    auto it = property.globalMatch(text);
    while (it.hasNext()) {
        const auto match = it.next();
        const bool doubled = match.capturedLength(1) == 2;
        const QString ranges = classRanges(match.captured(2), doubled);
        out += QStringView(text).mid(last, match.capturedStart(0) - last);
        out += insideCharacterClass(text, match.capturedStart(0)) ? ranges
                                                                   : QLatin1Char('[') + ranges + QLatin1Char(']');
        last = match.capturedEnd(0);
    }
    out += QStringView(text).mid(last);
    // Qt 6.4's engine finds a match of a regular expression in unicode mode only at the very
    // start of the input. The grammars ask for that mode just for their \p classes, which
    // are plain ranges now, so they can go without it.
    if (last > 0)
        out.replace(QLatin1String("unicodeRegex: true"), QLatin1String("unicodeRegex: false"));
    return out;
}

Result<QJSValue> HighlightEngine::evaluateModule(const QString &path)
{
    auto source = readText(path);
    if (!source)
        return source.error();
    const QString wrapped = QStringLiteral("(function (module, exports) {") + adaptSource(*source)
        + QStringLiteral("\n})");
    QJSValue factory = m_engine->evaluate(wrapped, path);
    if (factory.isError())
        return Error(QStringLiteral("%1: %2").arg(path, factory.toString()));
    QJSValue module = m_engine->newObject();
    QJSValue exports = m_engine->newObject();
    module.setProperty(QStringLiteral("exports"), exports);
    const QJSValue result = factory.call({module, exports});
    if (result.isError())
        return Error(QStringLiteral("%1: %2").arg(path, result.toString()));
    return module.property(QStringLiteral("exports"));
}

Status HighlightEngine::load()
{
    if (m_loaded)
        return *m_loaded;
    auto fail = [this](const QString &message) {
        m_loaded = Status(Error(QStringLiteral("highlight.js could not be loaded: ") + message));
        return *m_loaded;
    };
    if (m_directory.isEmpty())
        m_directory = libraryDirectory();
    if (m_directory.isEmpty())
        return fail(QStringLiteral("no highlight.js folder found (set CORVANE_HLJS_DIR)"));
    auto index = readText(m_directory + QStringLiteral("/lib/index.js"));
    if (!index)
        return fail(index.error().message);

    installCompilerSilence();
    m_engine = std::make_unique<QJSEngine>();
    m_engine->evaluate(QStringLiteral(
        "var console = { log: function () {}, warn: function () {}, error: function () {}, info: function () {} };"));
    auto core = evaluateModule(m_directory + QStringLiteral("/lib/core.js"));
    if (!core)
        return fail(core.error().message);
    m_hljs = std::make_unique<QJSValue>(*core);
    QJSValue registerLanguage = m_hljs->property(QStringLiteral("registerLanguage"));

    static const QRegularExpression entry(
        QStringLiteral("registerLanguage\\('([^']+)',\\s*require\\('\\./languages/([^']+)'\\)\\)"));
    auto it = entry.globalMatch(*index);
    while (it.hasNext()) {
        const auto match = it.next();
        auto grammar = evaluateModule(m_directory + QStringLiteral("/lib/languages/") + match.captured(2)
                                      + QStringLiteral(".js"));
        if (!grammar)
            return fail(grammar.error().message);
        const QJSValue done = registerLanguage.callWithInstance(*m_hljs, {match.captured(1), *grammar});
        if (done.isError())
            return fail(match.captured(1) + QStringLiteral(": ") + done.toString());
    }
    QJSValue highlight = m_engine->evaluate(QStringLiteral(
        "(function (hljs) { return function (code, language) {"
        "  if (!language || !hljs.getLanguage(language)) return null;"
        "  return hljs.highlight(code, { language: language, ignoreIllegals: true }).value; }; })"));
    m_highlight = std::make_unique<QJSValue>(highlight.call({*m_hljs}));
    m_loaded = Status();
    return *m_loaded;
}

std::optional<QString> HighlightEngine::highlightHtml(const QString &code, const QString &language)
{
    if (language.isEmpty() || !load())
        return std::nullopt;
    const QJSValue result = m_highlight->call({code, language});
    if (result.isError() || !result.isString())
        return std::nullopt;
    return result.toString();
}

std::optional<StyledText> HighlightEngine::highlight(const QString &code, const QString &language,
                                                     const HighlightTheme &theme)
{
    const auto html = highlightHtml(code, language);
    if (!html)
        return std::nullopt;
    StyledText out;
    QHash<QString, HighlightStyle> styles; // a block repeats few span nestings
    for (const HighlightSegment &segment : parseHtml(*html)) {
        QString key;
        for (const QStringList &span : segment.spans)
            key += span.join(QLatin1Char(' ')) + QLatin1Char('/');
        auto found = styles.constFind(key);
        if (found == styles.cend())
            found = styles.insert(key, theme.styleFor(segment.spans));
        const HighlightStyle &style = *found;
        StyledRun run{int(out.text.size()), int(segment.text.size()), FontRole::code, style.color, style.underline,
                      style.bold, style.italic, {}};
        out.text += segment.text;
        if (!out.runs.isEmpty()) {
            StyledRun &previous = out.runs.last();
            if (previous.color == run.color && previous.bold == run.bold && previous.italic == run.italic
                && previous.underline == run.underline) {
                previous.length += run.length;
                continue;
            }
        }
        out.runs.append(run);
    }
    return out;
}

QStringList HighlightEngine::languages()
{
    if (!load())
        return {};
    return m_hljs->property(QStringLiteral("listLanguages")).callWithInstance(*m_hljs).toVariant().toStringList();
}

QList<HighlightSegment> HighlightEngine::parseHtml(const QString &html)
{
    QList<HighlightSegment> out;
    QList<QStringList> stack;
    QString text;
    auto flush = [&] {
        if (!text.isEmpty())
            out.append(HighlightSegment{text, stack});
        text.clear();
    };
    const qsizetype n = html.size();
    for (qsizetype i = 0; i < n;) {
        const QChar c = html.at(i);
        if (c == QLatin1Char('<')) {
            const qsizetype end = html.indexOf(QLatin1Char('>'), i);
            if (end < 0)
                break;
            flush();
            const QStringView tag = QStringView(html).mid(i + 1, end - i - 1);
            if (tag.startsWith(QLatin1Char('/'))) {
                if (!stack.isEmpty())
                    stack.removeLast();
            } else {
                const qsizetype open = tag.indexOf(QLatin1Char('"'));
                const qsizetype close = open >= 0 ? tag.indexOf(QLatin1Char('"'), open + 1) : -1;
                const QString classes = close > open ? tag.mid(open + 1, close - open - 1).toString() : QString();
                stack.append(classes.split(QLatin1Char(' '), Qt::SkipEmptyParts));
            }
            i = end + 1;
        } else if (c == QLatin1Char('&')) {
            const qsizetype end = html.indexOf(QLatin1Char(';'), i);
            const QStringView entity = end > i ? QStringView(html).mid(i + 1, end - i - 1) : QStringView();
            if (entity == QLatin1String("amp"))
                text += QLatin1Char('&');
            else if (entity == QLatin1String("lt"))
                text += QLatin1Char('<');
            else if (entity == QLatin1String("gt"))
                text += QLatin1Char('>');
            else if (entity == QLatin1String("quot"))
                text += QLatin1Char('"');
            else if (entity == QLatin1String("#x27") || entity == QLatin1String("#39"))
                text += QLatin1Char('\'');
            else {
                text += c;
                ++i;
                continue;
            }
            i = end + 1;
        } else {
            text += c;
            ++i;
        }
    }
    flush();
    return out;
}

} // namespace corvane
