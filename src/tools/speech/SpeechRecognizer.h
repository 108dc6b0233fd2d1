#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QObject>
#include <QString>

namespace corvane {

// A speech recogniser fed with a stream of 16 kHz mono signed 16-bit samples. Between `start`
// and the final result it reports what it has heard so far as `partial` results, each one
// replacing the last; the utterance ends when it hears the speaker stop or when `finish` says
// the audio is over, with one `final`. `cancel` drops the utterance without a result. Signals
// arrive on the thread that owns the recogniser.
class SpeechRecognizer : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    // False when the recogniser cannot work at all (its model is missing); the text says why.
    virtual Status availability() const = 0;

    virtual void start() = 0;
    virtual void feed(const QByteArray &pcm) = 0;
    virtual void finish() = 0;
    virtual void cancel() = 0;

signals:
    void partial(const QString &text);
    void final(const QString &text);
    void failed(const QString &error);
};

} // namespace corvane
