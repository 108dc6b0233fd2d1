#pragma once

#include "tools/speech/SpeechRecognizer.h"

#include <QThread>

namespace corvane {

namespace detail { class SphinxWorker; }

// What pocketsphinx decodes with: the acoustic model, the pronunciation dictionary, and either
// the general language model or a JSGF grammar (far more reliable when the phrases are known).
struct SphinxModel
{
    QString acousticModel;
    QString dictionary;
    QString languageModel;
    QString grammarFile; // when set, used instead of the language model

    // The US English model of Debian's pocketsphinx-en-us, or the folder in
    // CORVANE_SPHINX_MODEL_DIR (holding en-us/, en-us.lm.bin and cmudict-en-us.dict).
    static SphinxModel usEnglish();
};

// pocketsphinx behind SpeechRecognizer. The decoder lives on a worker thread of its own (loading
// the model takes a moment and decoding keeps up with speech there without holding up the
// window); samples go there queued and results come back queued. The model loads at the first
// start and stays for the recogniser's life.
class PocketSphinxRecognizer : public SpeechRecognizer
{
    Q_OBJECT
public:
    explicit PocketSphinxRecognizer(SphinxModel model = SphinxModel::usEnglish(), QObject *parent = nullptr);
    ~PocketSphinxRecognizer() override;

    Status availability() const override;
    void start() override;
    void feed(const QByteArray &pcm) override;
    void finish() override;
    void cancel() override;

private:
    SphinxModel m_model;
    QThread m_thread;
    detail::SphinxWorker *m_worker;
    // Results of an utterance that was cancelled or replaced may still be on their way back.
    quint64 m_utterance = 0;
};

} // namespace corvane
