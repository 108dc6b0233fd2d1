#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

struct FrontMatter;

// One skill or command file as read. A key written with no value reads as the empty text, which
// is not the same as a missing key (an empty "argument-hint:" still makes a command).
struct ScannedSkill
{
    QString name;
    std::optional<QString> description;
    std::optional<QString> version;
    std::optional<QString> argumentHint;
    QStringList allowedTools;
    QString filePath;
};

// What the skill editor saves: its five header fields as typed, and the body.
struct SkillEdit
{
    QString name;
    QString description;
    QString version;
    QString argumentHint;
    QString allowedTools; // "Read, Bash(git add:*, git status:*)"
    QString body;
};

namespace skillfile {

// A folder skill's file is "<folder>/SKILL.md"; without a "name" key it is called "SKILL".
ScannedSkill parse(const QString &content, const QString &filePath);
QString newSkillTemplate(const QString &name, bool isCommand);
// The header of a folder imported without any Markdown file of its own.
QString importedSkillFile(const QString &name);
// The file as the editor writes it over `current` (the file as it is, or empty when it cannot be
// read): the five keys it edits first, set or removed, then every other key of the file in its
// order, so keys Corvane does not know survive a save.
QString write(const FrontMatter &current, const SkillEdit &edit);

} // namespace skillfile
} // namespace corvane
