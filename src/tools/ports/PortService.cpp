#include "tools/ports/PortService.h"

#include "core/Log.h"
#include "core/process/ChildProcess.h"
#include "core/process/ProgramLookup.h"
#include "tools/terminal/ProcessTable.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <cstring>

namespace corvane {

namespace {

// The parent of each pid, from /proc/<pid>/stat: a few small reads of the kernel's own table.
QHash<qint64, qint64> parentsOf(const QList<PortInfo> &ports)
{
    QHash<qint64, qint64> parents;
    for (const PortInfo &port : ports) {
        if (parents.contains(port.pid))
            continue;
        QFile stat(QStringLiteral("/proc/%1/stat").arg(port.pid));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const pid_t parent = processtable::parentFromStat(stat.readAll());
        if (parent >= 0)
            parents.insert(port.pid, parent);
    }
    return parents;
}

} // namespace

PortService::PortService(QObject *parent) : QObject(parent)
{
    connect(&m_poll, &QTimer::timeout, this, &PortService::refresh);
}

PortService::~PortService() = default;

PortService &PortService::shared()
{
    static QPointer<PortService> service;
    if (!service)
        service = new PortService(QCoreApplication::instance());
    return *service;
}

void PortService::refresh()
{
    if (m_loading)
        return;
    m_loading = true;
    m_scanScopes = m_scopes;
    emit changed();
    startListing();
}

void PortService::startPolling(int intervalSeconds)
{
    m_poll.start(std::max(1, intervalSeconds) * 1000);
    refresh();
}

void PortService::stopPolling()
{
    m_poll.stop();
}

void PortService::addViewer(QObject *viewer)
{
    if (!viewer || m_viewers.contains(viewer))
        return;
    m_viewers.insert(viewer);
    connect(viewer, &QObject::destroyed, this, [this](QObject *gone) { removeViewer(gone); });
    if (m_viewers.size() == 1)
        startPolling(ViewerIntervalSeconds);
    else
        refresh(); // a view that opens wants to see what is listening now
}

void PortService::removeViewer(QObject *viewer)
{
    if (!m_viewers.remove(viewer))
        return;
    disconnect(viewer, &QObject::destroyed, this, nullptr);
    if (m_viewers.isEmpty())
        stopPolling();
}

Status PortService::stop(qint64 pid)
{
    if (pid <= 1)
        return Error(tr("Refusing to stop process %1").arg(pid));
    if (::kill(pid_t(pid), SIGTERM) != 0) {
        const int code = errno;
        return Error(tr("Could not stop process %1: %2").arg(pid).arg(QString::fromLocal8Bit(std::strerror(code))), code);
    }
    logLine("Ports", QStringLiteral("sent SIGTERM to %1").arg(pid));
    refresh();
    QTimer::singleShot(1000, this, &PortService::refresh);
    return {};
}

ChildProcess *PortService::runLsof(const QStringList &arguments)
{
    auto *process = new ChildProcess(ChildProcess::OutputMode::Raw, this);
    ProcessCommand command;
    command.program = m_program;
    command.arguments = arguments;
    // Plain output whatever the user's locale.
    command.environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    m_running = process;
    process->start(command);
    return process;
}

void PortService::startListing()
{
    ProcessCommand probe;
    probe.program = m_program;
    const auto found = resolveProgram(probe);
    if (!found) {
        fail(found.error().code == ENOENT
                 ? tr("lsof was not found on the PATH; install the lsof package to see listening ports.")
                 : tr("Could not run lsof: %1").arg(found.error().message));
        return;
    }
    ChildProcess *process = runLsof(portlisting::listeningArguments());
    auto output = std::make_shared<QByteArray>();
    connect(process, &ChildProcess::outputReady, this, [output](const QByteArray &data) { output->append(data); });
    connect(process, &ChildProcess::failedToStart, this, [this, process](const Error &error) {
        process->deleteLater();
        fail(tr("Could not run lsof: %1").arg(error.message));
    });
    connect(process, &ChildProcess::finished, this,
            [this, process, output](int code, ChildProcess::ExitKind kind, int) {
                process->deleteLater();
                // lsof exits 1, silently, when nothing listens; anything it says on the way out is a failure.
                const QString complaint = process->errorTailText().trimmed();
                if (kind == ChildProcess::ExitKind::Crashed)
                    fail(tr("lsof stopped before it listed the ports"));
                else if (code != 0 && output->isEmpty() && !complaint.isEmpty())
                    fail(tr("lsof failed: %1").arg(complaint));
                else
                    listed(*output);
            });
}

void PortService::listed(const QByteArray &output)
{
    const QList<PortInfo> ports = portlisting::parseListening(output);
    if (ports.isEmpty() || m_scanScopes.isEmpty()) {
        finish({});
        return;
    }
    const QHash<qint64, qint64> parents = parentsOf(ports);
    QList<qint64> pids;
    for (const PortInfo &port : ports) {
        if (!pids.contains(port.pid))
            pids.append(port.pid);
        const qint64 parent = parents.value(port.pid, 0);
        if (parent > 1 && !pids.contains(parent))
            pids.append(parent);
    }
    ChildProcess *process = runLsof(portlisting::cwdArguments(pids));
    auto fields = std::make_shared<QByteArray>();
    connect(process, &ChildProcess::outputReady, this, [fields](const QByteArray &data) { fields->append(data); });
    const auto attribute = [this, process, fields, ports, parents, pids] {
        process->deleteLater();
        // lsof exits 1 when one of the pids has gone meanwhile; what it printed still holds.
        QHash<qint64, QString> directories = portlisting::parseCwdFields(*fields);
        for (qint64 pid : pids) {
            if (directories.contains(pid))
                continue;
            const QString link = QFileInfo(QStringLiteral("/proc/%1/cwd").arg(pid)).symLinkTarget();
            if (!link.isEmpty())
                directories.insert(pid, link);
        }
        finish(portlisting::attribute(ports, directories, parents, m_scanScopes));
    };
    connect(process, &ChildProcess::finished, this, attribute);
    connect(process, &ChildProcess::failedToStart, this, attribute);
}

void PortService::finish(const QList<PortInfo> &ports)
{
    m_ports = ports;
    m_lastError.reset();
    m_loading = false;
    m_scanned = true;
    emit changed();
}

void PortService::fail(const QString &message)
{
    logLine("Ports", message);
    m_lastError = message;
    m_loading = false;
    m_scanned = true;
    emit changed();
}

} // namespace corvane
