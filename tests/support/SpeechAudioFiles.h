#pragma once

// Speech for dictation tests and the benchmark, spoken by espeak-ng into a WAV file (22050 Hz)
// and, when asked, resampled by sox to the recogniser's 16 kHz mono with a second of silence
// after it, as a speaker's pause would be.

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QProcess>
#include <QStandardPaths>
#include <QString>

namespace corvane::test {

inline bool canSynthesizeSpeech()
{
    return !QStandardPaths::findExecutable(QStringLiteral("espeak-ng")).isEmpty()
        && !QStandardPaths::findExecutable(QStringLiteral("sox")).isEmpty();
}

// The path of the WAV file, or an empty string with the reason in `error`.
inline QString synthesizeSpeech(const QString &text, const QString &folder, const QString &name, bool resample,
                                QString *error = nullptr)
{
    auto run = [error](const QString &program, const QStringList &arguments) {
        QProcess process;
        process.start(program, arguments);
        if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            return true;
        if (error)
            *error = program + QStringLiteral(" failed: ") + QString::fromLocal8Bit(process.readAllStandardError());
        return false;
    };
    const QDir dir(folder);
    const QString spoken = dir.filePath(name + QStringLiteral("-espeak.wav"));
    if (!run(QStringLiteral("espeak-ng"), {QStringLiteral("-w"), spoken, text}))
        return {};
    if (!resample)
        return spoken;
    const QString out = dir.filePath(name + QStringLiteral(".wav"));
    if (!run(QStringLiteral("sox"), {spoken, QStringLiteral("-r"), QStringLiteral("16000"), QStringLiteral("-c"), QStringLiteral("1"),
                                     QStringLiteral("-b"), QStringLiteral("16"), QStringLiteral("-e"), QStringLiteral("signed-integer"),
                                     out, QStringLiteral("pad"), QStringLiteral("0.3"), QStringLiteral("1.0")}))
        return {};
    return out;
}

} // namespace corvane::test

namespace corvane::test {

// A JSGF grammar that accepts exactly these phrases, written into `folder`.
inline QString writePhraseGrammar(const QString &folder, const QStringList &phrases)
{
    const QString path = QDir(folder).filePath(QStringLiteral("phrases.gram"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    file.write("#JSGF V1.0;\ngrammar phrases;\npublic <phrase> = " + phrases.join(QStringLiteral(" | ")).toUtf8() + ";\n");
    return path;
}

} // namespace corvane::test
