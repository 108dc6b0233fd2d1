#include "core/Log.h"

#include <QMutex>

#include <cstdio>

namespace corvane {

void logLine(const char *tag, const QString &text)
{
    static QMutex mutex;
    const QByteArray line = QByteArray("[") + tag + "] " + text.toUtf8() + '\n';
    QMutexLocker lock(&mutex);
    std::fwrite(line.constData(), 1, size_t(line.size()), stdout);
    std::fflush(stdout);
}

} // namespace corvane
