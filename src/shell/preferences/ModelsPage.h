#pragma once

#include <QHash>
#include <QWidget>

class QCheckBox;
class QLabel;

namespace corvane {

class AppSettings;

// The Models page of Preferences: every model of the catalogue under its agent, each with a
// switch that shows or hides it in the model pickers. The last visible model of an agent stays:
// the page says why instead of hiding it.
class ModelsPage : public QWidget
{
    Q_OBJECT

public:
    explicit ModelsPage(AppSettings &settings, QWidget *parent = nullptr);

    QCheckBox *visibilitySwitch(const QString &modelId) const { return m_switches.value(modelId); }
    QLabel *refusal() const { return m_refusal; }

private:
    void setVisible(const QString &modelId, bool visible);

    AppSettings &m_settings;
    QHash<QString, QCheckBox *> m_switches;
    QLabel *m_refusal;
};

} // namespace corvane
