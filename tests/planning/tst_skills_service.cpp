// Skills and commands on real files: what a scan finds and in which form, saving with the keys
// it does not know, the version history through saves and restores, import and clone naming.
#include "planning/SkillsService.h"

#include "core/records/Project.h"
#include "core/store/StoreContext.h"
#include "support/DefinitionFixture.h"
#include "support/StoreFixture.h"

#include <QTest>

using namespace corvane;
using namespace corvane::test;

namespace {

std::shared_ptr<Skill> skillAt(const SkillsService &service, const QString &filePath)
{
    for (const auto &skill : service.skills())
        if (skill->filePath == filePath)
            return skill;
    return nullptr;
}

QStringList versionSummary(const SkillsService &service, const std::shared_ptr<Skill> &skill)
{
    QStringList out;
    for (const auto &version : service.versions(skill))
        out << QStringLiteral("v%1 %2 %3").arg(version->versionNumber).arg(version->label.value_or("-"),
                                                                           version->files.keys().join(','));
    return out;
}

} // namespace

class SkillsServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void scanFindsBothFormsInOrder()
    {
        DefinitionFixture f;
        const QString project = f.project("app");
        insertPlace(f.store->mainContext(), project, {});
        QVERIFY(writeFile(f.home(".claude/skills/pdf/SKILL.md"), "---\ndescription: Reads PDFs\n---\nUse it."));
        QVERIFY(writeFile(f.home(".claude/skills/pdf/forms.md"), "Forms"));
        QVERIFY(writeFile(f.home(".claude/skills/empty/notes.md"), "no SKILL.md here"));
        QVERIFY(writeFile(f.home(".claude/commands/.hidden.md"), "---\nname: hidden\n---\n"));
        QVERIFY(writeFile(f.home(".claude/commands/sub/deep.md"), "---\nname: deep\n---\n"));
        QVERIFY(writeFile(f.home(".claude/commands/hint.md"),
                          "---\nargument-hint:\nallowed-tools: [Bash(git add:*, git status:*), Read]\n---\n"));
        QVERIFY(writeFile(project + "/.claude/commands/deploy.md", "---\nname: deploy\nargument-hint: <env>\n---\n"));

        SkillsService skills(f.store);
        QVERIFY(f.reloaded(skills, {project}));
        QCOMPARE(skills.skills().size(), 4);
        const auto pdf = skillAt(skills, f.home(".claude/skills/pdf/SKILL.md"));
        QCOMPARE(pdf->name, QStringLiteral("SKILL"));
        QCOMPARE(pdf->typeRaw, QStringLiteral("modelInvoked"));
        QCOMPARE(skills.fileCount(*pdf), 2);
        QCOMPARE(skills.scopeLabel(*pdf), QStringLiteral("Global"));
        // An empty hint is still a hint; commas inside brackets do not split.
        const auto hint = skillAt(skills, f.home(".claude/commands/hint.md"));
        QCOMPARE(hint->typeRaw, QStringLiteral("userInvoked"));
        QCOMPARE(hint->allowedTools, QStringList({"Bash(git add:*, git status:*)", "Read"}));
        QVERIFY(skillAt(skills, f.home(".claude/commands/.hidden.md")));
        const auto deploy = skillAt(skills, project + "/.claude/commands/deploy.md");
        QCOMPARE(deploy->sourceKindRaw, QStringLiteral("project"));
        QCOMPARE(skills.scopeLabel(*deploy), QStringLiteral("app"));
        QCOMPARE(skills.listPages(pdf).size(), 1);
        QCOMPARE(skills.createPage(deploy, "more.md").error().message,
                 QStringLiteral("Skill 'deploy' is command-based and cannot have pages"));
    }

    void saveKeepsUnknownKeysAndNeverRenames()
    {
        DefinitionFixture f;
        const QString path = f.home(".claude/commands/review.md");
        QVERIFY(writeFile(path, "---\nmodel: opus\nname: review\nargument-hint:\nx-team: core\n---\nBody\n"));
        SkillsService skills(f.store);
        QVERIFY(f.reloaded(skills, {}));
        auto review = skillAt(skills, path);
        QVERIFY(skills.saveSkill(review, {"Code review", "Reviews a diff", "", "", " Read, Grep ", "New body\n"}));
        QCOMPARE(readFile(path), QByteArray("---\nname: Code review\ndescription: Reviews a diff\nallowed-tools: Read, Grep\n"
                                            "model: opus\nx-team: core\n---\n\nNew body\n"));
        QCOMPARE(review->typeRaw, QStringLiteral("modelInvoked")); // the empty hint went with the save
        QVERIFY(f.reloaded(skills));
        QCOMPARE(skillAt(skills, path)->name, QStringLiteral("Code review"));
        QCOMPARE(versionSummary(skills, review), QStringList{"v1 - review.md"});
    }

    void restoreWritesAVersionBack()
    {
        DefinitionFixture f;
        QVERIFY(skillsCreate(f));
        SkillsService skills(f.store);
        QVERIFY(f.reloaded(skills, {}));
        const QString folder = f.home(".claude/skills/notes");
        auto notes = skillAt(skills, folder + "/SKILL.md");
        QVERIFY(notes);
        for (const char *body : {"one\n", "two\n", "three\n"})
            QVERIFY(skills.saveSkill(notes, {"notes", "", "", "", "", body}));
        QVERIFY(writeFile(folder + "/later.md", "added after v1"));
        QVERIFY(writeFile(folder + "/.keep", "dot files stay"));
        QCOMPARE(versionSummary(skills, notes), (QStringList{"v3 - SKILL.md", "v2 - SKILL.md", "v1 - SKILL.md"}));

        const auto first = skills.versions(notes).last();
        QVERIFY(skills.restoreVersion(notes, first));
        QCOMPARE(versionSummary(skills, notes).first(), QStringLiteral("v4 Restored to v1 SKILL.md,later.md"));
        QVERIFY(!QFile::exists(folder + "/later.md"));
        QVERIFY(QFile::exists(folder + "/.keep"));
        QCOMPARE(readFile(folder + "/SKILL.md"), first->files.value("SKILL.md").toUtf8());
        QCOMPARE(notes->currentVersionNumber, 4);

        // A deleted version leaves a gap; numbers are never reused.
        QVERIFY(skills.deleteVersion(skills.versions(notes).first()));
        QVERIFY(skills.saveVersion(notes, QStringLiteral("by hand")));
        QCOMPARE(versionSummary(skills, notes).first(), QStringLiteral("v5 by hand SKILL.md"));
        QVERIFY(skills.setVersionLabel(skills.versions(notes).first(), "  "));
        QCOMPARE(skills.versions(notes).first()->label, std::nullopt);
    }

    void unreadableFileKeepsItsHistoryAndAMissingOneDoesNot()
    {
        DefinitionFixture f;
        const QString path = f.home(".claude/commands/keep.md");
        QVERIFY(writeFile(path, "---\nname: keep\n---\n"));
        SkillsService skills(f.store);
        QVERIFY(f.reloaded(skills, {}));
        auto keep = skillAt(skills, path);
        QVERIFY(skills.saveSkill(keep, {"keep", "", "", "", "", "v1"}));
        QVERIFY(writeFile(path, "not \xff UTF-8"));
        QVERIFY(f.reloaded(skills));
        QCOMPARE(skills.versions(skillAt(skills, path)).size(), 1);

        QFile::remove(path);
        QVERIFY(f.reloaded(skills));
        QVERIFY(!skillAt(skills, path));
        QCOMPARE(f.store->mainContext().count<SkillVersion>().valueOr(-1), 0);
    }

    void importAndCloneNameTheirCopies()
    {
        DefinitionFixture f;
        const QString project = f.project("app");
        SkillsService skills(f.store);
        QVERIFY(writeFile(f.env.path("outside/notes.md"), "---\nname: notes\n---\n"));
        QVERIFY(writeFile(f.env.path("outside/kit/guide.md"), "Guide"));
        QVERIFY(writeFile(f.env.path("outside/bare/data.txt"), "data"));
        QVERIFY(skills.importSkill(f.env.path("outside/notes.md"), DefinitionLocation::user()));
        QVERIFY(skills.importSkill(f.env.path("outside/notes.md"), DefinitionLocation::user()));
        QVERIFY(skills.importSkill(f.env.path("outside/kit"), DefinitionLocation::project(project)));
        QVERIFY(skills.importSkill(f.env.path("outside/bare"), DefinitionLocation::user()));
        QCOMPARE(skills.importSkill(f.env.path("outside/none"), DefinitionLocation::user()).error().message,
                 "Skill file not found: " + f.env.path("outside/none"));
        QVERIFY(QFile::exists(f.home(".claude/skills/notes-copy/SKILL.md")));
        QVERIFY(QFile::exists(f.home(".claude/skills/notes-copy-2/SKILL.md")));
        QCOMPARE(readFile(project + "/.claude/skills/kit-copy/SKILL.md"), QByteArray("Guide"));
        QCOMPARE(readFile(f.home(".claude/skills/bare-copy/SKILL.md")),
                 QByteArray("---\nname: bare-copy\ndescription: Imported skill\nallowed-tools: []\n---\n\n"));

        QVERIFY(skills.createSkill("ship", true, DefinitionLocation::user()));
        QCOMPARE(skills.createSkill("ship", true, DefinitionLocation::user()).error().message,
                 QStringLiteral("A skill named 'ship' already exists"));
        QVERIFY(f.reloaded(skills, {project}));
        const auto ship = skillAt(skills, f.home(".claude/commands/ship.md"));
        QVERIFY(ship && ship->isUserInvoked());
        QVERIFY(skills.cloneSkill(ship, DefinitionLocation::user()));
        QVERIFY(skills.cloneSkill(ship, DefinitionLocation::user()));
        QVERIFY(QFile::exists(f.home(".claude/commands/ship-copy.md")));
        QVERIFY(QFile::exists(f.home(".claude/commands/ship-copy-2.md")));
        QVERIFY(skills.cloneSkill(skillAt(skills, project + "/.claude/skills/kit-copy/SKILL.md"), DefinitionLocation::user()));
        QVERIFY(QFile::exists(f.home(".claude/skills/kit-copy-copy/SKILL.md")));
        QVERIFY(f.reloaded(skills));
        QCOMPARE(skills.skills().size(), 8);

        QVERIFY(skills.deleteSkill(skillAt(skills, f.home(".claude/skills/kit-copy-copy/SKILL.md"))));
        QVERIFY(!QFileInfo::exists(f.home(".claude/skills/kit-copy-copy")));
    }

    void outsideEditIsPickedUp()
    {
        DefinitionFixture f;
        QVERIFY(skillsCreate(f));
        SkillsService skills(f.store);
        QVERIFY(f.reloaded(skills, {}));
        skills.startWatching();
        QVERIFY(f.reloadsBySelf(skills));
        QVERIFY(writeFile(f.home(".claude/skills/notes/SKILL.md"), "---\nname: renamed outside\n---\n"));
        QTRY_COMPARE_WITH_TIMEOUT(skillAt(skills, f.home(".claude/skills/notes/SKILL.md"))->name,
                                  QStringLiteral("renamed outside"), 5000);
        QVERIFY(writeFile(f.home(".claude/skills/fresh/SKILL.md"), "---\nname: fresh\n---\n"));
        QTRY_VERIFY_WITH_TIMEOUT(skillAt(skills, f.home(".claude/skills/fresh/SKILL.md")), 5000);
    }

private:
    static bool skillsCreate(DefinitionFixture &f)
    {
        return writeFile(f.home(".claude/skills/notes/SKILL.md"), "---\nname: notes\n---\nzero\n");
    }
};

QTEST_GUILESS_MAIN(SkillsServiceTest)
#include "tst_skills_service.moc"
