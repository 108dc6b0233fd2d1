#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace corvane {

// A question the agent puts to the user, with the answers it offers.
struct AgentQuestion
{
    struct Option
    {
        QString label;
        std::optional<QString> description;

        bool operator==(const Option &) const = default;
    };

    QString question;
    std::optional<QString> header;
    QList<Option> options;
    bool multiSelect = false;

    bool operator==(const AgentQuestion &) const = default;
};

} // namespace corvane
