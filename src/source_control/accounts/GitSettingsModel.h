#pragma once

#include "source_control/accounts/GitGlobalConfig.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace corvane {

// The Git Settings sheet: the global author and the global ignore patterns. A field's edit is
// written when the field is submitted or the sheet is done; an emptied field unsets its key.
// Patterns are saved at each change to the file core.excludesFile names ("~/.gitignore" when
// it names none, which then becomes its value).
class GitSettingsModel : public QObject
{
    Q_OBJECT

public:
    explicit GitSettingsModel(const QString &gitProgram = {}, QObject *parent = nullptr);

    // Reads the author and the patterns again; loaded() follows.
    void load();
    bool isLoaded() const { return m_loaded; }

    QString authorName() const { return m_name; }
    QString authorEmail() const { return m_email; }
    bool nameDirty() const { return m_nameDirty; }
    bool emailDirty() const { return m_emailDirty; }
    void editName(const QString &text);
    void editEmail(const QString &text);
    void submitName();
    void submitEmail();
    // Writes whatever is still dirty.
    void done();

    QStringList ignoredPatterns() const { return m_patterns; }
    // The ignore file could not be read (not UTF-8, no permission): it is left alone, and the
    // pattern list cannot be edited until it can.
    bool isIgnoreFileReadOnly() const { return m_readOnly; }
    QString ignoreFilePath() const;
    // False, changing nothing, for a blank pattern, one already listed, or a file we can't edit.
    bool addPattern(const QString &pattern);
    void removePattern(const QString &pattern);

signals:
    void loaded();
    void changed();

private:
    void readIgnoreFile();
    void savePatterns();

    GitGlobalConfig m_git;
    QString m_name;
    QString m_email;
    bool m_nameDirty = false;
    bool m_emailDirty = false;
    QString m_excludesFile; // core.excludesFile as git holds it; empty when unset
    QStringList m_patterns;
    bool m_readOnly = false;
    bool m_loaded = false;
};

} // namespace corvane
