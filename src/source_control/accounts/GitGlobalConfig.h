#pragma once

#include "source_control/GitTypes.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class GitCommandQueue;

// The user's own git settings and credential store, reached by running git in the home folder
// with --global (never through a repository). The calls run one after another, so two quick
// toggles never race for git's config lock, and nothing waits: each answer arrives from the event
// loop, and only while `context` is alive. Failures of the writing calls are not reported: the
// page shows what it reads back.
class GitGlobalConfig
{
public:
    explicit GitGlobalConfig(const QString &program = {});

    // The value trimmed, or none when the key is unset or git could not run.
    void get(const QString &key, QObject *context, std::function<void(std::optional<QString>)> done) const;
    // A value trimmed to nothing unsets the key.
    void set(const QString &key, const QString &value, QObject *context = nullptr,
             std::function<void()> done = {}) const;
    // Every credential helper git would ask, from any of its configuration files.
    void credentialHelpers(QObject *context, std::function<void(QStringList)> done) const;

    // What the helpers hold for `host`; none when they hold nothing (no prompt ever appears).
    void credentialFill(const QString &host, QObject *context,
                        std::function<void(std::optional<GitCredentials>)> done) const;
    void credentialApprove(const QString &host, const QString &username, const QString &token,
                           QObject *context = nullptr, std::function<void()> done = {}) const;
    void credentialReject(const QString &host, const QString &username, QObject *context = nullptr,
                          std::function<void()> done = {}) const;

    // The texts git credential reads, each ending with its blank line.
    static QByteArray fillRequest(const QString &host);
    static QByteArray approveRequest(const QString &host, const QString &username, const QString &token);
    static QByteArray rejectRequest(const QString &host, const QString &username);

private:
    using Answer = std::function<void(bool succeeded, const QByteArray &output)>;
    void run(const QStringList &arguments, const QByteArray &input, QObject *context, Answer answer) const;

    std::shared_ptr<GitCommandQueue> m_queue;
};

} // namespace corvane
