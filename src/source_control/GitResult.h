#pragma once

#include "source_control/GitError.h"

#include <utility>
#include <variant>

namespace corvane {

// Either the value of a git call or its GitError. Shaped like Result<T>, with GitError in place
// of Error so callers can read git's exit status.
template <typename T>
class [[nodiscard]] GitResult
{
public:
    GitResult(T value) : m_data(std::in_place_index<0>, std::move(value)) {}
    GitResult(GitError error) : m_data(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return m_data.index() == 0; }
    explicit operator bool() const { return ok(); }

    T &value() & { return std::get<0>(m_data); }
    const T &value() const & { return std::get<0>(m_data); }
    T &&value() && { return std::get<0>(std::move(m_data)); }
    T valueOr(T fallback) const { return ok() ? std::get<0>(m_data) : std::move(fallback); }
    const GitError &error() const { return std::get<1>(m_data); }

    T *operator->() { return &value(); }
    const T *operator->() const { return &value(); }
    const T &operator*() const { return value(); }

private:
    std::variant<T, GitError> m_data;
};

template <>
class [[nodiscard]] GitResult<void>
{
public:
    GitResult() = default;
    GitResult(GitError error) : m_error(std::move(error)) {}

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const GitError &error() const { return *m_error; }

private:
    std::optional<GitError> m_error;
};

} // namespace corvane
