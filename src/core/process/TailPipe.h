#pragma once

#include "core/Result.h"
#include "core/process/ByteTail.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

class QSocketNotifier;

namespace corvane {

// The output of a child that may print a great deal of which only the end matters (a quality
// gate's test run): a wide pipe read in batches, keeping the last `capacity` bytes.
//
// Batches matter more than copies here. A test runner writes 4 KB at a time; waking the event
// loop for each write (as a QProcess channel does) costs more than the run itself. So after a
// read that found the pipe far from full, the reader rests a couple of milliseconds and lets it
// fill; the writer never waits, since 1 MB takes longer than that to fill.
class TailPipe : public QObject
{
    Q_OBJECT

public:
    static constexpr int pipeBytes = 1 << 20;
    static constexpr int restMs = 2;

    explicit TailPipe(qsizetype capacity, QObject *parent = nullptr);
    ~TailPipe() override;

    // Makes the pipe; the error says why not (out of descriptors, say).
    Status open();
    // For the child's standard output and error (ProcessCommand::outputDescriptor). Close it here
    // once the child has started, or the pipe never reports its end.
    int writeEnd() const { return m_write; }
    void closeWriteEnd();

    // Takes in what the pipe holds now: called when the child has exited, before reading text().
    void drain();
    QString text() const { return m_tail.text(); }
    qint64 totalBytes() const { return m_total; }

private:
    // Reads until the pipe is empty; the bytes read.
    qint64 readAvailable();
    void readable();

    int m_read = -1;
    int m_write = -1;
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_rest;
    ByteTail m_tail;
    QByteArray m_buffer;
    qint64 m_total = 0;
    bool m_ended = false;
};

} // namespace corvane
