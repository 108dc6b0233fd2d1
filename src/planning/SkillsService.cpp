#include "planning/SkillsService.h"

#include "automation/DefinitionFiles.h"
#include "automation/FrontMatter.h"
#include "automation/RecordMirror.h"
#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>

namespace corvane {

namespace files = definitionfiles;

namespace {

const QString SkillFileName = QStringLiteral("SKILL.md");

struct ScannedPlace
{
    QString projectPath; // empty for the user's own
    QList<ScannedSkill> skills;
};

// What a scan met. A skill file that is there but cannot be read (permissions, not UTF-8) keeps
// its record as it was: dropping it would take the skill's version history with it.
struct ScanFindings
{
    QStringList watch;
    QSet<QString> unreadable;
    QHash<QString, int> fileCounts;
};

void scanFile(const QString &path, QList<ScannedSkill> &out, ScanFindings &found)
{
    if (const auto content = files::readUtf8(path))
        out.append(skillfile::parse(*content, path));
    else if (QFileInfo::exists(path))
        found.unreadable.insert(path);
}

QFileInfoList entriesOf(const QString &folder)
{
    return QDir(folder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                      QDir::NoSort);
}

// A folder skill's files as a card counts them: every entry but dot files.
int countFiles(const QString &folder)
{
    int count = 0;
    for (const QFileInfo &entry : entriesOf(folder))
        if (!entry.fileName().startsWith(QLatin1Char('.')))
            ++count;
    return count;
}

// "<folder>/<entry>/SKILL.md" for every entry; the entries are watched, since a skill's pages and
// its SKILL.md change inside them.
void scanSkillFolders(const QString &folder, QList<ScannedSkill> &out, ScanFindings &found)
{
    found.watch.append(folder);
    for (const QFileInfo &entry : entriesOf(folder)) {
        if (!entry.isDir())
            continue;
        found.watch.append(entry.filePath());
        const QString file = entry.filePath() + QLatin1Char('/') + SkillFileName;
        scanFile(file, out, found);
        found.fileCounts.insert(file, countFiles(entry.filePath()));
    }
}

void scanCommands(const QString &folder, QList<ScannedSkill> &out, ScanFindings &found)
{
    found.watch.append(folder);
    for (const QFileInfo &entry : entriesOf(folder))
        if (entry.fileName().endsWith(QLatin1String(".md")))
            scanFile(entry.filePath(), out, found);
}

void applyScannedSkill(Skill &record, const ScannedSkill &skill)
{
    record.name = skill.name;
    record.skillDescription = skill.description;
    record.version = skill.version;
    record.argumentHint = skill.argumentHint;
    record.allowedTools = skill.allowedTools;
    record.typeRaw = Skill::typeRawFor(skill.argumentHint);
    record.lastSyncedAt = QDateTime::currentDateTime();
}

std::optional<QString> nonEmpty(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

// The files of a skill as they are: a folder skill's own files (no dot files, no subfolders),
// or a command's one file. Files that are not text are left out.
store::StringMap snapshot(const Skill &skill)
{
    store::StringMap files;
    if (const auto folder = skill.directoryPath()) {
        for (const QFileInfo &entry : entriesOf(*folder))
            if (entry.isFile() && !entry.fileName().startsWith(QLatin1Char('.')))
                if (const auto content = files::readUtf8(entry.filePath()))
                    files.insert(entry.fileName(), *content);
    } else if (const auto content = files::readUtf8(skill.filePath)) {
        files.insert(QFileInfo(skill.filePath).fileName(), *content);
    }
    return files;
}

} // namespace

SkillsService::SkillsService(std::shared_ptr<Store> store, QObject *parent)
    : DefinitionService(std::move(store), parent)
{
}

QString SkillsService::baseFolder(const DefinitionLocation &location)
{
    return location.projectFolder ? *location.projectFolder + QStringLiteral("/.claude") : files::claudeHome();
}

QString SkillsService::alreadyExistsMessage(const QString &name)
{
    return QStringLiteral("A skill named '%1' already exists").arg(name);
}

QString SkillsService::notFoundMessage(const QString &what)
{
    return QStringLiteral("Skill file not found: ") + what;
}

QString SkillsService::notDirectoryBasedMessage(const QString &name)
{
    return QStringLiteral("Skill '%1' is command-based and cannot have pages").arg(name);
}

DefinitionService::ScanJob SkillsService::scanJob(const QStringList &projectPaths)
{
    auto counts = std::make_shared<QHash<QString, int>>();
    m_scannedCounts = counts;
    return [projectPaths, counts](StoreContext &context) {
        ScanFindings found;
        // The user's skills come before their commands; a project's commands before its skills.
        ScannedPlace user;
        const QString home = files::claudeHome();
        scanSkillFolders(home + QStringLiteral("/skills"), user.skills, found);
        scanCommands(home + QStringLiteral("/commands"), user.skills, found);
        QList<ScannedPlace> places;
        for (const QString &path : projectPaths) {
            ScannedPlace place{path, {}};
            const QString base = path + QStringLiteral("/.claude");
            scanCommands(base + QStringLiteral("/commands"), place.skills, found);
            scanSkillFolders(base + QStringLiteral("/skills"), place.skills, found);
            if (!place.skills.isEmpty())
                places.append(std::move(place));
        }

        const auto all = context.fetchOrEmpty<Skill>();
        QList<std::shared_ptr<Skill>> personal, project;
        for (const auto &skill : all)
            (skill->isProjectSkill() ? project : personal).append(skill);
        RecordMirror<Skill> personalRecords(personal);
        RecordMirror<Skill> projectRecords(project);
        QSet<QString> seen = found.unreadable;
        // Updated in place, or made with its kind and, for a project's, the project's folder.
        auto mirror = [&](RecordMirror<Skill> &records, const ScannedSkill &skill, const ScannedPlace &place,
                          const std::shared_ptr<Project> &owner) {
            seen.insert(skill.filePath);
            auto record = records.find(skill.filePath);
            if (!record) {
                Skill made;
                made.filePath = skill.filePath;
                made.sourceKindRaw = place.projectPath.isEmpty() ? QStringLiteral("personal") : QStringLiteral("project");
                if (!place.projectPath.isEmpty())
                    made.projectPath = place.projectPath;
                if (owner)
                    made.projectId = owner->id;
                record = context.insert(std::move(made));
            }
            applyScannedSkill(*record, skill);
        };
        for (const ScannedSkill &skill : user.skills)
            mirror(personalRecords, skill, user, nullptr);
        const auto projects = projectsByPath(context);
        for (const ScannedPlace &place : places)
            for (const ScannedSkill &skill : place.skills)
                mirror(projectRecords, skill, place, projects.value(place.projectPath));
        // A skill whose file is gone takes its versions with it.
        QSet<QUuid> removed;
        auto remove = [&](const std::shared_ptr<Skill> &skill) {
            if (!removed.contains(skill->id)) {
                removed.insert(skill->id);
                context.remove(skill);
            }
        };
        for (const auto &skill : all)
            if (!seen.contains(skill->filePath))
                remove(skill);
        for (const auto &extra : personalRecords.duplicates() + projectRecords.duplicates())
            remove(extra);
        *counts = std::move(found.fileCounts);
        return DefinitionScanOutcome{context.save(), found.watch};
    };
}

Status SkillsService::publish()
{
    auto skills = mainContext().fetch<Skill>();
    if (!skills)
        return skills.error();
    sortByName(*skills);
    m_skills = std::move(skills).value();
    if (m_scannedCounts)
        m_fileCounts = std::move(*std::exchange(m_scannedCounts, nullptr));
    return {};
}

Status SkillsService::createSkill(const QString &name, bool isCommand, const DefinitionLocation &location)
{
    if (Status valid = files::checkName(name); !valid)
        return valid;
    const QString base = baseFolder(location);
    const auto made = isCommand
        ? files::createNew(base + QStringLiteral("/commands"), name + QStringLiteral(".md"),
                           skillfile::newSkillTemplate(name, true), alreadyExistsMessage(name))
        : files::createNew(base + QStringLiteral("/skills/") + name, SkillFileName,
                           skillfile::newSkillTemplate(name, false), alreadyExistsMessage(name));
    if (!made)
        return made.error();
    reload();
    return {};
}

Status SkillsService::importSkill(const QString &source, const DefinitionLocation &location)
{
    const QFileInfo from(source);
    if (!from.exists())
        return Error(notFoundMessage(source));
    const QString target = baseFolder(location) + QStringLiteral("/skills");
    if (Status made = files::makeFolder(target); !made)
        return made;
    const QString imported = from.isDir() ? from.fileName() : from.completeBaseName();
    const QString name = files::copyName(imported, {}, [&](const QString &candidate) {
        return QFileInfo::exists(target + QLatin1Char('/') + candidate);
    });
    const QString folder = target + QLatin1Char('/') + name;
    if (!from.isDir()) {
        if (Status made = files::makeFolder(folder); !made)
            return made;
        if (!QFile::copy(source, folder + QLatin1Char('/') + SkillFileName))
            return Error(QStringLiteral("Could not copy %1 into %2").arg(source, folder));
    } else {
        if (Status copied = files::copyFolder(source, folder); !copied)
            return copied;
        const QString skillFile = folder + QLatin1Char('/') + SkillFileName;
        if (!QFileInfo::exists(skillFile)) {
            const auto entries = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden, QDir::Name);
            const auto page = std::find_if(entries.cbegin(), entries.cend(), [](const QFileInfo &entry) {
                return entry.fileName().endsWith(QLatin1String(".md"));
            });
            if (page != entries.cend()) {
                if (!QFile::rename(page->filePath(), skillFile))
                    return Error(QStringLiteral("Could not rename %1 to %2").arg(page->filePath(), SkillFileName));
            } else if (Status written = files::writeAtomically(skillFile, skillfile::importedSkillFile(name)); !written) {
                return written;
            }
        }
    }
    reload();
    return {};
}

Result<QString> SkillsService::cloneSkill(const std::shared_ptr<Skill> &skill, const DefinitionLocation &location)
{
    // A clone keeps the form of its original: a folder skill goes to "skills", a command file to
    // "commands", the only places a scan would find them again.
    const QString base = baseFolder(location);
    const auto folder = skill->directoryPath();
    const QString target = base + (folder ? QStringLiteral("/skills") : QStringLiteral("/commands"));
    if (Status made = files::makeFolder(target); !made)
        return made.error();
    auto taken = [&](const QString &candidate) { return QFileInfo::exists(target + QLatin1Char('/') + candidate); };
    QString made;
    if (folder) {
        made = target + QLatin1Char('/') + files::copyName(QFileInfo(*folder).fileName(), {}, taken);
        if (Status copied = files::copyFolder(*folder, made); !copied)
            return copied.error();
        made += QLatin1Char('/') + SkillFileName;
    } else {
        const QFileInfo file(skill->filePath);
        const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
        made = target + QLatin1Char('/') + files::copyName(file.completeBaseName(), suffix, taken);
        if (!QFile::copy(skill->filePath, made))
            return Error(QStringLiteral("Could not copy %1 to %2").arg(skill->filePath, made));
    }
    reload();
    return made;
}

Status SkillsService::deleteSkill(const std::shared_ptr<Skill> &skill)
{
    Status removed = files::removePath(skill->directoryPath().value_or(skill->filePath));
    reload();
    return removed;
}

std::optional<QString> SkillsService::readSkillContent(const std::shared_ptr<Skill> &skill) const
{
    return files::readUtf8(skill->filePath);
}

std::shared_ptr<SkillVersion> SkillsService::saveVersion(const std::shared_ptr<Skill> &skill,
                                                         const std::optional<QString> &label)
{
    store::StringMap files = snapshot(*skill);
    if (files.isEmpty())
        return nullptr;
    SkillVersion version;
    version.versionNumber = skill->currentVersionNumber + 1;
    version.files = std::move(files);
    version.label = label;
    version.skillId = skill->id;
    skill->currentVersionNumber = version.versionNumber;
    auto inserted = mainContext().insert(std::move(version));
    if (Status saved = mainContext().save(); !saved)
        return nullptr;
    return inserted;
}

Status SkillsService::saveSkill(const std::shared_ptr<Skill> &skill, SkillEdit edit)
{
    saveVersion(skill);
    const auto content = files::readUtf8(skill->filePath);
    const FrontMatter current = content ? frontmatter::parse(*content) : FrontMatter();
    edit.name = edit.name.trimmed();
    if (edit.name.isEmpty())
        edit.name = skill->name;
    skill->name = edit.name;
    if (Status written = files::writeAtomically(skill->filePath, skillfile::write(current, edit)); !written) {
        (void)mainContext().save();
        return written;
    }
    skill->skillDescription = nonEmpty(edit.description.trimmed());
    skill->version = nonEmpty(edit.version.trimmed());
    skill->argumentHint = nonEmpty(edit.argumentHint.trimmed());
    skill->allowedTools = frontmatter::allowedTools(edit.allowedTools.trimmed());
    skill->typeRaw = Skill::typeRawFor(skill->argumentHint);
    skill->lastSyncedAt = QDateTime::currentDateTime();
    Status saved = mainContext().save();
    reload();
    return saved;
}

Status SkillsService::restoreVersion(const std::shared_ptr<Skill> &skill, const std::shared_ptr<SkillVersion> &version)
{
    saveVersion(skill, QStringLiteral("Restored to v%1").arg(version->versionNumber));
    if (const auto folder = skill->directoryPath()) {
        for (const QFileInfo &entry : entriesOf(*folder))
            if (entry.isFile() && !entry.fileName().startsWith(QLatin1Char('.'))
                && !version->files.contains(entry.fileName()))
                QFile::remove(entry.filePath());
        for (auto it = version->files.cbegin(); it != version->files.cend(); ++it)
            if (Status written = files::writeAtomically(*folder + QLatin1Char('/') + it.key(), it.value()); !written)
                return written;
    } else if (!version->files.isEmpty()) {
        if (Status written = files::writeAtomically(skill->filePath, version->files.first()); !written)
            return written;
    }
    if (const auto content = files::readUtf8(skill->filePath)) {
        const FrontMatter header = frontmatter::parse(*content);
        skill->name = header.value(QStringLiteral("name")).value_or(skill->name);
        skill->skillDescription = header.value(QStringLiteral("description"));
        skill->version = header.value(QStringLiteral("version"));
        skill->argumentHint = header.value(QStringLiteral("argument-hint"));
        skill->allowedTools = frontmatter::allowedTools(header.value(QStringLiteral("allowed-tools")));
        skill->typeRaw = Skill::typeRawFor(skill->argumentHint);
    }
    skill->lastSyncedAt = QDateTime::currentDateTime();
    Status saved = mainContext().save();
    if (saved)
        emit skillContentDidChange(skill->id);
    reload();
    return saved;
}

QList<std::shared_ptr<SkillVersion>> SkillsService::versions(const std::shared_ptr<Skill> &skill) const
{
    auto versions = mainContext().fetchOrEmpty<SkillVersion>(Query(where::eq("skillId", skill->id)));
    std::sort(versions.begin(), versions.end(),
              [](const auto &a, const auto &b) { return a->versionNumber > b->versionNumber; });
    return versions;
}

Status SkillsService::setVersionLabel(const std::shared_ptr<SkillVersion> &version, const QString &label)
{
    version->label = nonEmpty(label.trimmed());
    return mainContext().save();
}

Status SkillsService::deleteVersion(const std::shared_ptr<SkillVersion> &version)
{
    mainContext().remove(version);
    return mainContext().save();
}

QList<SkillPage> SkillsService::listPages(const std::shared_ptr<Skill> &skill) const
{
    QList<SkillPage> pages;
    const auto folder = skill->directoryPath();
    if (!folder)
        return pages;
    for (const QFileInfo &entry : entriesOf(*folder))
        if (entry.isFile() && entry.fileName() != SkillFileName && !entry.fileName().startsWith(QLatin1Char('.')))
            pages.append({entry.filePath(), entry.fileName(), entry.filePath()});
    std::sort(pages.begin(), pages.end(), [](const SkillPage &a, const SkillPage &b) { return a.name < b.name; });
    return pages;
}

Result<SkillPage> SkillsService::createPage(const std::shared_ptr<Skill> &skill, const QString &fileName)
{
    const auto folder = skill->directoryPath();
    if (!folder)
        return Error(notDirectoryBasedMessage(skill->name));
    const auto path = files::createNew(*folder, fileName, {}, alreadyExistsMessage(fileName));
    if (!path)
        return path.error();
    return SkillPage{*path, fileName, *path};
}

Status SkillsService::savePage(const SkillPage &page, const QString &content)
{
    return files::writeAtomically(page.filePath, content);
}

int SkillsService::fileCount(const Skill &skill) const
{
    const auto folder = skill.directoryPath();
    if (!folder)
        return 1;
    if (const auto counted = m_fileCounts.constFind(skill.filePath); counted != m_fileCounts.cend())
        return std::max(1, *counted);
    return QFileInfo(*folder).isDir() ? std::max(1, countFiles(*folder)) : 1;
}

QString SkillsService::scopeLabel(const Skill &skill) const
{
    if (skill.projectId)
        if (const auto project = mainContext().get<Project>(*skill.projectId))
            return project->name;
    if (skill.isProjectSkill() && skill.projectPath)
        return QFileInfo(*skill.projectPath).fileName();
    return QStringLiteral("Global");
}

} // namespace corvane
