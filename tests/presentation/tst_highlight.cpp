// highlight.js in Qt's engine against node's output for the same code, the theme CSS, and the
// threaded highlighter with its cache.
#include "presentation/highlight/HighlightEngine.h"
#include "presentation/highlight/HighlightTheme.h"
#include "presentation/highlight/SyntaxHighlighter.h"
#include "presentation/markdown/MarkdownRenderer.h"

#include <QtTest>

using namespace corvane;

namespace {

QString fixture(const QString &name)
{
    QFile file(qEnvironmentVariable("CORVANE_SOURCE_DIR") + QStringLiteral("/tests/fixtures/highlight/") + name);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

QColor colorAt(const StyledText &text, const QString &word)
{
    const int at = int(text.text.indexOf(word));
    for (const StyledRun &run : text.runs) {
        if (at >= run.start && at < run.start + run.length)
            return run.color;
    }
    return {};
}

} // namespace

class TestHighlight : public QObject
{
    Q_OBJECT

    std::unique_ptr<HighlightEngine> m_engine;

private slots:
    void initTestCase()
    {
        if (HighlightEngine::libraryDirectory().isEmpty())
            QSKIP("highlight.js is not installed: run scripts/setup.sh");
        m_engine = std::make_unique<HighlightEngine>();
        const Status loaded = m_engine->load();
        QVERIFY2(loaded.ok(), qPrintable(loaded ? QString() : loaded.error().message));
    }

    void sameAsNode_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("language");
        QTest::newRow("c++") << "sample.cpp" << "cpp";
        QTest::newRow("python with unicode identifiers") << "sample.py" << "python";
        QTest::newRow("html with embedded css and js") << "sample.html" << "html";
        QTest::newRow("haskell operators") << "sample.hs" << "haskell";
        QTest::newRow("ruby") << "sample.rb" << "ruby";
    }

    void sameAsNode()
    {
        QFETCH(QString, file);
        QFETCH(QString, language);
        QString code = fixture(file);
        code.chop(1); // the fixtures were highlighted without their final line end
        const auto html = m_engine->highlightHtml(code, language);
        QVERIFY(html);
        const QString expected = fixture(file + QStringLiteral(".html"));
        if (*html != expected) { // the whole output, for a diff against node's
            QFile actual(QDir::temp().filePath(file + QStringLiteral(".actual.html")));
            if (actual.open(QIODevice::WriteOnly))
                actual.write(html->toUtf8());
        }
        QCOMPARE(*html, expected);
    }

    void aliasesAndUnknownLanguages()
    {
        QVERIFY(m_engine->highlightHtml(QStringLiteral("int a;"), QStringLiteral("c++")));
        QVERIFY(m_engine->highlightHtml(QStringLiteral("ls -la"), QStringLiteral("sh")));
        QVERIFY(!m_engine->highlightHtml(QStringLiteral("x"), QStringLiteral("no-such-language")));
        QVERIFY(!m_engine->highlightHtml(QStringLiteral("x"), QString()));
        QVERIFY(m_engine->languages().size() >= 190);
    }

    void adaptedSourceHasNoneOfTheBrokenForms()
    {
        const QString adapted = HighlightEngine::adaptSource(QStringLiteral(
            "var o = {__proto__: null, a: 1};\nlist.unshift(x.scope);\nconst R = /[\\p{L}_]\\p{XID_Continue}*/u;\n"
            "const s = '(\\\\p{S}|\\\\p{P})'; return { unicodeRegex: true };"));
        QVERIFY(adapted.contains(QLatin1String("unicodeRegex: false")));
        // Slashes escaped in the text become \x2F; an escaped backslash before a slash stays.
        QCOMPARE(HighlightEngine::adaptSource(QStringLiteral("end: /\\/?>/, b: /\\\\/")),
                 QStringLiteral("end: /\\x2F?>/, b: /\\\\/"));
        QVERIFY(!adapted.contains(QLatin1String("__proto__")));
        QVERIFY(adapted.contains(QLatin1String("list.splice(0, 0, x.scope);")));
        QVERIFY(!adapted.contains(QLatin1String("\\p{")));
        QVERIFY(adapted.contains(QLatin1String("/[\\u0041-\\u005a")));      // inside a class: ranges only
        QVERIFY(adapted.contains(QLatin1String("_][\\u0030-\\u0039")));     // outside: a class of its own
        QVERIFY(adapted.contains(QLatin1String("'([\\\\u0024"))); // in a string: doubled
    }

