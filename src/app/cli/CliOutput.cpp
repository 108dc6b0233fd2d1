#include "app/cli/CliOutput.h"

#include "app/StartupSequence.h"
#include "core/Paths.h"
#include "core/store/Store.h"

#include <cstdio>

namespace corvane::cli {

void printOut(const QString &text)
{
    std::fprintf(stdout, "%s\n", text.toUtf8().constData());
}

void printErr(const QString &text)
{
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
    std::fflush(stderr);
}

std::shared_ptr<Store> openStoreOrSay()
{
    auto store = startup::openStore(paths::storeFile());
    if (!store) {
        printErr(QStringLiteral("corvane-cli: ") + store.error().message);
        return nullptr;
    }
    return store.value();
}

QStringList withoutVerb(const QStringList &arguments)
{
    QStringList rest = arguments;
    if (rest.size() > 1)
        rest.removeAt(1);
    return rest;
}

} // namespace corvane::cli
