#include "app/cli/SearchCommand.h"

#include "app/cli/CliOutput.h"
#include "core/store/Store.h"
#include "tools/search/QuickSearchViewModel.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace corvane::cli {

namespace {

const QString usage = QStringLiteral("usage: corvane-cli search TEXT [--messages|--workspaces]");

QString isoTime(const QDateTime &time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

QJsonObject toJson(const SearchResult &result)
{
    if (const WorkspaceSearchResult *w = result.workspace())
        return QJsonObject{{"kind", "workspace"},
                           {"id", w->id.toString(QUuid::WithoutBraces)},
                           {"name", w->workspaceName},
                           {"project", w->projectName},
                           {"chatCount", w->chatCount},
                           {"updatedAt", isoTime(w->updatedAt)},
                           {"branch", w->gitBranch ? QJsonValue(*w->gitBranch) : QJsonValue()}};
    const MessageSearchResult &m = *result.message();
    return QJsonObject{{"kind", "message"},
                       {"id", m.id.toString(QUuid::WithoutBraces)},
                       {"chatId", m.chatId.toString(QUuid::WithoutBraces)},
                       {"chat", m.chatName},
                       {"snippet", m.snippet},
                       {"match", m.matchRange ? QJsonValue(QJsonArray{m.matchRange->start, m.matchRange->length}) : QJsonValue()},
                       {"timestamp", isoTime(m.timestamp)}};
}

} // namespace

int searchCommand(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument("TEXT", "What to look for.");
    parser.addOption({"messages", "Chat messages only (at most 20)."});
    parser.addOption({"workspaces", "Workspaces only (all that match; with empty TEXT the 15 newest)."});
    if (!parser.parse(arguments)) {
        printErr(QStringLiteral("corvane-cli search: %1\n%2").arg(parser.errorText(), usage));
        return 2;
    }
    if (parser.isSet("messages") && parser.isSet("workspaces")) {
        printErr(QStringLiteral("corvane-cli search: --messages and --workspaces exclude each other\n") + usage);
        return 2;
    }
    const QStringList words = parser.positionalArguments();
    if (words.size() > 1) {
        printErr(QStringLiteral("corvane-cli search: give the text as one argument (quote it): %1\n%2")
                     .arg(words.join(QLatin1Char(' ')), usage));
        return 2;
    }
    const QString text = words.value(0);
    const SearchFilterMode mode = parser.isSet("messages") ? SearchFilterMode::messages
        : parser.isSet("workspaces")                      ? SearchFilterMode::workspaces
                                                          : SearchFilterMode::all;
    if (text.trimmed().isEmpty() && mode != SearchFilterMode::workspaces) {
        printErr(QStringLiteral("corvane-cli search: the text to search for is empty "
                                "(only --workspaces lists without one)\n") + usage);
        return 2;
    }
    const auto store = openStoreOrSay();
    if (!store)
        return 1;
    if (mode != SearchFilterMode::workspaces)
        if (const auto missing = search::messageIndexMissing(*store))
            printErr(QStringLiteral("corvane-cli search: messages are read one by one, without an index: ") + *missing);

    QuickSearchViewModel model(*store);
    model.setFilterMode(mode);
    model.setSearchText(text);
    model.performSearch(); // at once: no event loop runs here
    for (const SearchResult &result : model.results())
        printOut(QString::fromUtf8(QJsonDocument(toJson(result)).toJson(QJsonDocument::Compact)));
    return 0;
}

} // namespace corvane::cli
