#include "shell/preferences/UpdatesPage.h"

#include "core/window/HelpLinks.h"
#include "shell/preferences/PageParts.h"
#include "shell/tools/ToolForm.h"

#include <QCoreApplication>
#include <QLabel>
#include <QVBoxLayout>

namespace corvane {

UpdatesPage::UpdatesPage(QWidget *parent) : QWidget(parent)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(pageparts::heading(tr("Version")));
    const QString version = QCoreApplication::applicationVersion();
    m_version = new QLabel(tr("Corvane %1").arg(version.isEmpty() ? tr("(development build)") : version));
    m_version->setObjectName(QStringLiteral("version"));
    m_version->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_version);

    layout->addSpacing(12);
    layout->addWidget(pageparts::heading(tr("Updates")));
    auto *how = new QLabel(tr(
        "Corvane does not update itself. New versions come the way this copy was installed: through "
        "your distribution's package manager (for example <code>sudo apt update &amp;&amp; sudo apt upgrade</code>), "
        "or by building or installing the new release the same way as this one."));
    how->setObjectName(QStringLiteral("updateExplanation"));
    how->setWordWrap(true);
    how->setTextFormat(Qt::RichText);
    layout->addWidget(how);
    auto *notes = new QLabel(tr("What is new: <a href=\"%1\">%1</a>").arg(websiteUrl().resolved(QUrl(QStringLiteral("blog"))).toString()));
    notes->setOpenExternalLinks(true);
    layout->addWidget(notes);
    layout->addStretch();
}

} // namespace corvane
