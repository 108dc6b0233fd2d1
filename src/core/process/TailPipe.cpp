#include "core/process/TailPipe.h"

#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace corvane {

namespace {

constexpr qsizetype ReadChunk = 256 * 1024;

void closeIfOpen(int &fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

} // namespace

TailPipe::TailPipe(qsizetype capacity, QObject *parent)
    : QObject(parent), m_tail(capacity)
{
    m_rest.setSingleShot(true);
    m_rest.setTimerType(Qt::PreciseTimer);
    m_rest.setInterval(restMs);
    connect(&m_rest, &QTimer::timeout, this, [this] {
        if (m_notifier && !m_ended)
            m_notifier->setEnabled(true);
    });
}

TailPipe::~TailPipe()
{
    closeIfOpen(m_read);
    closeIfOpen(m_write);
}

Status TailPipe::open()
{
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return Error(QStringLiteral("could not make a pipe: %1").arg(QString::fromLocal8Bit(std::strerror(errno))));
    m_read = fds[0];
    m_write = fds[1];
    // Wider than the default 64 KB, so a fast writer seldom waits for us; refused above the
    // system's limit, which only costs more wake-ups.
    ::fcntl(m_read, F_SETPIPE_SZ, pipeBytes);
    ::fcntl(m_read, F_SETFL, ::fcntl(m_read, F_GETFL) | O_NONBLOCK);
    m_buffer.resize(ReadChunk);
    m_notifier = new QSocketNotifier(m_read, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TailPipe::readable);
    return {};
}

void TailPipe::closeWriteEnd()
{
    closeIfOpen(m_write);
}

qint64 TailPipe::readAvailable()
{
    qint64 got = 0;
    while (!m_ended) {
        const ssize_t n = ::read(m_read, m_buffer.data(), size_t(m_buffer.size()));
        if (n > 0) {
            m_tail.append(QByteArrayView(m_buffer.constData(), n));
            got += n;
            m_total += n;
        } else if (n == 0) {
            m_ended = true; // every writer has closed it
            m_notifier->setEnabled(false);
        } else if (errno != EINTR) {
            break; // EAGAIN: empty for now (a background job may still hold it open)
        }
    }
    return got;
}

void TailPipe::readable()
{
    if (readAvailable() < pipeBytes / 2 && !m_ended) {
        m_notifier->setEnabled(false);
        m_rest.start();
    }
}

void TailPipe::drain()
{
    if (m_read >= 0)
        readAvailable();
    m_rest.stop();
    if (m_notifier)
        m_notifier->setEnabled(false);
}

} // namespace corvane
