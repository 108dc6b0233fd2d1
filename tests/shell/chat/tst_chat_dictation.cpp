// Dictation in the real chat input: espeak-ng speech played through pocketsphinx into the field,
// and the alerts when there is no microphone or no model.
#include "shell/chat/ChatViewHarness.h"

#include "core/NotificationCenter.h"
#include "core/window/WindowNavigator.h"
#include "shell/window/MainWindow.h"
#include "source_control/workspaces/WorkspaceLifecycleService.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "support/SpeechAudioFiles.h"
#include "support/TestEnvironment.h"
#include "tools/speech/PocketSphinxRecognizer.h"
#include "tools/speech/SpeechService.h"

#include <QAction>
#include <QMediaDevices>
#include <QMessageBox>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QToolButton>

using namespace corvane;

class ChatDictationTest : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        test::TestEnvironment env;
        NotificationCenter center;
        PreferencesStore prefs{env.path("preferences.json")};
        AppSettings settings{prefs, center, [] { return SystemUserNames{"Test User", "test"}; }};
        QWidget window;
        ChatInputView *input = new ChatInputView(settings, &window);
    };

    QTemporaryDir m_audio;

    static QMessageBox *alertOf(QWidget &window)
    {
        return window.findChild<QMessageBox *>(QStringLiteral("dictationAlert"));
    }

