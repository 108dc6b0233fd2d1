#include "shell/window/InspectorView.h"

#include <QLabel>
#include <QVBoxLayout>

namespace corvane {

InspectorView::InspectorView(QWidget *parent) : QWidget(parent), m_title(new QLabel), m_detail(new QLabel)
{
    setObjectName(QStringLiteral("inspector"));
    setMinimumWidth(350);
    setMaximumWidth(400);
    auto *layout = new QVBoxLayout(this);
    auto *heading = new QLabel(tr("Inspector"));
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
    layout->addWidget(heading);
    m_title->setWordWrap(true);
    m_detail->setWordWrap(true);
    m_detail->setEnabled(false);
    m_detail->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_title);
    layout->addWidget(m_detail);
    layout->addStretch();
    clear();
}

void InspectorView::showSubject(const QString &title, const QString &detail)
{
    m_title->setText(title);
    m_detail->setText(detail);
}

void InspectorView::clear()
{
    showSubject(tr("Nothing selected"), {});
}

} // namespace corvane
