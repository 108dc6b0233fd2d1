#include "tools/speech/SpeechAudio.h"

#include <QRegularExpression>
#include <QStringList>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace corvane::speech {

QAudioFormat recognizerFormat()
{
    QAudioFormat format;
    format.setSampleRate(16000);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

AudioConverter::AudioConverter(const QAudioFormat &from) : m_from(from)
{
    if (isValid())
        m_step = double(from.sampleRate()) / 16000.0;
}

bool AudioConverter::isValid() const
{
    return m_from.isValid() && m_from.sampleRate() > 0 && m_from.channelCount() > 0
        && m_from.sampleFormat() != QAudioFormat::Unknown;
}

float AudioConverter::sampleAt(const char *frame, int channel) const
{
    const char *at = frame + channel * m_from.bytesPerSample();
    switch (m_from.sampleFormat()) {
    case QAudioFormat::UInt8:
        return (float(quint8(*at)) - 128.0f) / 128.0f;
    case QAudioFormat::Int16: {
        qint16 v;
        std::memcpy(&v, at, sizeof v);
        return float(v) / 32768.0f;
    }
    case QAudioFormat::Int32: {
        qint32 v;
        std::memcpy(&v, at, sizeof v);
        return float(double(v) / 2147483648.0);
    }
    case QAudioFormat::Float: {
        float v;
        std::memcpy(&v, at, sizeof v);
        return v;
    }
    default:
        return 0.0f;
    }
}

QByteArray AudioConverter::convert(const QByteArray &data)
{
    if (!isValid())
        return {};
    const int frameBytes = m_from.bytesPerFrame();
    const QByteArray input = m_partial + data;
    const qsizetype frames = input.size() / frameBytes;
    m_partial = input.mid(frames * frameBytes);

    // The buffer as mono floats, with the last frame of the previous buffer in front.
    std::vector<float> mono;
    mono.reserve(size_t(frames) + 1);
    if (m_hasPrevious)
        mono.push_back(m_previous);
    const int channels = m_from.channelCount();
    for (qsizetype f = 0; f < frames; ++f) {
        const char *frame = input.constData() + f * frameBytes;
        float sum = 0.0f;
        for (int c = 0; c < channels; ++c)
            sum += sampleAt(frame, c);
        mono.push_back(sum / float(channels));
    }
    if (mono.empty())
        return {};

    QByteArray out;
    const double last = double(mono.size() - 1);
    out.reserve(qsizetype((last - m_position) / m_step + 2) * 2);
    while (m_position <= last) {
        const size_t i = size_t(m_position);
        const double t = m_position - double(i);
        const float value = i + 1 < mono.size() ? float(mono[i] * (1.0 - t) + mono[i + 1] * t) : mono[i];
        const qint16 sample = qint16(std::lround(std::clamp(value, -1.0f, 1.0f) * 32767.0f));
        out.append(reinterpret_cast<const char *>(&sample), sizeof sample);
        m_position += m_step;
    }
    m_position -= last;
    m_previous = mono.back();
    m_hasPrevious = true;
    return out;
}

Result<WavAudio> parseWav(const QByteArray &file)
{
    if (file.size() < 12 || !file.startsWith("RIFF") || file.mid(8, 4) != "WAVE")
        return Error(QStringLiteral("Not a WAV file."));
    WavAudio audio;
    bool haveFormat = false;
    qsizetype at = 12;
    while (at + 8 <= file.size()) {
        const QByteArray id = file.mid(at, 4);
        const quint32 declared = qFromLittleEndian<quint32>(file.constData() + at + 4);
        const qsizetype body = at + 8;
        // espeak-ng writes a streaming header whose data size is 0xFFFFFFFF: the rest of the file.
        const qsizetype size = std::min<qsizetype>(declared, file.size() - body);
        if (id == "fmt " && size >= 16) {
            const char *f = file.constData() + body;
            const quint16 encoding = qFromLittleEndian<quint16>(f);
            const quint16 channels = qFromLittleEndian<quint16>(f + 2);
            const quint32 rate = qFromLittleEndian<quint32>(f + 4);
            const quint16 bits = qFromLittleEndian<quint16>(f + 14);
            QAudioFormat::SampleFormat sample = QAudioFormat::Unknown;
            if (encoding == 1 && bits == 8)
                sample = QAudioFormat::UInt8;
            else if (encoding == 1 && bits == 16)
                sample = QAudioFormat::Int16;
            else if (encoding == 1 && bits == 32)
                sample = QAudioFormat::Int32;
            else if (encoding == 3 && bits == 32)
                sample = QAudioFormat::Float;
            if (sample == QAudioFormat::Unknown || channels == 0 || rate == 0)
                return Error(QStringLiteral("Unsupported WAV encoding %1 with %2-bit samples.").arg(encoding).arg(bits));
            audio.format.setSampleFormat(sample);
            audio.format.setChannelCount(channels);
            audio.format.setSampleRate(int(rate));
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat)
                return Error(QStringLiteral("The WAV file has no format before its samples."));
            audio.data = file.mid(body, size);
            return audio;
        }
        at = body + size + (size & 1);
    }
    return Error(QStringLiteral("The WAV file has no samples."));
}

namespace {

QStringList words(const QString &text)
{
    static const QRegularExpression nonWord(QStringLiteral("[^a-z0-9']+"));
    return text.toLower().split(nonWord, Qt::SkipEmptyParts);
}

} // namespace

double wordAccuracy(const QString &reference, const QString &hypothesis)
{
    const QStringList ref = words(reference);
    const QStringList hyp = words(hypothesis);
    if (ref.isEmpty())
        return hyp.isEmpty() ? 1.0 : 0.0;
    // Levenshtein distance over words, one row at a time.
    std::vector<int> row(size_t(hyp.size()) + 1);
    for (size_t j = 0; j < row.size(); ++j)
        row[j] = int(j);
    for (qsizetype i = 1; i <= ref.size(); ++i) {
        int diagonal = row[0];
        row[0] = int(i);
        for (qsizetype j = 1; j <= hyp.size(); ++j) {
            const int above = row[size_t(j)];
            row[size_t(j)] = std::min({above + 1, row[size_t(j - 1)] + 1, diagonal + (ref[i - 1] == hyp[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return std::max(0.0, 1.0 - double(row.back()) / double(ref.size()));
}

} // namespace corvane::speech
