#pragma once

#include "automation/DefinitionService.h"
#include "core/records/Skill.h"
#include "core/records/SkillVersion.h"
#include "planning/SkillFile.h"

#include <QHash>
#include <QList>

#include <memory>
#include <optional>

namespace corvane {

// One extra file of a folder skill, beside its SKILL.md.
struct SkillPage
{
    QString id; // the file's path
    QString name;
    QString filePath;
};

// Skills and commands where the claude agent reads them: "~/.claude/skills/<name>/SKILL.md" and
// "~/.claude/commands/<name>.md" for the user, the same under "<project>/.claude" for each project.
// Mirrored into Skill records, which also keep each skill's version history: every save from the
// editor snapshots the files as they were, and a restore puts a snapshot back on disk.
class SkillsService : public DefinitionService
{
    Q_OBJECT

public:
    SkillsService(std::shared_ptr<Store> store, QObject *parent = nullptr);

    // "<base>/skills" and "<base>/commands" hang off this: "~/.claude" or "<project>/.claude".
    static QString baseFolder(const DefinitionLocation &location);

    static QString alreadyExistsMessage(const QString &name);
    static QString notFoundMessage(const QString &what);
    static QString notDirectoryBasedMessage(const QString &name);

    // Sorted by name.
    const QList<std::shared_ptr<Skill>> &skills() const { return m_skills; }

    Status createSkill(const QString &name, bool isCommand, const DefinitionLocation &location);
    // A Markdown file or a folder becomes "<location>/skills/<name>-copy" (then "-copy-2", ...).
    Status importSkill(const QString &source, const DefinitionLocation &location);
    // The clone's SKILL.md or command file.
    Result<QString> cloneSkill(const std::shared_ptr<Skill> &skill, const DefinitionLocation &location);
    Status deleteSkill(const std::shared_ptr<Skill> &skill);
    std::optional<QString> readSkillContent(const std::shared_ptr<Skill> &skill) const;

    // Snapshots the files as they are, then writes the edit over the file (never renaming it).
    Status saveSkill(const std::shared_ptr<Skill> &skill, SkillEdit edit);
    // A new version of the files as they are now; null when there is no file to keep.
    std::shared_ptr<SkillVersion> saveVersion(const std::shared_ptr<Skill> &skill,
                                              const std::optional<QString> &label = std::nullopt);
    // Saves the present state as "Restored to v N", then writes the version's files back; a folder
    // skill loses the files the version does not have.
    Status restoreVersion(const std::shared_ptr<Skill> &skill, const std::shared_ptr<SkillVersion> &version);
    // Highest number first.
    QList<std::shared_ptr<SkillVersion>> versions(const std::shared_ptr<Skill> &skill) const;
    Status setVersionLabel(const std::shared_ptr<SkillVersion> &version, const QString &label);
    Status deleteVersion(const std::shared_ptr<SkillVersion> &version);

    QList<SkillPage> listPages(const std::shared_ptr<Skill> &skill) const;
    Result<SkillPage> createPage(const std::shared_ptr<Skill> &skill, const QString &fileName);
    Status savePage(const SkillPage &page, const QString &content);

    // The files a card counts: 1 for a command, the folder's entries for a folder skill. Counted
    // by the last scan, off the main thread; a skill it did not count is counted now.
    int fileCount(const Skill &skill) const;
    // The project's name, the last part of the project path, or "Global".
    QString scopeLabel(const Skill &skill) const;

signals:
    // A restore rewrote the files of this skill.
    void skillContentDidChange(const QUuid &skillId);

protected:
    ScanJob scanJob(const QStringList &projectPaths) override;
    Status publish() override;

private:
    QList<std::shared_ptr<Skill>> m_skills;
    QHash<QString, int> m_fileCounts; // by SKILL.md path
    // Filled by the scan under way, taken over when it is published.
    std::shared_ptr<QHash<QString, int>> m_scannedCounts;
};

} // namespace corvane
