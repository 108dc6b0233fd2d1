#include "source_control/accounts/GitGlobalConfig.h"

#include "source_control/GitCommandQueue.h"
#include "source_control/GitExecutable.h"
#include "source_control/GitHubParsers.h"
#include "source_control/ParserSupport.h"

#include <QDir>

namespace corvane {

GitGlobalConfig::GitGlobalConfig(const QString &program)
    // Any folder will do for --global and credential calls; a HOME that does not exist must
    // not stop them.
    : m_queue(GitCommandQueue::create(QDir(QDir::homePath()).exists() ? QDir::homePath() : QDir::rootPath(),
                                      program.isEmpty() ? gitExecutable() : program))
{
}

void GitGlobalConfig::run(const QStringList &arguments, const QByteArray &input, QObject *context, Answer answer) const
{
    const bool guarded = context != nullptr;
    QPointer<QObject> alive(context);
    m_queue->enqueue([=, queue = m_queue.get()](const GitCommandQueue::Done &done) {
        queue->execute(arguments, [=](const GitCommandOutcome &outcome) {
            if (answer && (!guarded || alive))
                answer(outcome.succeeded(), outcome.output);
            done();
        }, input);
    });
}

void GitGlobalConfig::get(const QString &key, QObject *context, std::function<void(std::optional<QString>)> done) const
{
    run({"config", "--global", key}, {}, context, [done](bool succeeded, const QByteArray &output) {
        std::optional<QString> value;
        if (succeeded)
            value = gitparse::strictUtf8(output).value_or(QString()).trimmed();
        done(value);
    });
}

void GitGlobalConfig::set(const QString &key, const QString &value, QObject *context, std::function<void()> done) const
{
    const QString trimmed = value.trimmed();
    const QStringList arguments = trimmed.isEmpty() ? QStringList{"config", "--global", "--unset", key}
                                                    : QStringList{"config", "--global", key, trimmed};
    run(arguments, {}, context, [done](bool, const QByteArray &) {
        if (done)
            done();
    });
}

void GitGlobalConfig::credentialHelpers(QObject *context, std::function<void(QStringList)> done) const
{
    run({"config", "--get-all", "credential.helper"}, {}, context, [done](bool succeeded, const QByteArray &output) {
        QStringList helpers;
        if (succeeded) {
            QStringList lines = QString::fromUtf8(output).split(QLatin1Char('\n'));
            if (!lines.isEmpty() && lines.constLast().isEmpty())
                lines.removeLast(); // git's final newline
            for (const QString &line : std::as_const(lines)) {
                // An empty value resets the list: helpers configured before it no longer count.
                if (line.trimmed().isEmpty())
                    helpers.clear();
                else
                    helpers << line.trimmed();
            }
        }
        done(helpers);
    });
}

void GitGlobalConfig::credentialFill(const QString &host, QObject *context,
                                     std::function<void(std::optional<GitCredentials>)> done) const
{
    run({"credential", "fill"}, fillRequest(host), context, [done](bool succeeded, const QByteArray &output) {
        done(succeeded ? parseCredentialFill(output) : std::nullopt);
    });
}

void GitGlobalConfig::credentialApprove(const QString &host, const QString &username, const QString &token,
                                        QObject *context, std::function<void()> done) const
{
    run({"credential", "approve"}, approveRequest(host, username, token), context, [done](bool, const QByteArray &) {
        if (done)
            done();
    });
}

void GitGlobalConfig::credentialReject(const QString &host, const QString &username, QObject *context,
                                       std::function<void()> done) const
{
    run({"credential", "reject"}, rejectRequest(host, username), context, [done](bool, const QByteArray &) {
        if (done)
            done();
    });
}

QByteArray GitGlobalConfig::fillRequest(const QString &host)
{
    return ("protocol=https\nhost=" + host + "\n\n").toUtf8();
}

QByteArray GitGlobalConfig::approveRequest(const QString &host, const QString &username, const QString &token)
{
    return ("protocol=https\nhost=" + host + "\nusername=" + username + "\npassword=" + token + "\n\n").toUtf8();
}

QByteArray GitGlobalConfig::rejectRequest(const QString &host, const QString &username)
{
    return ("protocol=https\nhost=" + host + "\nusername=" + username + "\n\n").toUtf8();
}

} // namespace corvane
