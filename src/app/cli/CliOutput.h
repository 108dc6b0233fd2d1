#pragma once

#include <QString>

#include <memory>

namespace corvane {
class Store;
}

namespace corvane::cli {

// Standard output carries a command's results, one line each; standard error its messages.
void printOut(const QString &text);
void printErr(const QString &text);

// The window's store, or null after saying why on standard error ("corvane-cli: ...").
std::shared_ptr<Store> openStoreOrSay();

} // namespace corvane::cli
