#include "app/Application.h"
#include "core/NotificationCenter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QIcon>
#include <QTimer>

#include <cstdio>

namespace {

// Resident memory from /proc, in kilobytes.
long residentKilobytes()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    return -1;
}

} // namespace

int main(int argc, char *argv[])
{
    QElapsedTimer clock;
    clock.start();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Corvane"));
    QApplication::setApplicationDisplayName(QStringLiteral("Corvane"));
    QApplication::setDesktopFileName(QStringLiteral("corvane"));
    QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("corvane"), QIcon(QStringLiteral(":/corvane.svg"))));

    // "--measure-startup": print the time to the first shown window and the memory then and after
    // a second of idling, then quit. The start-up benchmark drives this.
    const bool measure = QCoreApplication::arguments().contains(QStringLiteral("--measure-startup"));

    corvane::Application corvaneApp(corvane::NotificationCenter::instance());
    if (measure) {
        QObject::connect(&corvaneApp, &corvane::Application::firstWindowShown, &app, [&] {
            const qint64 shownMs = clock.elapsed();
            std::printf("window-shown\n"); // the moment an outside clock should stop
            std::fflush(stdout);
            const long shownRss = residentKilobytes();
            QTimer::singleShot(1000, &app, [=] {
                std::printf("startup-ms %lld\nrss-kb-at-show %ld\nrss-kb-idle %ld\n",
                            static_cast<long long>(shownMs), shownRss, residentKilobytes());
                std::fflush(stdout);
                QApplication::exit(0);
            });
        });
    }
    if (!corvaneApp.start())
        return 1;
    return app.exec();
}
