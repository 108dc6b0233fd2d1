#pragma once

#include <QMutex>
#include <QString>
#include <QVariantMap>

#include <atomic>

namespace corvane {

// Usage analytics that never leave the machine: when the user has turned them on, each event
// is appended as one JSON line {"time", "signal", "params"} to a file they can open and read.
// Off, nothing is written. Parameters are counts and kinds, never what anybody typed.
// One per process; safe from any thread.
class Analytics
{
public:
    static Analytics &shared();

    void setEnabled(bool enabled) { m_enabled = enabled; }
    bool isEnabled() const { return m_enabled; }

    // $XDG_DATA_HOME/Corvane/analytics.jsonl
    static QString logFile();

    void record(const QString &signal, const QVariantMap &parameters = {});

private:
    Analytics() = default;

    std::atomic<bool> m_enabled{false};
    QMutex m_writing;
};

// The agent as the events name it: "claude_code" or "codex".
QString analyticsAgentName(bool isCodex);

} // namespace corvane
