#include "source_control/accounts/GitSettingsModel.h"

#include "source_control/accounts/GlobalIgnoreFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace corvane {

namespace {

const QString nameKey = QStringLiteral("user.name");
const QString emailKey = QStringLiteral("user.email");
const QString excludesKey = QStringLiteral("core.excludesFile");

} // namespace

GitSettingsModel::GitSettingsModel(const QString &gitProgram, QObject *parent)
    : QObject(parent), m_git(gitProgram)
{
}

void GitSettingsModel::load()
{
    m_git.get(nameKey, this, [this](std::optional<QString> value) { m_name = value.value_or(QString()); });
    m_git.get(emailKey, this, [this](std::optional<QString> value) { m_email = value.value_or(QString()); });
    m_git.get(excludesKey, this, [this](std::optional<QString> value) {
        m_excludesFile = value.value_or(QString());
        m_nameDirty = m_emailDirty = false;
        readIgnoreFile();
        m_loaded = true;
        emit loaded();
        emit changed();
    });
}

void GitSettingsModel::editName(const QString &text)
{
    m_name = text;
    m_nameDirty = true;
}

void GitSettingsModel::editEmail(const QString &text)
{
    m_email = text;
    m_emailDirty = true;
}

void GitSettingsModel::submitName()
{
    if (!m_nameDirty)
        return;
    m_nameDirty = false;
    m_git.set(nameKey, m_name);
}

void GitSettingsModel::submitEmail()
{
    if (!m_emailDirty)
        return;
    m_emailDirty = false;
    m_git.set(emailKey, m_email);
}

void GitSettingsModel::done()
{
    submitName();
    submitEmail();
}

QString GitSettingsModel::ignoreFilePath() const
{
    const QString configured = m_excludesFile.isEmpty() ? QString::fromUtf16(globalignore::defaultLocation) : m_excludesFile;
    return globalignore::expandTilde(configured, QDir::homePath());
}

void GitSettingsModel::readIgnoreFile()
{
    m_patterns.clear();
    m_readOnly = false;
    if (m_excludesFile.isEmpty())
        return;
    QFile file(ignoreFilePath());
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        m_readOnly = true;
        return;
    }
    const std::optional<QStringList> patterns = globalignore::parsePatterns(file.readAll());
    m_readOnly = !patterns;
    m_patterns = patterns.value_or(QStringList());
}

bool GitSettingsModel::addPattern(const QString &pattern)
{
    const QString trimmed = pattern.trimmed();
    if (trimmed.isEmpty() || m_patterns.contains(trimmed) || m_readOnly || !m_loaded)
        return false;
    m_patterns.append(trimmed);
    savePatterns();
    emit changed();
    return true;
}

void GitSettingsModel::removePattern(const QString &pattern)
{
    if (m_readOnly || !m_patterns.removeOne(pattern))
        return;
    savePatterns();
    emit changed();
}

void GitSettingsModel::savePatterns()
{
    if (m_excludesFile.isEmpty()) {
        m_excludesFile = QString::fromUtf16(globalignore::defaultLocation);
        m_git.set(excludesKey, m_excludesFile);
    }
    QString path = ignoreFilePath();
    // A dotfile manager's link stays a link: the file it points to is the one rewritten.
    if (const QFileInfo info(path); info.isSymLink() && !info.canonicalFilePath().isEmpty())
        path = info.canonicalFilePath();
    QByteArray original;
    QFile current(path);
    if (current.open(QIODevice::ReadOnly))
        original = current.readAll();
    QDir().mkpath(QFileInfo(path).absolutePath());
    // All or nothing: the user's file is never left half written.
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(globalignore::rewrite(original, m_patterns));
        file.commit();
    }
}

} // namespace corvane
