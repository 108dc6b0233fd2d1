#pragma once

#include "core/Result.h"
#include "tools/speech/SpeechAudio.h"

#include <QAudioDevice>
#include <QByteArray>
#include <QObject>
#include <QPointer>

#include <optional>

class QAudioSource;
class QIODevice;
class QTimer;

namespace corvane {

// Where dictation's audio comes from. Whatever the device gives, `samples` carries it in the
// recogniser's format (16 kHz mono signed 16-bit). A source that runs out (a file) says
// `finished`; a device that breaks says `failed`.
class AudioSource : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    virtual Status start() = 0;
    virtual void stop() = 0;

signals:
    void samples(const QByteArray &pcm);
    void finished();
    void failed(const QString &error);
};

// The default audio input through Qt Multimedia. It asks for the recogniser's format and
// converts when the device offers something else.
class MicrophoneSource : public AudioSource
{
    Q_OBJECT
public:
    explicit MicrophoneSource(QObject *parent = nullptr);
    ~MicrophoneSource() override;

    Status start() override;
    void stop() override;

    static QString noMicrophoneText();

private:
    void readAvailable();

    QPointer<QAudioSource> m_audio;
    QPointer<QIODevice> m_io;
    std::optional<speech::AudioConverter> m_converter;
};

// A WAV file played into the pipeline in buffers of 1024 frames, one per turn of the event loop
// (or at the pace of real time), then `finished`. Used by tests and the benchmark, so that they
// go through the same path as the microphone.
class WavFileSource : public AudioSource
{
    Q_OBJECT
public:
    explicit WavFileSource(QString path, QObject *parent = nullptr);

    void setRealTime(bool realTime) { m_realTime = realTime; }
    Status start() override;
    void stop() override;

private:
    void next();

    QString m_path;
    bool m_realTime = false;
    QByteArray m_pcm;
    qsizetype m_at = 0;
    QTimer *m_timer;
};

} // namespace corvane
