#include "support/TestEnvironment.h"

#include <QDir>
#include <QStandardPaths>

namespace corvane::test {

TestEnvironment::TestEnvironment()
{
    m_oldHome = qgetenv("HOME");
    QStandardPaths::setTestModeEnabled(false);
    for (const char *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
        const QString folder = m_dir.filePath(QString::fromLatin1(name).toLower());
        QDir().mkpath(folder);
        qputenv(name, folder.toUtf8());
    }
    QDir().mkpath(m_dir.filePath("home"));
    qputenv("HOME", m_dir.filePath("home").toUtf8());
}

TestEnvironment::~TestEnvironment()
{
    qputenv("HOME", m_oldHome);
}

QString sourceDir()
{
    const QByteArray fromEnv = qgetenv("CORVANE_SOURCE_DIR");
    return fromEnv.isEmpty() ? QStringLiteral(".") : QString::fromLocal8Bit(fromEnv);
}

} // namespace corvane::test
