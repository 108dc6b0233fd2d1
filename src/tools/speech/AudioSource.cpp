#include "tools/speech/AudioSource.h"

#include "core/Log.h"

#include <QAudioSource>
#include <QFile>
#include <QMediaDevices>
#include <QTimer>

namespace corvane {

namespace {
constexpr qsizetype BufferBytes = 1024 * 2; // 1024 frames of the recogniser's format
}

MicrophoneSource::MicrophoneSource(QObject *parent) : AudioSource(parent) {}

MicrophoneSource::~MicrophoneSource()
{
    stop();
}

QString MicrophoneSource::noMicrophoneText()
{
    return tr("No microphone is available. Connect one, or check that the sound system can see it.");
}

Status MicrophoneSource::start()
{
    stop();
    const QAudioDevice device = QMediaDevices::defaultAudioInput();
    if (device.isNull())
        return Error(noMicrophoneText());
    QAudioFormat format = speech::recognizerFormat();
    if (!device.isFormatSupported(format))
        format = device.preferredFormat();
    m_converter.emplace(format);
    if (!m_converter->isValid())
        return Error(tr("The microphone \"%1\" offers no audio format that can be read.").arg(device.description()));
    m_audio = new QAudioSource(device, format, this);
    m_io = m_audio->start();
    if (!m_io || m_audio->error() != QAudio::NoError) {
        stop();
        return Error(tr("The microphone \"%1\" could not be opened.").arg(device.description()));
    }
    connect(m_io, &QIODevice::readyRead, this, &MicrophoneSource::readAvailable);
    connect(m_audio, &QAudioSource::stateChanged, this, [this](QAudio::State state) {
        if (state == QAudio::StoppedState && m_audio && m_audio->error() != QAudio::NoError)
            emit failed(tr("The microphone stopped delivering audio (error %1).").arg(int(m_audio->error())));
    });
    return {};
}

void MicrophoneSource::stop()
{
    if (m_audio) {
        m_audio->disconnect(this);
        m_audio->stop();
        delete m_audio;
    }
    m_io = nullptr;
    m_converter.reset();
}

void MicrophoneSource::readAvailable()
{
    if (!m_io || !m_converter)
        return;
    const QByteArray pcm = m_converter->convert(m_io->readAll());
    if (!pcm.isEmpty())
        emit samples(pcm);
}

WavFileSource::WavFileSource(QString path, QObject *parent)
    : AudioSource(parent), m_path(std::move(path)), m_timer(new QTimer(this))
{
    connect(m_timer, &QTimer::timeout, this, &WavFileSource::next);
}

Status WavFileSource::start()
{
    stop();
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        return Error(tr("Cannot read %1: %2").arg(m_path, file.errorString()));
    auto wav = speech::parseWav(file.readAll());
    if (!wav)
        return wav.error().prefixed(m_path + QStringLiteral(": "));
    speech::AudioConverter converter(wav->format);
    m_pcm = converter.convert(wav->data);
    m_at = 0;
    // 1024 frames at 16 kHz last 64 ms.
    m_timer->start(m_realTime ? 64 : 0);
    return {};
}

void WavFileSource::stop()
{
    m_timer->stop();
    m_pcm.clear();
    m_at = 0;
}

void WavFileSource::next()
{
    if (m_at >= m_pcm.size()) {
        stop();
        emit finished();
        return;
    }
    const QByteArray chunk = m_pcm.mid(m_at, BufferBytes);
    m_at += chunk.size();
    emit samples(chunk);
}

} // namespace corvane
