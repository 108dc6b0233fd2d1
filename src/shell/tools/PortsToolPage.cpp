#include "shell/tools/PortsToolPage.h"

#include "shell/tools/ToolForm.h"
#include "tools/ports/PortService.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>

namespace corvane {

namespace {

QLabel *label(const QString &text, const char *objectName = nullptr, int pointDelta = 0, bool bold = false)
{
    auto *shown = new QLabel(text);
    if (objectName)
        shown->setObjectName(QString::fromLatin1(objectName));
    QFont font = shown->font();
    font.setPointSize(font.pointSize() + pointDelta);
    font.setBold(bold);
    shown->setFont(font);
    return shown;
}

QWidget *centred(std::initializer_list<QWidget *> widgets)
{
    auto *box = new QWidget;
    auto *layout = new QVBoxLayout(box);
    layout->addStretch();
    for (QWidget *widget : widgets) {
        layout->addWidget(widget, 0, Qt::AlignHCenter);
        if (auto *text = qobject_cast<QLabel *>(widget))
            text->setAlignment(Qt::AlignCenter);
    }
    layout->addStretch();
    return box;
}

// A round swatch of the project's profile colour; grey for a project without one.
QLabel *swatch(const std::optional<QString> &colorHex)
{
    auto *dot = new QLabel;
    dot->setObjectName(QStringLiteral("profileSwatch"));
    dot->setFixedSize(10, 10);
    const QColor color(colorHex.value_or(QString()));
    dot->setStyleSheet(QStringLiteral("background: %1; border-radius: 5px;")
                           .arg(color.isValid() ? color.name() : QStringLiteral("#8E8E93")));
    return dot;
}

} // namespace

PortsToolPage::PortsToolPage(PortService &service, ScopeSource scopes, QWidget *parent)
    : QWidget(parent), m_service(service), m_scopes(std::move(scopes)), m_error(toolform::errorLine("portsError")),
      m_states(new QStackedWidget), m_groups(new QVBoxLayout)
{
    m_confirm = [this](const QString &question) {
        return QMessageBox::question(this, tr("Stop Process?"), question, QMessageBox::Yes | QMessageBox::Cancel,
                                     QMessageBox::Cancel) == QMessageBox::Yes;
    };
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(label(tr("Ports"), "portsTitle", 6, true));
    layout->addWidget(label(tr("Monitor listening TCP ports across your projects."), "portsTagline"));
    layout->addWidget(m_error);

    m_scanning = centred({label(tr("Scanning ports..."), "portsScanning")});
    m_empty = centred({label(tr("No Listening Ports"), "portsEmptyTitle", 4, true),
                       label(tr("No TCP ports are currently listening from your projects."), "portsEmptyText")});
    auto *rows = new QWidget;
    auto *rowsLayout = new QVBoxLayout(rows);
    rowsLayout->addLayout(m_groups);
    rowsLayout->addStretch();
    auto *scroll = new QScrollArea;
    scroll->setObjectName(QStringLiteral("portsList"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(rows);
    m_list = scroll;
    for (QWidget *state : {m_scanning, m_empty, m_list})
        m_states->addWidget(state);
    layout->addWidget(m_states, 1);

    connect(&m_service, &PortService::changed, this, &PortsToolPage::update);
    update();
}

PortsToolPage::~PortsToolPage()
{
    m_service.removeViewer(this);
}

void PortsToolPage::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The projects may have changed while the page was away.
    m_service.setProjectScopes(m_scopes ? m_scopes() : QList<ProjectScope>());
    m_service.addViewer(this);
}

void PortsToolPage::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    m_service.removeViewer(this);
}

void PortsToolPage::update()
{
    m_error->setText(m_service.lastError().value_or(QString()));
    m_error->setVisible(m_service.lastError().has_value());
    if (!m_service.hasScanned()) {
        m_states->setCurrentWidget(m_scanning);
        return;
    }
    if (!m_rowsBuilt || m_service.ports() != m_shown)
        rebuildRows();
    m_states->setCurrentWidget(m_shown.isEmpty() ? m_empty : m_list);
}

void PortsToolPage::rebuildRows()
{
    m_shown = m_service.ports();
    m_rowsBuilt = true;
    toolform::clear(m_groups);
    // Groups in the order of their lowest port, rows by port within each.
    QStringList order;
    for (const PortInfo &port : std::as_const(m_shown))
        if (!order.contains(port.projectName.value_or(QString())))
            order.append(port.projectName.value_or(QString()));
    for (const QString &project : std::as_const(order)) {
        auto *group = new QWidget;
        group->setObjectName(QStringLiteral("portsGroup"));
        auto *groupLayout = new QVBoxLayout(group);
        groupLayout->setContentsMargins(0, 8, 0, 8);
        auto *header = new QHBoxLayout;
        bool first = true;
        for (const PortInfo &port : std::as_const(m_shown)) {
            if (port.projectName.value_or(QString()) != project)
                continue;
            if (std::exchange(first, false)) {
                header->addWidget(swatch(port.profileColorHex));
                header->addWidget(label(project, "portsGroupTitle", 1, true));
                header->addStretch();
                groupLayout->addLayout(header);
            }
            groupLayout->addWidget(row(port));
        }
        m_groups->addWidget(group);
    }
}

QWidget *PortsToolPage::row(const PortInfo &port)
{
    auto *line = new QWidget;
    line->setObjectName(QStringLiteral("portRow"));
    line->setProperty("portId", port.id);
    auto *layout = new QHBoxLayout(line);
    layout->setContentsMargins(18, 2, 0, 2);
    QLabel *number = label(QStringLiteral(":%1").arg(port.port), "portNumber", 0, true);
    number->setMinimumWidth(70);
    layout->addWidget(number);
    QLabel *address = label(port.displayAddress(), "portAddress");
    address->setMinimumWidth(110);
    layout->addWidget(address);
    layout->addWidget(label(port.processName, "portProcess"), 1);
    QLabel *pid = label(tr("PID %1").arg(port.pid), "portPid");
    pid->setEnabled(false); // greyed: secondary information
    layout->addWidget(pid);
    auto *stop = new QPushButton(tr("Stop"));
    stop->setObjectName(QStringLiteral("stopButton"));
    stop->setToolTip(tr("Stop this process"));
    connect(stop, &QPushButton::clicked, this, [this, port] { this->stop(port); });
    layout->addWidget(stop);
    return line;
}

void PortsToolPage::stop(const PortInfo &port)
{
    const QString question = tr("This will stop the %1 process that is running on port %2. Any active connections will be closed.")
                                 .arg(port.processName)
                                 .arg(port.port);
    if (!m_confirm || !m_confirm(question))
        return;
    if (Status stopped = m_service.stop(port.pid); !stopped) {
        m_error->setText(stopped.error().message);
        m_error->show();
    }
}

} // namespace corvane
