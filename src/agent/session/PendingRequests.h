#pragma once

#include "agent/AgentPermissionRequest.h"

#include <QList>
#include <QStringList>

#include <algorithm>
#include <optional>

namespace corvane {

// The permission requests a chat waits on, in the order they arrived, so that "Allow Once" from
// the keyboard answers the oldest one. A chat has a handful at most: lists are plenty.
class PendingRequests
{
public:
    bool isEmpty() const { return m_requests.isEmpty(); }
    qsizetype size() const { return m_requests.size(); }

    // A request with an id already waiting replaces it in place.
    void insert(const AgentPermissionRequest &request)
    {
        if (auto *existing = findMutable(request.requestId))
            *existing = request;
        else
            m_requests.append(request);
    }
    bool remove(const QString &requestId)
    {
        return m_requests.removeIf([&](const AgentPermissionRequest &r) { return r.requestId == requestId; }) > 0;
    }
    void clear() { m_requests.clear(); }

    std::optional<AgentPermissionRequest> find(const QString &requestId) const
    {
        const auto it = std::find_if(m_requests.cbegin(), m_requests.cend(),
                                     [&](const AgentPermissionRequest &r) { return r.requestId == requestId; });
        return it == m_requests.cend() ? std::nullopt : std::optional(*it);
    }
    const QList<AgentPermissionRequest> &inArrivalOrder() const { return m_requests; }
    QStringList ids() const
    {
        QStringList out;
        for (const AgentPermissionRequest &r : m_requests)
            out << r.requestId;
        return out;
    }

private:
    AgentPermissionRequest *findMutable(const QString &requestId)
    {
        for (AgentPermissionRequest &r : m_requests)
            if (r.requestId == requestId)
                return &r;
        return nullptr;
    }

    QList<AgentPermissionRequest> m_requests;
};

} // namespace corvane
