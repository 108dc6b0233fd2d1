#include "shell/OnboardingWindow.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

OnboardingWindow::OnboardingWindow(QWidget *parent) : QWidget(parent)
{
    setWindowTitle(tr("Welcome to Corvane"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto *layout = new QVBoxLayout(this);
    auto *title = new QLabel(tr("Welcome to Corvane"));
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.8);
    font.setBold(true);
    title->setFont(font);
    layout->addWidget(title, 0, Qt::AlignHCenter);
    layout->addWidget(new QLabel(tr("Run coding agents against your repositories, each piece of work on its own branch.")),
                      0, Qt::AlignHCenter);
    auto *start = new QPushButton(tr("Get Started"));
    start->setObjectName(QStringLiteral("getStarted"));
    start->setDefault(true);
    connect(start, &QPushButton::clicked, this, &OnboardingWindow::completed);
    layout->addWidget(start, 0, Qt::AlignHCenter);
    resize(560, 360);
}

} // namespace corvane
