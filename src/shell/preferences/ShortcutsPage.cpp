#include "shell/preferences/ShortcutsPage.h"

#include "core/settings/AppSettings.h"
#include "core/window/ShortcutBindings.h"
#include "core/window/ShortcutRecording.h"
#include "shell/preferences/PageParts.h"
#include "shell/preferences/ShortcutRecorder.h"
#include "shell/window/KeySequences.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QVBoxLayout>

namespace corvane {

namespace {

const QString warningMark = QStringLiteral("⚠ ");

QString categoryTitle(ShortcutCategory category)
{
    switch (category) {
    case ShortcutCategory::file: return ShortcutsPage::tr("File");
    case ShortcutCategory::edit: return ShortcutsPage::tr("Edit");
    case ShortcutCategory::view: return ShortcutsPage::tr("View");
    }
    return {};
}

} // namespace

ShortcutsPage::ShortcutsPage(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    auto *outer = new QVBoxLayout(this);
    auto *scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto *content = new QWidget;
    auto *grid = new QGridLayout(content);
    grid->setColumnStretch(3, 1);
    int line = 0;
    std::optional<ShortcutCategory> shownCategory;
    for (KeyboardShortcutAction action : allKeyboardShortcutActions()) {
        if (category(action) != shownCategory) {
            shownCategory = category(action);
            if (line > 0)
                grid->setRowMinimumHeight(line++, 8);
            grid->addWidget(pageparts::heading(categoryTitle(*shownCategory)), line++, 0, 1, 4);
        }
        Row row;
        row.recorder = new ShortcutRecorder;
        row.recorder->setObjectName(QStringLiteral("shortcut:") + rawName(action));
        row.reset = new QPushButton(tr("Reset to default"));
        row.reset->setObjectName(QStringLiteral("reset:") + rawName(action));
        row.message = new QLabel;
        row.message->setObjectName(QStringLiteral("message:") + rawName(action));
        row.message->setWordWrap(true);
        row.message->setStyleSheet(QStringLiteral("color: #c0392b;"));
        grid->addWidget(new QLabel(displayName(action)), line, 0);
        grid->addWidget(row.recorder, line, 1);
        grid->addWidget(row.reset, line, 2);
        // Under the key, where it stays readable in a narrow window; hidden when there is none.
        grid->addWidget(row.message, line + 1, 1, 1, 3);
        line += 2;
        m_rows.insert(action, row);
        connect(row.recorder, &ShortcutRecorder::recorded, this, [this, action](const KeyCombo &combo) { record(action, combo); });
        connect(row.recorder, &ShortcutRecorder::refused, this, [this, action](const QString &reason) { showProblem(action, reason); });
        connect(row.reset, &QPushButton::clicked, this, [this, action] {
            m_problems.remove(action);
            m_settings.resetShortcut(action);
            refresh();
        });
    }
    grid->setRowStretch(line, 1);
    scroll->setWidget(content);
    outer->addWidget(scroll, 1);

    auto *bottom = new QHBoxLayout;
    m_resetAll = new QPushButton(tr("Reset All to Defaults"));
    m_resetAll->setObjectName(QStringLiteral("resetAllShortcuts"));
    bottom->addStretch();
    bottom->addWidget(m_resetAll);
    outer->addLayout(bottom);
    connect(m_resetAll, &QPushButton::clicked, this, [this] {
        m_problems.clear();
        m_settings.resetAllShortcuts();
        refresh();
    });
    refresh();
}

void ShortcutsPage::refresh()
{
    const QHash<QString, KeyCombo> custom = m_settings.customShortcuts();
    for (const ShortcutBinding &binding : resolveShortcutBindings(custom)) {
        const Row &row = m_rows.value(binding.action);
        // Written the way this desktop's menus write it.
        row.recorder->setShownText(binding.combo ? keySequence(*binding.combo).toString(QKeySequence::NativeText)
                                                 : tr("None"));
        row.reset->setEnabled(custom.contains(rawName(binding.action)));
        const QString problem = m_problems.value(binding.action, binding.note);
        row.message->setText(problem.isEmpty() ? QString() : warningMark + problem);
        row.message->setVisible(!problem.isEmpty());
    }
    m_resetAll->setEnabled(!custom.isEmpty());
}

void ShortcutsPage::record(KeyboardShortcutAction action, const KeyCombo &combo)
{
    const Status status = recordShortcut(m_settings, action, combo);
    if (!status) {
        showProblem(action, status.error().message);
        return;
    }
    m_problems.remove(action);
    refresh();
}

void ShortcutsPage::showProblem(KeyboardShortcutAction action, const QString &text)
{
    m_problems.insert(action, text);
    refresh();
}

} // namespace corvane
