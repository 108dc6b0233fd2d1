#pragma once

#include <QString>
#include <QTemporaryDir>

namespace corvane::test {

// Gives a test its own XDG data, config, cache and state folders and HOME in a temporary
// directory, so nothing it does reaches the user's real files or another test's.
class TestEnvironment
{
public:
    TestEnvironment();
    ~TestEnvironment();

    QString root() const { return m_dir.path(); }
    QString path(const QString &relative) const { return m_dir.filePath(relative); }

private:
    QTemporaryDir m_dir;
    QByteArray m_oldHome;
};

// The source tree, for fixtures.
QString sourceDir();

} // namespace corvane::test
