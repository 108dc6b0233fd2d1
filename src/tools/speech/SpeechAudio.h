#pragma once

#include "core/Result.h"

#include <QAudioFormat>
#include <QByteArray>
#include <QString>

namespace corvane::speech {

// What the recogniser takes: 16 kHz, one channel, signed 16-bit samples in the machine's order.
QAudioFormat recognizerFormat();

// Turns a stream of audio in any format Qt can describe into the recogniser's format: channels
// are averaged, the rate is changed by linear interpolation. It keeps its position across calls,
// so a stream cut into buffers at any point converts as if it came in one piece.
class AudioConverter
{
public:
    explicit AudioConverter(const QAudioFormat &from);

    bool isValid() const;
    QByteArray convert(const QByteArray &data);

private:
    float sampleAt(const char *frame, int channel) const;

    QAudioFormat m_from;
    double m_step = 1.0;     // input frames per output frame
    double m_position = 0.0; // of the next output frame, relative to m_previous
    float m_previous = 0.0f; // the last input frame of the previous buffer
    bool m_hasPrevious = false;
    QByteArray m_partial;    // bytes of an input frame cut by a buffer boundary
};

// A WAV file's samples and their format (PCM 8/16/32-bit or 32-bit float).
struct WavAudio
{
    QAudioFormat format;
    QByteArray data;
};
Result<WavAudio> parseWav(const QByteArray &file);

// How many of the reference's words the hypothesis got right: 1 - (word edits / reference words),
// case and punctuation ignored, floored at 0. An empty reference counts as 1 only for an empty
// hypothesis.
double wordAccuracy(const QString &reference, const QString &hypothesis);

} // namespace corvane::speech
