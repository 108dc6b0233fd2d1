#pragma once

#include <QString>
#include <QStringList>

#include <memory>

namespace corvane {
class Store;
}

namespace corvane::cli {

// Standard output carries a command's results, one line each; standard error its messages.
void printOut(const QString &text);
void printErr(const QString &text);

// The arguments of a command with a verb ("issue move ..."), the verb taken out, for a parser.
QStringList withoutVerb(const QStringList &arguments);

// The window's store, or null after saying why on standard error ("corvane-cli: ...").
std::shared_ptr<Store> openStoreOrSay();

} // namespace corvane::cli
