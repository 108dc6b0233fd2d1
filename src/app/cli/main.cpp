// corvane-cli: the command-line companion. It works on the same store as the window (so what it
// does shows up there) and drives chats through the same session engine.
#include "app/cli/CliCommands.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("corvane-cli"));
    return corvane::cli::run(QCoreApplication::arguments());
}
