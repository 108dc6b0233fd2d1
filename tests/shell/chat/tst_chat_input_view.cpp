// The chat input on its own: keys, the slash list, pasting and attaching. No agent runs.
#include "core/NotificationCenter.h"
#include "core/settings/AppSettings.h"
#include "core/settings/PreferencesStore.h"
#include "shell/chat/ChatInputView.h"
#include "shell/chat/ChatTextEdit.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QImage>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace corvane;

using Keys = QList<QPair<int, Qt::KeyboardModifiers>>;
Q_DECLARE_METATYPE(Keys)

class ChatInputTest : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        test::TestEnvironment env;
        NotificationCenter center;
        PreferencesStore prefs{env.path("preferences.json")};
        AppSettings settings{prefs, center, [] { return SystemUserNames{"Test User", "test"}; }};
        ChatInputView input{settings};
    };

private slots:
    void initTestCase()
    {
        qRegisterMetaType<corvane::PermissionMode>();
        qRegisterMetaType<QList<corvane::Attachment>>();
    }

    void keys_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<Keys>("keys");
        QTest::addColumn<QString>("submitted"); // "-" when nothing is submitted
        QTest::addColumn<QString>("left");      // the text left in the field
        const auto plain = Qt::NoModifier;
        QTest::newRow("return submits trimmed") << "  hello  " << Keys{{Qt::Key_Return, plain}} << "hello" << "";
        QTest::newRow("shift return breaks the line")
            << "a" << Keys{{Qt::Key_Return, Qt::ShiftModifier}, {Qt::Key_B, plain}} << "-" << "a\nb";
        QTest::newRow("white space alone submits nothing") << "   " << Keys{{Qt::Key_Return, plain}} << "-" << "   ";
        QTest::newRow("tab accepts compact with a blank") << "/comp" << Keys{{Qt::Key_Tab, plain}} << "-" << "/compact ";
        QTest::newRow("return accepts init, the next return sends it")
            << "/in" << Keys{{Qt::Key_Return, plain}, {Qt::Key_Return, plain}} << "/init" << "";
        QTest::newRow("down moves in the list") << "/" << Keys{{Qt::Key_Down, plain}, {Qt::Key_Tab, plain}} << "-" << "/compact ";
        QTest::newRow("up stops at the top") << "/" << Keys{{Qt::Key_Up, plain}, {Qt::Key_Tab, plain}} << "-" << "/clear";
        QTest::newRow("escape closes the list, return then sends")
            << "/pl" << Keys{{Qt::Key_Escape, plain}, {Qt::Key_Return, plain}} << "/pl" << "";
    }

    void keys()
    {
        QFETCH(QString, typed);
        QFETCH(Keys, keys);
        QFETCH(QString, submitted);
        QFETCH(QString, left);
        Fixture f;
        f.input.show();
        QSignalSpy spy(&f.input, &ChatInputView::submitted);
        ChatTextEdit *edit = f.input.textEdit();
        edit->setFocus();
        QTest::keyClicks(edit, typed);
        for (const auto &[key, modifiers] : keys)
            QTest::keyClick(edit, Qt::Key(key), modifiers);
        if (submitted == "-") {
            QCOMPARE(spy.count(), 0);
        } else {
            QCOMPARE(spy.count(), 1);
            QCOMPARE(spy.at(0).at(0).toString(), submitted);
        }
        QCOMPARE(edit->toPlainText(), left);
    }

    void pastes_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("attached");
        QTest::newRow("500 characters go into the field") << 500 << false;
        QTest::newRow("501 characters become a file") << 501 << true;
    }

    void pastes()
    {
        QFETCH(int, length);
        QFETCH(bool, attached);
        Fixture f;
        QMimeData mime;
        mime.setText(QString(length, QLatin1Char('x')));
        f.input.textEdit()->insertFromMimeData(&mime);
        QCOMPARE(f.input.attachments().size(), attached ? 1 : 0);
        QCOMPARE(f.input.textEdit()->toPlainText().size(), attached ? 0 : length);
        if (attached) {
            const Attachment a = f.input.attachments().first();
            QCOMPARE(a.type, AttachmentType::tempFile);
            QVERIFY(a.fileURL && QFile::exists(a.fileURL->toLocalFile()));
            QVERIFY(f.input.chipsArea()->isVisibleTo(&f.input));
            QFile::remove(a.fileURL->toLocalFile());
        }
    }

    void aPastedImageIsAttachedAndRemovable()
    {
        Fixture f;
        QImage image(40, 30, QImage::Format_RGB32);
        image.fill(Qt::red);
        QMimeData mime;
        mime.setImageData(image);
        f.input.textEdit()->insertFromMimeData(&mime);
        QCOMPARE(f.input.attachments().size(), 1);
        QCOMPARE(f.input.attachments().first().fileName, QStringLiteral("Pasted Image.png"));
        auto *remove = f.input.chipsArea()->findChild<QToolButton *>();
        QVERIFY(remove);
        remove->click();
        QVERIFY(f.input.attachments().isEmpty());
    }

    void aBadFileSaysCannotAttach_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("message");
        QTest::newRow("unsupported type") << "notes.docx" << "This file type is not supported. Use PNG, JPEG, GIF, WebP, or PDF.";
        QTest::newRow("image that is not one") << "broken.png" << "Could not read the file.";
    }

    void aBadFileSaysCannotAttach()
    {
        QFETCH(QString, name);
        QFETCH(QString, message);
        Fixture f;
        f.input.show();
        QFile file(f.env.path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not really");
        file.close();
        f.input.attachFiles({file.fileName()});
        auto *box = f.input.findChild<QMessageBox *>("attachError");
        QVERIFY(box);
        QCOMPARE(box->windowTitle(), QStringLiteral("Cannot attach file"));
        QCOMPARE(box->text(), message);
        QVERIFY(f.input.attachments().isEmpty());
    }

    void theModelPickerOffersClaudeThenCodex()
    {
        Fixture f;
        const auto order = ChatInputView::modelOrder(f.settings);
        QVERIFY(!order.isEmpty());
        QCOMPARE(order.first().agentType, AgentType::claudeCode);
        QCOMPARE(order.last().agentType, AgentType::codex);
        f.settings.setModelHidden(order.first().id, true);
        f.input.reloadModels();
        QCOMPARE(f.input.modelPicker()->count(), order.size() - 1);
        QVERIFY(f.input.selectedModel().id != order.first().id);
    }

    void theModeSelectorExplainsEachMode()
    {
        Fixture f;
        QComboBox *modes = f.input.modeSelector();
        QCOMPARE(modes->count(), 3);
        QCOMPARE(modes->itemText(2), QStringLiteral("Bypass Permissions"));
        QCOMPARE(modes->itemData(0, Qt::ToolTipRole).toString(), QStringLiteral("Prompts for permission on first use of each tool"));
        QSignalSpy changed(&f.input, &ChatInputView::permissionModeChanged);
        modes->setCurrentIndex(1);
        QCOMPARE(changed.count(), 0); // only the user's choice counts

        emit modes->activated(1);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.at(0).at(0).value<PermissionMode>(), PermissionMode::acceptEdits);
    }
};

QTEST_MAIN(ChatInputTest)
#include "tst_chat_input_view.moc"
