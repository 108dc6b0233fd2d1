#include "tools/speech/SpeechService.h"

#include "core/Log.h"
#include "tools/speech/PocketSphinxRecognizer.h"

#include <QTimer>

namespace corvane {

namespace speechtext {
QString notAuthorizedTitle() { return QObject::tr("Speech Recognition Not Authorized"); }
QString notAuthorizedText() { return QObject::tr("Please enable Speech Recognition in System Settings > Privacy & Security."); }
QString errorTitle() { return QObject::tr("Dictation Error"); }
QString recognizerNotAvailable() { return QObject::tr("Speech recognition is not available."); }
} // namespace speechtext

SpeechService::SpeechService(SpeechRecognizer *recognizer, SourceFactory sources, QObject *parent)
    : QObject(parent), m_recognizer(recognizer), m_sources(std::move(sources))
{
    m_recognizer->setParent(this);
    connect(m_recognizer, &SpeechRecognizer::partial, this, [this](const QString &text) {
        if (isRecording())
            emit recognized(text, false);
    });
    connect(m_recognizer, &SpeechRecognizer::final, this, [this](const QString &text) {
        if (!isRecording())
            return;
        emit recognized(text, true);
        stopRecording();
    });
    connect(m_recognizer, &SpeechRecognizer::failed, this, [this](const QString &error) {
        if (isRecording())
            fail(error);
    });
}

SpeechService *SpeechService::createDefault(QObject *parent)
{
    return new SpeechService(new PocketSphinxRecognizer, [](QObject *owner) { return new MicrophoneSource(owner); }, parent);
}

void SpeechService::requestAuthorization(QObject *context, std::function<void(bool)> completion)
{
    QTimer::singleShot(0, context, [completion = std::move(completion)] { completion(true); });
}

Status SpeechService::startRecording()
{
    stopRecording();
    if (Status available = m_recognizer->availability(); !available) {
        logLine("Speech", available.error().message);
        return Error(speechtext::recognizerNotAvailable() + QLatin1Char(' ') + available.error().message);
    }
    AudioSource *source = m_sources(this);
    connect(source, &AudioSource::samples, m_recognizer, &SpeechRecognizer::feed);
    // A file that runs out ends the utterance as a pause in speech would.
    connect(source, &AudioSource::finished, m_recognizer, &SpeechRecognizer::finish);
    connect(source, &AudioSource::failed, this, &SpeechService::fail);
    m_recognizer->start();
    if (Status started = source->start(); !started) {
        m_recognizer->cancel();
        delete source;
        return started;
    }
    m_source = source;
    return {};
}

void SpeechService::stopRecording()
{
    if (!m_source)
        return;
    AudioSource *source = m_source;
    m_source = nullptr;
    source->disconnect(this);
    source->disconnect(m_recognizer);
    source->stop();
    // Its own signal may be what brought us here.
    source->deleteLater();
    m_recognizer->cancel();
    emit stopped();
}

void SpeechService::fail(const QString &error)
{
    emit failed(error);
    stopRecording();
}

} // namespace corvane
