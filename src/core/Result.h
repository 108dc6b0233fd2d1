#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace corvane {

// An error as a value: a text a person can read, plus an optional machine code for callers
// that need to tell errors apart (for SQLite errors it is the result code).
struct Error
{
    QString message;
    int code = 0;

    Error() = default;
    explicit Error(QString text, int errorCode = 0)
        : message(std::move(text)), code(errorCode) {}

    // The same error with a context in front: "Saving the store: disk I/O error".
    Error prefixed(const QString &context) const { return Error(context + message, code); }
};

// Either a value or an Error. Small on purpose: ok(), value(), error(), and a conversion
// to bool; callers that can fail return it and it must not be ignored.
template <typename T>
class [[nodiscard]] Result
{
public:
    Result(T value) : m_data(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : m_data(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return m_data.index() == 0; }
    explicit operator bool() const { return ok(); }

    T &value() & { return std::get<0>(m_data); }
    const T &value() const & { return std::get<0>(m_data); }
    T &&value() && { return std::get<0>(std::move(m_data)); }
    T valueOr(T fallback) const { return ok() ? std::get<0>(m_data) : std::move(fallback); }
    const Error &error() const { return std::get<1>(m_data); }

    T *operator->() { return &value(); }
    const T *operator->() const { return &value(); }
    T &operator*() { return value(); }
    const T &operator*() const { return value(); }

private:
    std::variant<T, Error> m_data;
};

template <>
class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Error error) : m_error(std::move(error)) {}

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const Error &error() const { return *m_error; }

private:
    std::optional<Error> m_error;
};

using Status = Result<void>;

} // namespace corvane
