#include "shell/OnboardingWindow.h"

#include "accounts/onboarding/OnboardingChecklistViewModel.h"
#include "shell/OnboardingRow.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace corvane {

OnboardingWindow::OnboardingWindow(OnboardingChecklistViewModel *model, QWidget *parent)
    : QWidget(parent), m_model(model), m_footer(new QLabel(this)), m_continue(new QPushButton(tr("Continue"), this)),
      m_checkAgain(new QPushButton(tr("Check Again"), this))
{
    if (!m_model->parent())
        m_model->setParent(this);
    setObjectName(QStringLiteral("onboardingWindow"));
    setWindowTitle(tr("Set Up Corvane"));
    setAttribute(Qt::WA_DeleteOnClose);

    auto *heading = new QLabel(OnboardingChecklistViewModel::heading(), this);
    heading->setObjectName(QStringLiteral("heading"));
    heading->setWordWrap(true);
    QFont font = heading->font();
    font.setPointSizeF(font.pointSizeF() * 1.35);
    font.setBold(true);
    heading->setFont(font);

    auto *list = new QWidget;
    auto *rows = new QVBoxLayout(list);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    bool first = true;
    for (const auto &item : m_model->items()) {
        if (!first) {
            auto *line = new QFrame(list);
            line->setFrameShape(QFrame::HLine);
            line->setFrameShadow(QFrame::Sunken);
            rows->addWidget(line);
        }
        first = false;
        auto *row = new OnboardingRow(*m_model, item.id, list);
        m_rows.insert(item.id, row);
        rows->addWidget(row);
    }
    rows->addStretch();
    auto *scroll = new QScrollArea(this);
    scroll->setWidget(list);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::StyledPanel);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    m_footer->setObjectName(QStringLiteral("footer"));
    m_footer->setWordWrap(true);
    m_continue->setObjectName(QStringLiteral("continue"));
    m_continue->setDefault(true);
    m_checkAgain->setObjectName(QStringLiteral("checkAgain"));
    m_checkAgain->setAutoDefault(false);
    connect(m_continue, &QPushButton::clicked, this, [this] {
        if (m_model->canContinue())
            emit completed();
    });
    connect(m_checkAgain, &QPushButton::clicked, m_model, &OnboardingChecklistViewModel::revalidateAll);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_footer, 1);
    buttons->addWidget(m_checkAgain);
    buttons->addWidget(m_continue);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 20, 24, 20);
    layout->setSpacing(14);
    layout->addWidget(heading);
    layout->addWidget(scroll, 1);
    layout->addLayout(buttons);

    connect(m_model, &OnboardingChecklistViewModel::changed, this, [this] {
        // Which row may act depends on the others (one action at a time, "Requires …").
        for (OnboardingRow *row : std::as_const(m_rows))
            row->refresh();
        refreshFooter();
    });
    refreshFooter();
    resize(640, 720);

    m_model->observeWindowActivation();
    m_model->revalidateAll();
}

OnboardingWindow::~OnboardingWindow()
{
    // Leaving onboarding: no more checks when windows come and go.
    m_model->stopObserving();
}

void OnboardingWindow::refreshFooter()
{
    m_footer->setText(m_model->footerText());
    m_continue->setEnabled(m_model->canContinue());
}

} // namespace corvane
