// The Flows, Agents and Skills tools in a real window, on real files in a temporary HOME:
// reached from the sidebar, then create, edit, save, restore, rename refused, version restore,
// and a file changed in another editor shown without a restart. Each tool leaves a screenshot.
#include "automation/AgentDefinitionsService.h"
#include "automation/AutomationFlowsService.h"
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "core/store/StoreContext.h"
#include "planning/SkillsService.h"
#include "shell/Appearance.h"
#include "shell/tools/AgentsToolPage.h"
#include "shell/tools/FlowsToolPage.h"
#include "shell/tools/SkillsToolPage.h"
#include "shell/tools/ToolPages.h"
#include "shell/window/MainWindow.h"
#include "shell/window/SidebarView.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "support/ToolWindowFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

using namespace corvane;
using namespace corvane::test;

namespace {

struct Window : ToolWindowFixture
{
    Window() { openWindow(QSize(1300, 860)); }

    // Clicks the tool's button in the sidebar and waits for its list.
    template <typename Page>
    Page *openTool(const QString &id, DefinitionService &service)
    {
        QSignalSpy done(&service, &DefinitionService::reloaded);
        auto *button = window->sidebar()->findChild<QToolButton *>("tool:" + id);
        if (!button)
            return nullptr;
        button->click();
        auto *page = window->findChild<Page *>(id + "ToolPage");
        if (!page || !page->isVisible() || !done.wait(5000))
            return nullptr;
        page->setConfirm([](QWidget *, const QString &) { return true; });
        return page;
    }
};

QListWidget *list(QWidget *page)
{
    return page->findChild<QListWidget *>("definitionList");
}

QStringList titles(QWidget *page)
{
    QStringList out;
    for (int i = 0; i < list(page)->count(); ++i)
        out << list(page)->item(i)->text();
    return out;
}

template <typename W = QLineEdit>
W *field(QWidget *page, const char *name)
{
    return page->findChild<W *>(name);
}

void click(QWidget *page, const char *button)
{
    auto *found = page->findChild<QPushButton *>(button);
    QVERIFY2(found && found->isEnabled(), button);
    found->click();
}

// Fills the New sheet and creates.
void createNamed(QWidget *page, const QString &name, bool command = false)
{
    click(page, "newButton");
    auto *sheet = page->findChild<QDialog *>("newSheet");
    QVERIFY(sheet);
    field(sheet, "newName")->setText(name);
    if (auto *isCommand = sheet->findChild<QCheckBox *>("newIsCommand"))
        isCommand->setChecked(command);
    click(sheet, "createButton");
}

void typeInto(QLineEdit *edit, const QString &text)
{
    edit->selectAll();
    QTest::keyClicks(edit, text);
}

void shoot(QWidget *window, const QString &name)
{
    QDir().mkpath(QStringLiteral(CORVANE_SCREENSHOT_DIR));
    QApplication::processEvents();
    QVERIFY(window->grab().save(QStringLiteral(CORVANE_SCREENSHOT_DIR "/") + name));
}

} // namespace

class DefinitionToolsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyAppearance(AppearanceMode::light); }

    void flowsToolCreatesEditsAndRestores()
    {
        Window w;
        auto *page = w.openTool<FlowsToolPage>("flows", w.flows);
        QVERIFY(page);
        QCOMPARE(titles(page), (QStringList{"build-and-test", "quick-fix"}));
        QCOMPARE(field<QLabel>(page, "countsLabel")->text(), QStringLiteral("Total 2 · User 2 · Project 0"));

        createNamed(page, "Builder");
        QTRY_COMPARE(page->selectedFilePath(), w.f.home(".claude/flows/Builder.md"));
        QTRY_COMPARE(field(page, "nameField")->text(), QStringLiteral("Builder"));
        typeInto(field(page, "descriptionField"), "Builds and checks");
        field<QCheckBox>(page, "skipReview")->click();
        // The subagents load on their own, after the flows.
        QTRY_VERIFY(field<QCheckBox>(page, "agent:planner"));
        field<QCheckBox>(page, "agent:planner")->click();
        field<QCheckBox>(page, "filterGates")->click();
        QVERIFY(page->findChild<QLabel *>() != nullptr);
        field<QPlainTextEdit>(page, "bodyEditor")->setPlainText("# Builder\n\nBuild **carefully**.");
        click(page, "saveButton");
        const QByteArray written = readFile(w.f.home(".claude/flows/Builder.md"));
        QVERIFY2(written.contains("description: Builds and checks\n") && written.contains("agents: [planner]\n")
                     && written.contains("gates: []\n") && written.contains("skip-review: true\n")
                     && written.endsWith("\n---\n\n# Builder\n\nBuild **carefully**."),
                 written.constData());
        QVERIFY(!field<QPushButton>(page, "saveButton")->isEnabled());

        // Restore original puts back what the file says.
        typeInto(field(page, "descriptionField"), "scratch");
        click(page, "restoreOriginalButton");
        QCOMPARE(field(page, "descriptionField")->text(), QStringLiteral("Builds and checks"));

        // A rename onto a name that has a file is refused in the error line.
        typeInto(field(page, "nameField"), "quick-fix");
        click(page, "saveButton");
        QCOMPARE(field<QLabel>(page, "errorLine")->text(), QStringLiteral("A flow named 'quick-fix' already exists"));
        click(page, "restoreOriginalButton");
        shoot(w.window.get(), "flows-tool.png");

        click(page, "deleteButton");
        QTRY_COMPARE(titles(page), (QStringList{"build-and-test", "quick-fix"}));
        QVERIFY(!QFile::exists(w.f.home(".claude/flows/Builder.md")));
    }

    void agentsToolSavesAndShowsOutsideEdits()
    {
        Window w;
        auto *page = w.openTool<AgentsToolPage>("agents", w.agents);
        QVERIFY(page);
        QCOMPARE(titles(page), (QStringList{"Planner", "Reviewer"}));
        const QString planner = w.f.home(".claude/agents/planner.md");
        QVERIFY(page->select(planner));
        QCOMPARE(field(page, "toolsField")->text(), QStringLiteral("Read, Grep, Glob"));
        typeInto(field(page, "toolsField"), "Read, Grep, , Glob, Bash");
        typeInto(field(page, "modelField"), "  ");
        w.window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.window.get()));
        field(page, "modelField")->setFocus();
        QTest::keySequence(w.window->windowHandle(), QKeySequence::Save);
        QVERIFY(readFile(planner).contains("\ntools: Read, Grep, Glob, Bash\n"));
        QVERIFY(!readFile(planner).contains("model:"));

        // Another editor changes the open file: the page reads it again.
        QVERIFY(writeFile(planner, "---\nname: planner\ndisplay-name: Planner\n---\nPlan in small steps."));
        QTRY_COMPARE_WITH_TIMEOUT(field<QPlainTextEdit>(page, "bodyEditor")->toPlainText(),
                                  QStringLiteral("Plan in small steps."), 5000);
        QCOMPARE(field(page, "toolsField")->text(), QString());
        shoot(w.window.get(), "agents-tool.png");
    }

    void skillsToolKeepsAndRestoresVersions()
    {
        Window w;
        auto *page = w.openTool<SkillsToolPage>("skills", w.skills);
        QVERIFY(page);
        QVERIFY(field<QLabel>(page, "stateLabel")->isVisible());
        QCOMPARE(field<QLabel>(page, "stateLabel")->text(), QStringLiteral("Create a skill to extend Claude's capabilities."));

        createNamed(page, "release-notes");
        const QString file = w.f.home(".claude/skills/release-notes/SKILL.md");
        QTRY_COMPARE(page->selectedFilePath(), file);
        QCOMPARE(field<QLabel>(page, "skillType")->text(), QStringLiteral("Model Skill"));
        auto *body = field<QPlainTextEdit>(page, "bodyEditor");
        for (const char *text : {"# Notes\n\nFirst.", "# Notes\n\nSecond.", "# Notes\n\nThird."}) {
            body->setPlainText(text);
            click(page, "saveButton");
            QCOMPARE(field<QLabel>(page, "errorLine")->isVisible(), false);
        }
        field(page, "newToolField")->setText("Bash(git log:*, git diff:*)");
        click(page, "addToolButton");
        typeInto(field(page, "descriptionField"), "Writes release notes");
        click(page, "saveButton");
        QVERIFY(readFile(file).contains("\nallowed-tools: Bash(git log:*, git diff:*)\n"));

        // A page added after the first versions, then a restore of v1 takes it away.
        click(page, "newPageButton");
        auto *sheet = page->findChild<QDialog *>("newPageSheet");
        QVERIFY(sheet);
        field(sheet, "pageName")->setText("style.md");
        click(sheet, "createPageButton");
        QCOMPARE(field<QComboBox>(page, "fileChoice")->currentText(), QStringLiteral("style.md"));
        body->setPlainText("Short sentences.");
        // Going from file to file keeps each one's edits; one Save writes them all.
        auto *files = field<QComboBox>(page, "fileChoice");
        files->setCurrentIndex(0);
        QCOMPARE(body->toPlainText(), QStringLiteral("# Notes\n\nThird."));
        body->setPlainText("# Notes\n\nFourth.");
        files->setCurrentIndex(1);
        QCOMPARE(body->toPlainText(), QStringLiteral("Short sentences."));
        click(page, "saveButton");
        QCOMPARE(readFile(w.f.home(".claude/skills/release-notes/style.md")), QByteArray("Short sentences."));
        QVERIFY(readFile(file).endsWith("\n---\n\n# Notes\n\nFourth."));
        QVERIFY(!field<QPushButton>(page, "saveButton")->isEnabled());

        auto *versions = field<QListWidget>(page, "versionList");
        QCOMPARE(versions->count(), 5);
        QCOMPARE(field<QListWidget>(page, "toolTokens")->count(), 1);
        QVERIFY(DefinitionFixture::idle(w.skills));
        shoot(w.window.get(), "skills-tool.png");
        versions->setCurrentRow(versions->count() - 1); // v1: the file as it was made
        QVERIFY(versions->currentItem()->text().startsWith("v1 · "));
        click(page, "restoreVersionButton");
        QCOMPARE(versions->count(), 6);
        QVERIFY(versions->item(0)->text().contains("Restored to v1"));
        QVERIFY(!QFile::exists(w.f.home(".claude/skills/release-notes/style.md")));
        QCOMPARE(body->toPlainText(), QStringLiteral("# release-notes"));
        QTRY_COMPARE(field<QComboBox>(page, "fileChoice")->count(), 1);

        versions->setCurrentRow(0); // the state before the restore: the page was still there
        click(page, "previewVersionButton");
        auto *preview = page->findChild<QDialog *>("versionPreview");
        QVERIFY(preview);
        QCOMPARE(preview->findChild<QListWidget *>("previewFiles")->count(), 2);
        preview->close();
    }
};

QTEST_MAIN(DefinitionToolsTest)
#include "tst_definition_tools.moc"