private slots:
    void initTestCase()
    {
        qRegisterMetaType<QList<corvane::Attachment>>();
    }

    void partialsReplaceEachOtherAfterTheTypedText_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("grammar");
        QTest::addColumn<QString>("expected"); // empty: whatever the general model heard
        QTest::newRow("empty field") << "" << true << "open the pull request";
        QTest::newRow("after typed text") << "abc" << true << "abc open the pull request";
        QTest::newRow("general model after typed text") << "Please:" << false << "";
    }

    void partialsReplaceEachOtherAfterTheTypedText()
    {
        QFETCH(QString, typed);
        QFETCH(bool, grammar);
        QFETCH(QString, expected);
        if (!test::canSynthesizeSpeech())
            QSKIP("espeak-ng and sox are not installed: there is no speech to dictate (scripts/setup.sh installs them)");
        const QString phrase = QStringLiteral("open the pull request");
        QString error;
        const QString wav = test::synthesizeSpeech(phrase, m_audio.path(), QStringLiteral("command"), true, &error);
        QVERIFY2(!wav.isEmpty(), qPrintable(error));
        SphinxModel model = SphinxModel::usEnglish();
        if (grammar)
            model.grammarFile = test::writePhraseGrammar(m_audio.path(), {phrase});

        Fixture f;
        f.input->setSpeechServiceFactory([wav, model](QObject *parent) {
            return new SpeechService(new PocketSphinxRecognizer(model), [wav](QObject *owner) { return new WavFileSource(wav, owner); },
                                     parent);
        });
        QSignalSpy submitted(f.input, &ChatInputView::submitted);
        f.input->textEdit()->setPlainText(typed);
        f.input->toggleDictation();
        QTRY_VERIFY(f.input->isDictating());
        QVERIFY(f.input->findChild<QTimer *>(QStringLiteral("dictationPulse"))->isActive());

        // After the input has shown a result, the field holds the typed text and that result
        // alone; text typed meanwhile gives way to the next result.
        const QString prefix = typed.isEmpty() ? QString() : typed + ' ';
        QStringList shown;
        QString finalText;
        connect(f.input->speechService(), &SpeechService::recognized, f.input, [&](const QString &text, bool isFinal) {
            shown << f.input->textEdit()->toPlainText();
            QCOMPARE(f.input->textEdit()->toPlainText(), prefix + text);
            if (isFinal)
                finalText = text;
            else
                f.input->textEdit()->insertPlainText(QStringLiteral(" typed meanwhile"));
        });
        QTRY_VERIFY_WITH_TIMEOUT(!f.input->isDictating(), 60000);
        QVERIFY2(shown.size() >= 2, qPrintable(shown.join(" | "))); // partials, then the final
        QVERIFY(!finalText.isEmpty());
        QCOMPARE(f.input->textEdit()->toPlainText(), prefix + finalText);
        if (!expected.isEmpty())
            QCOMPARE(f.input->textEdit()->toPlainText(), expected);
        QVERIFY(!f.input->findChild<QTimer *>(QStringLiteral("dictationPulse"))->isActive());
        QTest::qWait(100);
        QCOMPARE(submitted.count(), 0); // the field keeps the text; sending is the user's
        QVERIFY(alertOf(f.window) == nullptr);
    }

    void sendingStopsDictation()
    {
        if (!test::canSynthesizeSpeech())
            QSKIP("espeak-ng and sox are not installed: there is no speech to dictate (scripts/setup.sh installs them)");
        QString error;
        const QString wav = test::synthesizeSpeech(QStringLiteral("please add a unit test for the parser"), m_audio.path(),
                                                   QStringLiteral("sentence"), true, &error);
        QVERIFY2(!wav.isEmpty(), qPrintable(error));
        Fixture f;
        f.input->setSpeechServiceFactory([wav](QObject *parent) {
            auto source = [wav](QObject *owner) {
                auto *file = new WavFileSource(wav, owner);
                file->setRealTime(true); // as slow as a speaker, so that it still listens at the send
                return file;
            };
            return new SpeechService(new PocketSphinxRecognizer, source, parent);
        });
        QSignalSpy submitted(f.input, &ChatInputView::submitted);
        f.input->textEdit()->setPlainText(QStringLiteral("hello"));
        QTest::mouseClick(f.input->dictationButton(), Qt::LeftButton);
        QTRY_VERIFY(f.input->isDictating());
        QTest::keyClick(f.input->textEdit(), Qt::Key_Return);
        QCOMPARE(submitted.count(), 1);
        QVERIFY(!f.input->isDictating());
        QVERIFY(!f.input->speechService()->isRecording());
        QTest::qWait(1500);
        QCOMPARE(f.input->textEdit()->toPlainText(), QString()); // no late result comes back
    }

    void missingPartsShowTheAlert_data()
    {
        QTest::addColumn<bool>("withModel");
        QTest::addColumn<QString>("text");
        QTest::newRow("no microphone") << true << MicrophoneSource::noMicrophoneText();
        QTest::newRow("no model") << false << "Speech recognition is not available.";
    }

    void missingPartsShowTheAlert()
    {
        QFETCH(bool, withModel);
        QFETCH(QString, text);
        if (withModel && !QMediaDevices::defaultAudioInput().isNull())
            QSKIP("this machine has a microphone");
        QTemporaryDir empty;
        if (!withModel)
            qputenv("CORVANE_SPHINX_MODEL_DIR", empty.path().toLocal8Bit());
        Fixture f; // the input's own service: pocketsphinx and the default microphone
        f.input->textEdit()->setPlainText(QStringLiteral("kept"));
        QTest::mouseClick(f.input->dictationButton(), Qt::LeftButton);
        QTRY_VERIFY(alertOf(f.window));
        qunsetenv("CORVANE_SPHINX_MODEL_DIR");
        QPointer<QMessageBox> alert = alertOf(f.window);
        QCOMPARE(alert->windowTitle(), speechtext::errorTitle());
        QVERIFY2(alert->text().startsWith(text), qPrintable(alert->text()));
        QCOMPARE(alert->parent(), &f.window);
        QVERIFY(!f.input->isDictating());
        QCOMPARE(f.input->textEdit()->toPlainText(), QStringLiteral("kept"));
        alert->accept();
        QTRY_VERIFY(!alert);
    }

    // The menu item (and so its shortcut) reaches the input of the chat the window shows.
    void toggleDictationCommandReachesTheShownChat()
    {
        if (!QMediaDevices::defaultAudioInput().isNull())
            QSKIP("this machine has a microphone");
        test::ChatViewHarness h(test::chatScenario("markdown_reply.json"));
        if (!h.ok())
            QSKIP(qPrintable("the model stand-in did not start: " + h.error()));
        NotificationCenter center;
        PreferencesStore prefs(m_audio.filePath("window-preferences.json"));
        WorkspaceLifecycleService lifecycle(h.store().mainContext(), center);
        MainWindow window(WindowServices{h.store().mainContext(), prefs, h.settings(), center, lifecycle}, 1);
        window.setChatViewFactory([&h](const QUuid &chatId) -> QWidget * {
            auto *view = new ChatView(h.sessions(), h.controller(), h.store(), h.settings());
            view->setChat(chatId);
            return view;
        });
        window.navigator().showChat(h.chatId());
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QAction *toggle = nullptr;
        for (QAction *action : window.findChildren<QAction *>())
            if (action->text() == QStringLiteral("Toggle Dictation"))
                toggle = action;
        QVERIFY(toggle);
        QVERIFY(!toggle->shortcut().isEmpty());
        toggle->trigger();
        QTRY_VERIFY(alertOf(window));
        QCOMPARE(alertOf(window)->parent(), &window);
        QCOMPARE(alertOf(window)->text(), MicrophoneSource::noMicrophoneText());
        alertOf(window)->accept();
    }
};

QTEST_MAIN(ChatDictationTest)
#include "tst_chat_dictation.moc"
