#include "shell/preferences/ModelsPage.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/ModelVisibility.h"
#include "core/settings/AppSettings.h"
#include "shell/preferences/PageParts.h"
#include "shell/tools/ToolForm.h"

#include <QCheckBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace corvane {

ModelsPage::ModelsPage(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(toolform::note(tr("Hidden models are left out of the model picker of every chat.")));
    m_refusal = pageparts::warningLine("modelRefusal");
    layout->addWidget(m_refusal);
    const QSet<QString> hidden = settings.hiddenModelIdsSet();
    for (AgentType agent : {AgentType::claudeCode, AgentType::codex}) {
        layout->addSpacing(8);
        layout->addWidget(pageparts::heading(agentTitle(agent)));
        for (const AgentModelDescriptor &model : AgentModelCatalogue::forAgentType(agent)) {
            auto *visible = new QCheckBox(model.displayName);
            visible->setObjectName(QStringLiteral("model:") + model.id);
            visible->setToolTip(model.isCurrentGeneration ? tr("Current generation") : tr("Earlier generation"));
            visible->setChecked(!hidden.contains(model.id));
            layout->addWidget(visible);
            m_switches.insert(model.id, visible);
            connect(visible, &QCheckBox::toggled, this, [this, id = model.id](bool on) { setVisible(id, on); });
        }
    }
    layout->addStretch();
}

void ModelsPage::setVisible(const QString &modelId, bool visible)
{
    m_refusal->hide();
    if (!visible) {
        if (const auto refusal = refusalToHideModel(modelId, m_settings.hiddenModelIdsSet())) {
            const QSignalBlocker quiet(m_switches.value(modelId));
            m_switches.value(modelId)->setChecked(true);
            m_refusal->setText(*refusal);
            m_refusal->show();
            return;
        }
    }
    m_settings.setModelHidden(modelId, !visible);
}

} // namespace corvane
