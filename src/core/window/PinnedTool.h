#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace corvane {

class AppSettings;

// One of the tools that can fill the content column. The list of tools is fixed; the user only
// hides and orders them.
struct PinnedTool
{
    QString id;
    QString name;
    QString icon;       // symbol name
    QString assetImage; // equals `id`
    QString color;      // a named colour: "blue", "green", ...
    QString description;

    friend bool operator==(const PinnedTool &, const PinnedTool &) = default;
};

// The seven tools, in their table order.
const QList<PinnedTool> &allPinnedTools();
const PinnedTool *pinnedTool(const QString &id);

// The tools to show: all, less the disabled ones unless every tool is enabled, then ordered by
// position in `toolOrder`; ids missing from it follow in table order.
QList<PinnedTool> visibleTools(bool enableAllTools, const QSet<QString> &disabledTools,
                               const QStringList &toolOrder);
QList<PinnedTool> visibleTools(const AppSettings &settings);

} // namespace corvane
