#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace corvane {

// The last N bytes of a stream, for standard error: enough to explain a failure ("API key
// missing", a stack trace's last frames) without letting a chatty tool grow memory for hours.
class ByteTail
{
public:
    explicit ByteTail(qsizetype capacity);

    void setCapacity(qsizetype capacity);
    qsizetype capacity() const { return m_capacity; }

    void append(QByteArrayView bytes);
    QByteArray bytes() const;
    // The tail as text. The cut may have fallen inside a UTF-8 character: its leftover
    // continuation bytes are skipped instead of showing up as replacement characters.
    QString text() const;

private:
    QByteArray m_data;
    qsizetype m_capacity;
};

} // namespace corvane
