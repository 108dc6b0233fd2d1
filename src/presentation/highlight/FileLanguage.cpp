#include "presentation/highlight/FileLanguage.h"

#include <QFileInfo>
#include <QHash>

namespace corvane {

namespace {

// First match wins, so "h" is Objective-C as on the platform this table comes from.
const QHash<QString, QString> &languages()
{
    static const QHash<QString, QString> table = [] {
        const std::pair<const char *, const char *> rows[] = {
            {"swift", "swift"}, {"objectivec", "m mm h"}, {"c", "c"}, {"cpp", "cpp cc cxx"}, {"csharp", "cs"},
            {"java", "java"}, {"kotlin", "kt kts"}, {"scala", "scala"}, {"groovy", "groovy"},
            {"javascript", "js jsx mjs cjs"}, {"typescript", "ts tsx"}, {"python", "py"},
            {"ruby", "rb gemfile rakefile podfile"}, {"php", "php"}, {"go", "go"}, {"rust", "rs"}, {"dart", "dart"},
            {"lua", "lua"}, {"r", "r"}, {"html", "html htm"}, {"xml", "xml plist storyboard xib entitlements"},
            {"css", "css"}, {"scss", "scss sass"}, {"less", "less"}, {"json", "json"}, {"yaml", "yaml yml"},
            {"ini", "ini cfg toml editorconfig gitattributes"},
            {"bash", "sh bash zsh fish bashrc zshrc profile bash_profile"}, {"powershell", "ps1"},
            {"dos", "bat cmd"}, {"sql", "sql"}, {"graphql", "graphql gql"}, {"markdown", "md markdown"},
            {"tex", "tex"}, {"dockerfile", "dockerfile"}, {"makefile", "makefile cmake"}, {"protobuf", "proto"},
            {"elixir", "ex exs"}, {"erlang", "erl hrl"}, {"haskell", "hs lhs"}, {"ocaml", "ml mli"}, {"vim", "vim"},
            {"lisp", "el lisp scm rkt"}, {"clojure", "clj cljs"}};
        QHash<QString, QString> byExtension;
        for (const auto &[language, extensions] : rows)
            for (const QString &extension : QString::fromLatin1(extensions).split(QLatin1Char(' ')))
                if (!byExtension.contains(extension)) // the first row that names it wins
                    byExtension.insert(extension, QString::fromLatin1(language));
        return byExtension;
    }();
    return table;
}

} // namespace

std::optional<QString> languageForFile(const QString &fileName)
{
    const QString name = QFileInfo(fileName).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QString extension = (dot < 0 ? name : name.mid(dot + 1)).toLower();
    const auto it = languages().constFind(extension);
    if (it == languages().cend())
        return std::nullopt;
    return *it;
}

} // namespace corvane
