#pragma once

#include "core/Result.h"
#include "tools/speech/AudioSource.h"
#include "tools/speech/SpeechRecognizer.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

namespace corvane {

// The alert texts of dictation.
namespace speechtext {
QString notAuthorizedTitle();
QString notAuthorizedText();
QString errorTitle();
QString recognizerNotAvailable();
} // namespace speechtext

// Dictation for one chat input: audio from a source goes to a recogniser, and what it hears
// comes back as `recognized` (partial results, then one final one). A final result, a failure or
// `stopRecording` end the run, each followed by `stopped`. Idle when there is no source.
class SpeechService : public QObject
{
    Q_OBJECT
public:
    using SourceFactory = std::function<AudioSource *(QObject *parent)>;

    // The recogniser is the service's for its life; a new source is made for every run.
    SpeechService(SpeechRecognizer *recognizer, SourceFactory sources, QObject *parent = nullptr);
    // pocketsphinx listening to the default microphone.
    static SpeechService *createDefault(QObject *parent);

    // On Linux nothing guards the microphone or the recogniser, so this grants; the answer comes
    // on the next turn of the event loop, as a platform's would.
    void requestAuthorization(QObject *context, std::function<void(bool granted)> completion);

    // Stops a run that is going, then starts one: a missing model or microphone is the error.
    Status startRecording();
    void stopRecording();
    bool isRecording() const { return m_source != nullptr; }

    SpeechRecognizer *recognizer() const { return m_recognizer; }

signals:
    void recognized(const QString &text, bool isFinal);
    void failed(const QString &error);
    void stopped();

private:
    void fail(const QString &error);

    SpeechRecognizer *m_recognizer;
    SourceFactory m_sources;
    QPointer<AudioSource> m_source;
};

} // namespace corvane
