#include "planning/SkillFile.h"

#include "automation/FrontMatter.h"

#include <QFileInfo>

namespace corvane::skillfile {

ScannedSkill parse(const QString &content, const QString &filePath)
{
    const FrontMatter header = frontmatter::parse(content);
    ScannedSkill skill;
    skill.filePath = filePath;
    skill.name = header.value(QStringLiteral("name")).value_or(QFileInfo(filePath).completeBaseName());
    skill.description = header.value(QStringLiteral("description"));
    skill.version = header.value(QStringLiteral("version"));
    skill.argumentHint = header.value(QStringLiteral("argument-hint"));
    skill.allowedTools = frontmatter::allowedTools(header.value(QStringLiteral("allowed-tools")));
    return skill;
}

QString newSkillTemplate(const QString &name, bool isCommand)
{
    QStringList lines{QStringLiteral("---"), QStringLiteral("name: ") + name};
    if (isCommand)
        lines << QStringLiteral("description: Description for /") + name << QStringLiteral("argument-hint: <arg>");
    else
        lines << QStringLiteral("description: This skill should be used when...");
    lines << QStringLiteral("allowed-tools: []") << QStringLiteral("---") << QString() << QStringLiteral("# ") + name
          << QString() << QString();
    return lines.join(QLatin1Char('\n'));
}

QString importedSkillFile(const QString &name)
{
    return QStringLiteral("---\nname: ") + name + QStringLiteral("\ndescription: Imported skill\nallowed-tools: []\n---\n\n");
}

QString write(const FrontMatter &current, const SkillEdit &edit)
{
    static const QStringList edited{QStringLiteral("name"), QStringLiteral("description"), QStringLiteral("version"),
                                    QStringLiteral("argument-hint"), QStringLiteral("allowed-tools")};
    const QString values[] = {edit.name.trimmed(), edit.description.trimmed(), edit.version.trimmed(),
                              edit.argumentHint.trimmed(), edit.allowedTools.trimmed()};
    QStringList lines;
    for (int i = 0; i < edited.size(); ++i)
        if (!values[i].isEmpty())
            lines << edited[i] + QStringLiteral(": ") + values[i];
    for (const QString &key : current.keys)
        if (!edited.contains(key))
            lines << key + QStringLiteral(": ") + current.fields.value(key);
    return QStringLiteral("---\n") + lines.join(QLatin1Char('\n')) + QStringLiteral("\n---\n\n") + edit.body;
}

} // namespace corvane::skillfile
