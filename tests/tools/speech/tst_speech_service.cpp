// Dictation's pipeline with real parts: espeak-ng speaks, sox resamples (or not, and the
// pipeline converts), a WAV source plays it into the speech service, and pocketsphinx decodes it
// on its worker thread.
#include "support/SpeechAudioFiles.h"
#include "support/TestEnvironment.h"
#include "tools/speech/AudioSource.h"
#include "tools/speech/PocketSphinxRecognizer.h"
#include "tools/speech/SpeechAudio.h"
#include "tools/speech/SpeechService.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

using namespace corvane;

namespace {

const QString Command = QStringLiteral("open the pull request");
const QString Sentence = QStringLiteral("please add a unit test for the parser");

SpeechService *serviceFor(const QString &wav, SphinxModel model = SphinxModel::usEnglish(), QObject *parent = nullptr)
{
    return new SpeechService(new PocketSphinxRecognizer(std::move(model)),
                             [wav](QObject *owner) { return new WavFileSource(wav, owner); }, parent);
}

// What a run said, in order: "partial: ..." and "final: ...".
struct Run
{
    QStringList events;
    int stops = 0;
};

Run record(SpeechService &service)
{
    Run run;
    QObject::connect(&service, &SpeechService::recognized, &service, [&run](const QString &text, bool isFinal) {
        run.events << (isFinal ? QStringLiteral("final: ") : QStringLiteral("partial: ")) + text;
    });
    QObject::connect(&service, &SpeechService::stopped, &service, [&run] { ++run.stops; });
    return run;
}

QByteArray samplesOf(const QList<float> &values, QAudioFormat::SampleFormat format)
{
    QByteArray out;
    for (float v : values) {
        if (format == QAudioFormat::Float) {
            out.append(reinterpret_cast<const char *>(&v), sizeof v);
        } else {
            const qint16 s = qint16(v * 32767);
            out.append(reinterpret_cast<const char *>(&s), sizeof s);
        }
    }
    return out;
}

} // namespace

class SpeechServiceTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_audio;
    QString m_grammar;

    QString speech(const QString &text, const QString &name, bool resample)
    {
        QString error;
        const QString path = test::synthesizeSpeech(text, m_audio.path(), name, resample, &error);
        if (path.isEmpty())
            qWarning() << error;
        return path;
    }