    void htmlSegments()
    {
        const auto segments = HighlightEngine::parseHtml(QStringLiteral(
            "a &lt;<span class=\"hljs-meta\">#<span class=\"hljs-string\">&quot;x&#x27;&amp;</span></span>"));
        QCOMPARE(segments.size(), 3);
        QCOMPARE(segments[0], (HighlightSegment{QStringLiteral("a <"), {}}));
        QCOMPARE(segments[1], (HighlightSegment{QStringLiteral("#"), {{QStringLiteral("hljs-meta")}}}));
        QCOMPARE(segments[2].text, QStringLiteral("\"x'&"));
        QCOMPARE(segments[2].spans.size(), 2);
    }

    void themeRules_data()
    {
        QTest::addColumn<QString>("theme");
        QTest::addColumn<QString>("spans"); // nested spans joined by '>', classes by ' '
        QTest::addColumn<QString>("color");
        QTest::addColumn<bool>("italic");
        QTest::newRow("plain text") << "atom-one-dark" << "" << "#abb2bf" << false;
        QTest::newRow("comment is italic") << "atom-one-dark" << "hljs-comment" << "#5c6370" << true;
        QTest::newRow("keyword") << "atom-one-dark" << "hljs-keyword" << "#c678dd" << false;
        QTest::newRow("title") << "atom-one-dark" << "hljs-title" << "#61aeee" << false;
        QTest::newRow("compound class title") << "atom-one-dark" << "hljs-title class_" << "#e6c07b" << false;
        QTest::newRow("descendant class title") << "atom-one-dark" << "hljs-class>hljs-title" << "#e6c07b" << false;
        QTest::newRow("inherits from the outer span") << "atom-one-dark" << "hljs-comment>hljs-doctag" << "#c678dd" << true;
        QTest::newRow("unknown class inherits") << "atom-one-dark" << "hljs-string>hljs-nothing" << "#98c379" << false;
        QTest::newRow("light keyword") << "atom-one-light" << "hljs-keyword" << "#a626a4" << false;
    }

    void themeRules()
    {
        QFETCH(QString, theme);
        QFETCH(QString, spans);
        QFETCH(QString, color);
        QFETCH(bool, italic);
        const auto loaded = HighlightTheme::named(theme);
        QVERIFY(loaded);
        QList<QStringList> chain;
        for (const QString &span : spans.split(QLatin1Char('>'), Qt::SkipEmptyParts))
            chain << span.split(QLatin1Char(' '));
        const HighlightStyle style = loaded->styleFor(chain);
        QCOMPARE(style.color.name(), color);
        QCOMPARE(style.italic, italic);
    }

    void themeBackgroundsAndBadCss()
    {
        QCOMPARE(HighlightTheme::named(QStringLiteral("atom-one-dark"))->background().name(), QStringLiteral("#282c34"));
        QCOMPARE(HighlightTheme::named(QStringLiteral("atom-one-light"))->background().name(), QStringLiteral("#fafafa"));
        QVERIFY(!HighlightTheme::named(QStringLiteral("no-such-theme")));
        const auto broken = HighlightTheme::parse(QStringLiteral(".hljs { color: red"));
        QVERIFY(!broken.ok());
        QVERIFY(broken.error().message.contains(QLatin1String("unclosed")));
    }

