#include "tools/speech/PocketSphinxRecognizer.h"

#include "core/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMetaObject>

#include <pocketsphinx.h>
#include <sphinxbase/err.h>

#include <functional>

namespace corvane {

SphinxModel SphinxModel::usEnglish()
{
    const QByteArray custom = qgetenv("CORVANE_SPHINX_MODEL_DIR");
    const QDir root(custom.isEmpty() ? QStringLiteral("/usr/share/pocketsphinx/model/en-us") : QString::fromLocal8Bit(custom));
    return {root.filePath(QStringLiteral("en-us")), root.filePath(QStringLiteral("cmudict-en-us.dict")),
            root.filePath(QStringLiteral("en-us.lm.bin")), {}};
}

namespace detail {

// Owns the decoder; every call runs on the worker thread.
class SphinxWorker : public QObject
{
public:
    enum class Report { partial, final, failed };
    using Reporter = std::function<void(quint64 utterance, Report kind, const QString &text)>;

    SphinxWorker(SphinxModel model, Reporter report) : m_model(std::move(model)), m_report(std::move(report)) {}

    ~SphinxWorker() override
    {
        if (m_decoder)
            ps_free(m_decoder);
        if (m_config)
            cmd_ln_free_r(m_config);
    }

    void begin(quint64 utterance)
    {
        abort();
        m_current = utterance;
        if (!load())
            return;
        if (ps_start_utt(m_decoder) < 0)
            return m_report(utterance, Report::failed, QStringLiteral("pocketsphinx could not start an utterance."));
        m_active = true;
        m_heardSpeech = false;
        m_sinceHypothesis = 0;
        m_lastPartial.clear();
    }

    void process(quint64 utterance, const QByteArray &pcm)
    {
        if (utterance != m_current || !m_active)
            return;
        const size_t count = size_t(pcm.size()) / sizeof(int16);
        if (ps_process_raw(m_decoder, reinterpret_cast<const int16 *>(pcm.constData()), count, FALSE, FALSE) < 0) {
            m_active = false;
            ps_end_utt(m_decoder);
            return m_report(utterance, Report::failed, QStringLiteral("pocketsphinx could not decode the audio."));
        }
        const bool inSpeech = ps_get_in_speech(m_decoder);
        m_heardSpeech = m_heardSpeech || inSpeech;
        if (!m_heardSpeech)
            return;
        if (!inSpeech) // the speaker stopped: the utterance is over
            return endUtterance();
        // A hypothesis costs a search of the lattice so far; four a second is enough to watch.
        m_sinceHypothesis += count;
        if (m_sinceHypothesis < 4000)
            return;
        m_sinceHypothesis = 0;
        const QString text = hypothesis();
        if (!text.isEmpty() && text != m_lastPartial) {
            m_lastPartial = text;
            m_report(utterance, Report::partial, text);
        }
    }

    void end(quint64 utterance)
    {
        if (utterance == m_current && m_active)
            endUtterance();
    }

    void abort()
    {
        if (m_active)
            ps_end_utt(m_decoder);
        m_active = false;
    }

private:
    bool load()
    {
        if (m_decoder)
            return true;
        err_set_logfp(nullptr); // pocketsphinx reports every setting on standard error otherwise
        const QByteArray hmm = QFile::encodeName(m_model.acousticModel);
        const QByteArray dict = QFile::encodeName(m_model.dictionary);
        const QByteArray searchKey = m_model.grammarFile.isEmpty() ? "-lm" : "-jsgf";
        const QByteArray search = QFile::encodeName(m_model.grammarFile.isEmpty() ? m_model.languageModel : m_model.grammarFile);
        m_config = cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", hmm.constData(), "-dict", dict.constData(),
                               searchKey.constData(), search.constData(), nullptr);
        m_decoder = m_config ? ps_init(m_config) : nullptr;
        if (!m_decoder) {
            m_report(m_current, Report::failed,
                     QStringLiteral("pocketsphinx could not load its model from %1.").arg(m_model.acousticModel));
            return false;
        }
        logLine("Speech", QStringLiteral("Loaded pocketsphinx model %1 with %2").arg(m_model.acousticModel, QString::fromLatin1(search)));
        return true;
    }

    QString hypothesis()
    {
        int32 score = 0;
        const char *text = ps_get_hyp(m_decoder, &score);
        return text ? QString::fromUtf8(text).trimmed() : QString();
    }

    void endUtterance()
    {
        m_active = false;
        ps_end_utt(m_decoder);
        m_report(m_current, Report::final, hypothesis());
    }

    SphinxModel m_model;
    Reporter m_report;
    cmd_ln_t *m_config = nullptr;
    ps_decoder_t *m_decoder = nullptr;
    quint64 m_current = 0;
    bool m_active = false;
    bool m_heardSpeech = false;
    size_t m_sinceHypothesis = 0;
    QString m_lastPartial;
};

} // namespace detail

PocketSphinxRecognizer::PocketSphinxRecognizer(SphinxModel model, QObject *parent)
    : SpeechRecognizer(parent), m_model(std::move(model))
{
    using Report = detail::SphinxWorker::Report;
    m_worker = new detail::SphinxWorker(m_model, [this](quint64 utterance, Report kind, const QString &text) {
        // Back on the recogniser's thread; results of a dropped utterance are not passed on.
        QMetaObject::invokeMethod(this, [this, utterance, kind, text] {
            if (utterance != m_utterance)
                return;
            if (kind == Report::partial)
                emit partial(text);
            else if (kind == Report::final)
                emit final(text);
            else
                emit failed(text);
        }, Qt::QueuedConnection);
    });
    m_worker->moveToThread(&m_thread);
    m_thread.setObjectName(QStringLiteral("pocketsphinx"));
    m_thread.start();
}

PocketSphinxRecognizer::~PocketSphinxRecognizer()
{
    ++m_utterance;
    m_thread.quit();
    m_thread.wait();
    delete m_worker; // its thread has ended: nothing else touches it
}

Status PocketSphinxRecognizer::availability() const
{
    const QString search = m_model.grammarFile.isEmpty() ? m_model.languageModel : m_model.grammarFile;
    for (const QString &path : {QDir(m_model.acousticModel).filePath(QStringLiteral("mdef")), m_model.dictionary, search})
        if (!QFileInfo::exists(path))
            return Error(tr("Speech recognition is not available: the pocketsphinx model file %1 is missing "
                            "(Debian's pocketsphinx-en-us package installs it).").arg(path));
    return {};
}

void PocketSphinxRecognizer::start()
{
    const quint64 utterance = ++m_utterance;
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, utterance] { worker->begin(utterance); }, Qt::QueuedConnection);
}

void PocketSphinxRecognizer::feed(const QByteArray &pcm)
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, utterance = m_utterance, pcm] { worker->process(utterance, pcm); },
                              Qt::QueuedConnection);
}

void PocketSphinxRecognizer::finish()
{
    QMetaObject::invokeMethod(m_worker, [worker = m_worker, utterance = m_utterance] { worker->end(utterance); },
                              Qt::QueuedConnection);
}

void PocketSphinxRecognizer::cancel()
{
    ++m_utterance;
    QMetaObject::invokeMethod(m_worker, [worker = m_worker] { worker->abort(); }, Qt::QueuedConnection);
}

} // namespace corvane
