#include "core/Log.h"

#include <QMutex>

#include <cstdio>

namespace corvane {

namespace {
std::FILE *g_stream = stdout;
}

void setLogStream(std::FILE *stream)
{
    g_stream = stream;
}

void logLine(const char *tag, const QString &text)
{
    static QMutex mutex;
    const QByteArray line = QByteArray("[") + tag + "] " + text.toUtf8() + '\n';
    QMutexLocker lock(&mutex);
    if (!g_stream)
        return;
    std::fwrite(line.constData(), 1, size_t(line.size()), g_stream);
    std::fflush(g_stream);
}

} // namespace corvane
