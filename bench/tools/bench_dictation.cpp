// Dictation's word accuracy and speed on synthetic speech: each phrase is spoken by espeak-ng,
// resampled by sox, and played through the same pipeline as the microphone (a WAV source, the
// speech service, pocketsphinx on its worker thread). Run once with the general US English
// language model and once with a JSGF grammar that lists the phrases.
#include "support/SpeechAudioFiles.h"
#include "tools/speech/AudioSource.h"
#include "tools/speech/PocketSphinxRecognizer.h"
#include "tools/speech/SpeechAudio.h"
#include "tools/speech/SpeechService.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>

using namespace corvane;

namespace {

const QStringList phrases{
    QStringLiteral("open the pull request"),
    QStringLiteral("commit the changes"),
    QStringLiteral("run the tests"),
    QStringLiteral("create a new branch"),
    QStringLiteral("show me the diff"),
    QStringLiteral("fix the failing build"),
    QStringLiteral("please add a unit test for the parser"),
    QStringLiteral("the quick brown fox jumps over the lazy dog"),
};

struct Heard
{
    QString final;
    int partials = 0;
    qint64 ms = 0;
};

Heard listen(SpeechService &service)
{
    Heard heard;
    QEventLoop loop;
    QObject::connect(&service, &SpeechService::recognized, &loop, [&](const QString &text, bool isFinal) {
        if (isFinal)
            heard.final = text;
        else
            ++heard.partials;
    });
    QObject::connect(&service, &SpeechService::stopped, &loop, &QEventLoop::quit);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    QElapsedTimer clock;
    clock.start();
    if (Status started = service.startRecording(); !started) {
        std::printf("cannot start: %s\n", qPrintable(started.error().message));
        return heard;
    }
    loop.exec();
    heard.ms = clock.elapsed();
    return heard;
}

void runMode(const char *name, const SphinxModel &model, const QStringList &files)
{
    QString current;
    SpeechService service(new PocketSphinxRecognizer(model), [&current](QObject *parent) { return new WavFileSource(current, parent); });
    // The first run loads the model; it is measured apart.
    QElapsedTimer load;
    load.start();
    current = files.first();
    listen(service);
    std::printf("\n%s (first run, with the model load: %lld ms)\n", name, static_cast<long long>(load.elapsed()));
    double accuracySum = 0;
    qint64 msSum = 0;
    for (qsizetype i = 0; i < phrases.size(); ++i) {
        current = files[i];
        const Heard heard = listen(service);
        const double accuracy = speech::wordAccuracy(phrases[i], heard.final);
        accuracySum += accuracy;
        msSum += heard.ms;
        std::printf("  %-45s -> %-45s %3.0f%%  %d partial(s)  %lld ms\n", qPrintable(phrases[i]), qPrintable(heard.final),
                    accuracy * 100, heard.partials, static_cast<long long>(heard.ms));
    }
    std::printf("  word accuracy %.1f%%, mean time to the final result %lld ms\n", accuracySum / double(phrases.size()) * 100,
                static_cast<long long>(msSum / phrases.size()));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (!test::canSynthesizeSpeech()) {
        std::printf("bench_dictation needs espeak-ng and sox\n");
        return 1;
    }
    QTemporaryDir dir;
    QStringList files;
    qint64 audioMs = 0;
    for (qsizetype i = 0; i < phrases.size(); ++i) {
        QString error;
        const QString file = test::synthesizeSpeech(phrases[i], dir.path(), QStringLiteral("phrase%1").arg(i), true, &error);
        if (file.isEmpty()) {
            std::printf("%s\n", qPrintable(error));
            return 1;
        }
        audioMs += (QFile(file).size() - 44) / 32; // 16 kHz, 2 bytes a sample
        files << file;
    }
    std::printf("%lld phrases, %lld ms of audio with padding\n", static_cast<long long>(phrases.size()), static_cast<long long>(audioMs));

    SphinxModel general = SphinxModel::usEnglish();
    if (Status available = PocketSphinxRecognizer(general).availability(); !available) {
        std::printf("%s\n", qPrintable(available.error().message));
        return 1;
    }
    runMode("general language model", general, files);

    SphinxModel grammar = general;
    grammar.grammarFile = test::writePhraseGrammar(dir.path(), phrases);
    runMode("JSGF grammar of the phrases", grammar, files);
    return 0;
}