    void styledRuns()
    {
        const auto theme = HighlightTheme::named(QStringLiteral("atom-one-dark"));
        const auto text = m_engine->highlight(QStringLiteral("int x = 42; // note"), QStringLiteral("cpp"), *theme);
        QVERIFY(text);
        QCOMPARE(text->text, QStringLiteral("int x = 42; // note"));
        QCOMPARE(colorAt(*text, QStringLiteral("int")).name(), QStringLiteral("#d19a66")); // a type
        QCOMPARE(colorAt(*text, QStringLiteral("42")).name(), QStringLiteral("#d19a66"));
        QCOMPARE(colorAt(*text, QStringLiteral(" x ")).name(), QStringLiteral("#abb2bf"));
        QVERIFY(text->runs.last().italic);
    }

    void threadedHighlightAndCache()
    {
        SyntaxHighlighter::clearCache();
        MarkdownRenderer::clearCaches();
        SyntaxHighlighter highlighter(2);
        QSignalSpy done(&highlighter, &SyntaxHighlighter::highlighted);
        const HighlightKey cpp{QStringLiteral("atom-one-dark"), QStringLiteral("cpp"), QStringLiteral("return 1;")};
        const HighlightKey unknown{QStringLiteral("atom-one-dark"), QStringLiteral("klingon"), QStringLiteral("qapla'")};
        QVERIFY(highlighter.request(cpp));
        QVERIFY(highlighter.request(cpp)); // queued once only
        QVERIFY(highlighter.request(unknown));
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 2, 20000);
        QCOMPARE(highlighter.pendingCount(), 0);
        QVERIFY(!SyntaxHighlighter::cached(cpp)->isEmpty());
        QVERIFY(SyntaxHighlighter::cached(unknown)->isEmpty()); // plain, and never asked again
        QVERIFY(!highlighter.request(cpp));
        QVERIFY(!highlighter.request(unknown));

        // The renderer shows plain code first and the highlight once it is there.
        MarkdownOptions options;
        options.dark = true;
        options.highlighter = &highlighter;
        const QString content = QStringLiteral("```python\ndef f(): pass\n```");
        MarkdownOptions withoutHighlighter;
        withoutHighlighter.dark = true;
        QVERIFY(!MarkdownRenderer::blocks(content, false, 14, withoutHighlighter)[0].highlightPending);
        auto first = MarkdownRenderer::blocks(content, false, 14, options); // not the plain list cached above
        QVERIFY(first[0].highlightPending);
        QCOMPARE(first[0].backgroundColor.name(), QStringLiteral("#282c34"));
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 3, 20000);
        auto second = MarkdownRenderer::blocks(content, false, 14, options);
        QVERIFY(!second[0].highlightPending);
        QVERIFY(first[0].signature() != second[0].signature());
        QCOMPARE(colorAt(second[0].attributed, QStringLiteral("def")).name(), QStringLiteral("#c678dd"));
        QCOMPARE(second[0].rawCode, QStringLiteral("def f(): pass"));

        // An unknown language shows plain code in the text colour once its empty result is in.
        const QString unknownContent = QStringLiteral("```klingon\nqapla'\n```");
        QVERIFY(!MarkdownRenderer::blocks(unknownContent, false, 14, options)[0].highlightPending);
        const auto plain = MarkdownRenderer::blocks(unknownContent, false, 14, options)[0].attributed;
        QCOMPARE(plain.runs.size(), 1);
        QCOMPARE(plain.runs[0].color, MarkdownPalette::dark().textColor);

        // A fence still open while streaming is not queued; the same text finished is.
        const QString open = QStringLiteral("```cpp\nint streaming_only;");
        QVERIFY(!MarkdownRenderer::blocks(open, true, 14, options)[0].highlightPending);
        QCOMPARE(highlighter.pendingCount(), 0);
        QVERIFY(MarkdownRenderer::blocks(open, false, 14, options)[0].highlightPending);
        QTRY_COMPARE_WITH_TIMEOUT(done.size(), 4, 20000);
    }
};

QTEST_MAIN(TestHighlight)
#include "tst_highlight.moc"
