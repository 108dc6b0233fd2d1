#pragma once

#include "core/Log.h"
#include "core/NotificationCenter.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <cstdio>

namespace corvane::test {

// Every post of one name on a centre of the test's own, with when it came.
class PostRecorder
{
public:
    PostRecorder(NotificationCenter &center, const QString &name)
    {
        m_clock.start();
        m_guard = ObserverGuard(center, center.addObserver(name, [this](const Notification &n) {
            m_payloads << n.payload;
            m_times << m_clock.elapsed();
        }));
    }

    int count() const { return int(m_payloads.size()); }
    QVariantMap last() const { return m_payloads.value(m_payloads.size() - 1); }
    qint64 lastTime() const { return m_times.value(m_times.size() - 1, -1); }
    qint64 now() const { return m_clock.elapsed(); }

private:
    QElapsedTimer m_clock;
    QList<QVariantMap> m_payloads;
    QList<qint64> m_times;
    ObserverGuard m_guard;
};

// Log lines written while it lives.
class LogCapture
{
public:
    LogCapture() : m_file(std::tmpfile()) { setLogStream(m_file); }
    ~LogCapture()
    {
        setLogStream(stdout);
        std::fclose(m_file);
    }
    QString text() const
    {
        std::fflush(m_file);
        std::rewind(m_file);
        QByteArray all;
        char buffer[4096];
        while (const size_t n = std::fread(buffer, 1, sizeof buffer, m_file))
            all.append(buffer, qsizetype(n));
        return QString::fromUtf8(all);
    }

private:
    std::FILE *m_file;
};

// inotify instances this process holds, read from /proc.
inline int inotifyInstances()
{
    int count = 0;
    const QDir fds(QStringLiteral("/proc/self/fd"));
    for (const QString &fd : fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)) {
        if (QFile::symLinkTarget(fds.filePath(fd)).endsWith(QStringLiteral("inotify")))
            ++count;
    }
    return count;
}

} // namespace corvane::test