private slots:
    void initTestCase()
    {
        if (!test::canSynthesizeSpeech())
            QSKIP("espeak-ng and sox are not installed: there is no speech to recognise (scripts/setup.sh installs them)");
        QVERIFY(PocketSphinxRecognizer().availability().ok());
        m_grammar = test::writePhraseGrammar(m_audio.path(), {Command, Sentence});
    }

    void recognisesSpeech_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("resample");
        QTest::addColumn<bool>("grammar");
        QTest::newRow("command, general model") << Command << true << false;
        QTest::newRow("sentence, general model") << Sentence << true << false;
        QTest::newRow("command, grammar") << Command << true << true;
        // espeak-ng's own 22050 Hz: the source converts it to what the recogniser takes.
        QTest::newRow("sentence at 22050 Hz, grammar") << Sentence << false << true;
    }

    void recognisesSpeech()
    {
        QFETCH(QString, text);
        QFETCH(bool, resample);
        QFETCH(bool, grammar);
        const QString wav = speech(text, QString::fromLatin1(QTest::currentDataTag()).replace(' ', '_').remove(','), resample);
        QVERIFY(!wav.isEmpty());
        SphinxModel model = SphinxModel::usEnglish();
        if (grammar)
            model.grammarFile = m_grammar;
        std::unique_ptr<SpeechService> service(serviceFor(wav, model));
        Run run = record(*service);
        QVERIFY(service->startRecording().ok());
        QVERIFY(service->isRecording());
        QTRY_COMPARE_WITH_TIMEOUT(run.stops, 1, 60000);
        QVERIFY(!service->isRecording());

        // Partials while it listens, then exactly one final, and nothing after it.
        QVERIFY2(run.events.size() >= 2, qPrintable(run.events.join(" | ")));
        for (qsizetype i = 0; i + 1 < run.events.size(); ++i)
            QVERIFY2(run.events[i].startsWith("partial: ") && run.events[i].size() > 9, qPrintable(run.events.join(" | ")));
        const QString final = run.events.last();
        QVERIFY2(final.startsWith("final: ") && final.size() > 7, qPrintable(run.events.join(" | ")));
        // With the grammar the words are known and heard exactly; the general model mishears
        // synthetic speech (its accuracy is measured by bench_dictation, not asserted).
        if (grammar)
            QCOMPARE(final, "final: " + text);
        QTest::qWait(100);
        QCOMPARE(run.stops, 1);
    }

    void startingTwiceRunsOnce()
    {
        const QString wav = speech(Command, "twice", true);
        std::unique_ptr<SpeechService> service(serviceFor(wav, [this] { auto m = SphinxModel::usEnglish(); m.grammarFile = m_grammar; return m; }()));
        Run run = record(*service);
        QVERIFY(service->startRecording().ok());
        QVERIFY(service->startRecording().ok()); // the first run stops, the second one listens
        QTRY_COMPARE_WITH_TIMEOUT(run.stops, 2, 60000);
        QTest::qWait(200);
        QCOMPARE(run.events.filter("final: ").size(), 1);
        QCOMPARE(run.events.last(), "final: " + Command);
    }

    void stoppingDropsTheRest()
    {
        const QString wav = speech(Sentence, "stopped", true);
        std::unique_ptr<SpeechService> service(serviceFor(wav));
        Run run = record(*service);
        QVERIFY(service->startRecording().ok());
        service->stopRecording();
        QCOMPARE(run.stops, 1);
        QTest::qWait(1000);
        QCOMPARE(run.events, QStringList());
        QCOMPARE(run.stops, 1);
    }

    void missingPartsAreErrors_data()
    {
        QTest::addColumn<QString>("modelDir");
        QTest::addColumn<QString>("wav");
        QTest::addColumn<QString>("error");
        QTest::newRow("no model") << m_audio.path() << "unused.wav" << "Speech recognition is not available.";
        QTest::newRow("no audio file") << QString() << m_audio.filePath("missing.wav") << "Cannot read";
        QTest::newRow("not a WAV file") << QString() << m_grammar << "Not a WAV file.";
    }

    void missingPartsAreErrors()
    {
        QFETCH(QString, modelDir);
        QFETCH(QString, wav);
        QFETCH(QString, error);
        if (!modelDir.isEmpty())
            qputenv("CORVANE_SPHINX_MODEL_DIR", modelDir.toLocal8Bit());
        std::unique_ptr<SpeechService> service(serviceFor(wav));
        qunsetenv("CORVANE_SPHINX_MODEL_DIR");
        Run run = record(*service);
        const Status started = service->startRecording();
        QVERIFY(!started.ok());
        QVERIFY2(started.error().message.contains(error), qPrintable(started.error().message));
        QVERIFY(!service->isRecording());
        QCOMPARE(run.stops, 0);
    }

    // Buffers cut anywhere convert as one stream would: a steady level keeps its value and the
    // count of samples follows the rate.
    void converterKeepsTheStream_data()
    {
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::addColumn<int>("format");
        QTest::addColumn<int>("cut");
        QTest::newRow("48 kHz stereo float, odd cuts") << 48000 << 2 << int(QAudioFormat::Float) << 7;
        QTest::newRow("44.1 kHz mono int16, cut inside a sample") << 44100 << 1 << int(QAudioFormat::Int16) << 333;
        QTest::newRow("8 kHz mono int16 is doubled") << 8000 << 1 << int(QAudioFormat::Int16) << 100;
        QTest::newRow("16 kHz mono int16 passes") << 16000 << 1 << int(QAudioFormat::Int16) << 1000;
    }

    void converterKeepsTheStream()
    {
        QFETCH(int, rate);
        QFETCH(int, channels);
        QFETCH(int, format);
        QFETCH(int, cut);
        QAudioFormat from;
        from.setSampleRate(rate);
        from.setChannelCount(channels);
        from.setSampleFormat(QAudioFormat::SampleFormat(format));
        const int frames = rate / 2; // half a second
        QList<float> values;
        for (int f = 0; f < frames; ++f)
            for (int c = 0; c < channels; ++c)
                values << 0.25f;
        const QByteArray input = samplesOf(values, from.sampleFormat());
        speech::AudioConverter converter(from);
        QByteArray out;
        for (qsizetype at = 0; at < input.size(); at += cut)
            out += converter.convert(input.mid(at, cut));
        const qsizetype samples = out.size() / 2;
        QVERIFY2(qAbs(samples - 8000) <= 2, qPrintable(QString::number(samples)));
        for (qsizetype i = 0; i < samples; ++i) {
            qint16 s;
            std::memcpy(&s, out.constData() + i * 2, 2);
            QVERIFY2(qAbs(s - 8192) <= 2, qPrintable(QStringLiteral("sample %1 is %2").arg(i).arg(s)));
        }
    }
};

QTEST_GUILESS_MAIN(SpeechServiceTest)
#include "tst_speech_service.moc"
