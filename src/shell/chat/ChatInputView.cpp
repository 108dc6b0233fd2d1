#include "shell/chat/ChatInputView.h"

#include "agent/AgentModelCatalogue.h"
#include "agent/input/AttachmentService.h"
#include "core/Log.h"
#include "core/settings/AppSettings.h"
#include "shell/chat/ChatTextEdit.h"
#include "tools/speech/SpeechService.h"

#include <QComboBox>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QImage>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

const QList<PermissionModeChoice> &ChatInputView::permissionModes()
{
    static const QList<PermissionModeChoice> modes{
        {PermissionMode::ask, QStringLiteral("Ask Permissions"), QStringLiteral("Prompts for permission on first use of each tool")},
        {PermissionMode::acceptEdits, QStringLiteral("Auto Accept Edits"), QStringLiteral("Auto-accepts file edit permissions, asks for commands")},
        {PermissionMode::acceptAll, QStringLiteral("Bypass Permissions"), QStringLiteral("Skips permission prompts except for protected directories")},
    };
    return modes;
}

QList<AgentModelDescriptor> ChatInputView::modelOrder(const AppSettings &settings)
{
    const QSet<QString> hidden = settings.hiddenModelIdsSet();
    QList<AgentModelDescriptor> order;
    for (AgentType agent : {AgentType::claudeCode, AgentType::codex}) {
        const QList<AgentModelDescriptor> models = AgentModelCatalogue::forAgentType(agent);
        for (bool current : {true, false})
            for (const AgentModelDescriptor &model : models)
                if (model.isCurrentGeneration == current && !hidden.contains(model.id))
                    order << model;
    }
    return order;
}

ChatInputView::ChatInputView(AppSettings &settings, QWidget *parent) : QWidget(parent), m_settings(settings)
{
    setAcceptDrops(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 6, 12, 10);
    layout->setSpacing(6);

    m_slash = new QListWidget(this);
    m_slash->setObjectName(QStringLiteral("slashList"));
    m_slash->setFocusPolicy(Qt::NoFocus);
    m_slash->setMaximumHeight(160);
    m_slash->hide();
    connect(m_slash, &QListWidget::itemClicked, this, [this](QListWidgetItem *item) { acceptSlash(m_slash->row(item)); });

    m_chips = new QWidget(this);
    m_chipsLayout = new QHBoxLayout(m_chips);
    m_chipsLayout->setContentsMargins(0, 0, 0, 0);
    m_chipsLayout->addStretch();
    m_chips->hide();

    m_text = new ChatTextEdit(this);
    m_text->setAcceptDrops(true);
    m_text->keyFilter = [this](QKeyEvent *event) { return slashKey(event); };
    connect(m_text, &ChatTextEdit::submitRequested, this, &ChatInputView::submit);
    connect(m_text, &QPlainTextEdit::textChanged, this, &ChatInputView::updateSlashList);
    connect(m_text, &ChatTextEdit::filesDropped, this, &ChatInputView::attachFiles);
    connect(m_text, &ChatTextEdit::longTextPasted, this, [this](const QString &text) { addAttachment(attachments::textAttachment(text)); });
    connect(m_text, &ChatTextEdit::imagePasted, this, [this](const QImage &image) {
        addAttachment(attachments::imageAttachment(image, QStringLiteral("Pasted Image.png")));
    });

    auto *bar = new QHBoxLayout;
    m_attach = new QToolButton(this);
    m_attach->setText(QStringLiteral("Attach"));
    m_attach->setToolTip(QStringLiteral("Attach images or PDFs"));
    connect(m_attach, &QToolButton::clicked, this, &ChatInputView::chooseFiles);
    m_models = new QComboBox(this);
    m_models->setObjectName(QStringLiteral("modelPicker"));
    connect(m_models, &QComboBox::activated, this, [this](int) { emit modelChanged(selectedModel()); });
    m_modes = new QComboBox(this);
    m_modes->setObjectName(QStringLiteral("permissionModeSelector"));
    for (const PermissionModeChoice &choice : permissionModes()) {
        m_modes->addItem(choice.label, int(choice.mode));
        m_modes->setItemData(m_modes->count() - 1, choice.explanation, Qt::ToolTipRole);
    }
    connect(m_modes, &QComboBox::currentIndexChanged, this, [this](int index) {
        m_modes->setToolTip(permissionModes().value(index).explanation);
    });
    connect(m_modes, &QComboBox::activated, this, [this](int) { emit permissionModeChanged(permissionMode()); });
    m_mic = new QToolButton(this);
    m_mic->setObjectName(QStringLiteral("dictationButton"));
    m_mic->setText(QStringLiteral("Mic"));
    m_mic->setToolTip(QStringLiteral("Dictate into the message field"));
    connect(m_mic, &QToolButton::clicked, this, &ChatInputView::toggleDictation);
    // The microphone pulses while it listens.
    m_pulse = new QTimer(this);
    m_pulse->setObjectName(QStringLiteral("dictationPulse"));
    m_pulse->setInterval(500);
    connect(m_pulse, &QTimer::timeout, this, [this] {
        const bool bright = !m_mic->property("pulseBright").toBool();
        m_mic->setProperty("pulseBright", bright);
        m_mic->setStyleSheet(bright ? QStringLiteral("color: #e5484d;") : QStringLiteral("color: rgba(229, 72, 77, 0.4);"));
    });
    m_speechFactory = [](QObject *parent) { return SpeechService::createDefault(parent); };
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("inputStatus"));
    m_send = new QPushButton(QStringLiteral("Send"), this);
    m_send->setObjectName(QStringLiteral("sendButton"));
    connect(m_send, &QPushButton::clicked, this, [this] {
        if (m_waiting)
            emit stopRequested();
        else
            submit();
    });
    bar->addWidget(m_attach);
    bar->addWidget(m_mic);
    bar->addWidget(m_models);
    bar->addWidget(m_modes);
    bar->addWidget(m_status, 1);
    bar->addWidget(m_send);

    layout->addWidget(m_slash);
    layout->addWidget(m_chips);
    layout->addWidget(m_text);
    layout->addLayout(bar);

    reloadModels();
    setPermissionMode(settings.permissionMode());
}

void ChatInputView::reloadModels()
{
    const QString current = m_models->count() > 0 ? selectedModel().id : QString();
    m_modelOrder = modelOrder(m_settings);
    m_models->clear();
    for (const AgentModelDescriptor &model : std::as_const(m_modelOrder))
        m_models->addItem(model.displayName, model.id);
    selectModel(current);
}

AgentModelDescriptor ChatInputView::selectedModel() const
{
    const int index = m_models->currentIndex();
    if (index >= 0 && index < m_modelOrder.size())
        return m_modelOrder[index];
    return AgentModelCatalogue::all().first();
}

void ChatInputView::selectModel(const QString &id)
{
    const int index = m_models->findData(id);
    if (index >= 0)
        m_models->setCurrentIndex(index);
    else if (m_models->currentIndex() < 0 && m_models->count() > 0)
        m_models->setCurrentIndex(0);
}

PermissionMode ChatInputView::permissionMode() const
{
    return PermissionMode(m_modes->currentData().toInt());
}

void ChatInputView::setPermissionMode(PermissionMode mode)
{
    m_modes->setCurrentIndex(qMax(0, m_modes->findData(int(mode))));
}

void ChatInputView::setWaiting(bool waiting)
{
    m_waiting = waiting;
    m_send->setText(waiting ? QStringLiteral("Stop") : QStringLiteral("Send"));
    m_send->setToolTip(waiting ? QStringLiteral("Stop the agent (press twice to end it)") : QString());
}

void ChatInputView::setStatus(const QString &status)
{
    m_status->setText(status);
}

void ChatInputView::setInputEnabled(bool enabled)
{
    m_text->setEnabled(enabled);
    m_send->setEnabled(enabled);
    m_attach->setEnabled(enabled);
}

void ChatInputView::submit()
{
    const QString text = m_text->toPlainText().trimmed();
    if (text.isEmpty() && m_attachments.isEmpty())
        return;
    stopDictation();
    const QList<Attachment> sent = std::exchange(m_attachments, {});
    m_text->clear();
    m_slash->hide();
    rebuildChips();
    emit submitted(text, sent);
}

void ChatInputView::updateSlashList()
{
    m_slashCommands = slashcommands::matching(m_text->toPlainText(), selectedModel().agentType);
    m_slash->clear();
    for (const SlashCommandDefinition &command : std::as_const(m_slashCommands))
        m_slash->addItem(QStringLiteral("/%1 — %2").arg(command.name, command.description));
    m_slash->setVisible(!m_slashCommands.isEmpty());
    if (!m_slashCommands.isEmpty())
        m_slash->setCurrentRow(0);
}

bool ChatInputView::slashKey(QKeyEvent *event)
{
    if (!m_slash->isVisible() || m_slashCommands.isEmpty())
        return false;
    const int row = m_slash->currentRow();
    switch (event->key()) {
    case Qt::Key_Up:
        m_slash->setCurrentRow(qMax(0, row - 1));
        return true;
    case Qt::Key_Down:
        m_slash->setCurrentRow(qMin(int(m_slashCommands.size()) - 1, row + 1));
        return true;
    case Qt::Key_Tab:
        acceptSlash(row);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (event->modifiers() & Qt::ShiftModifier)
            return false;
        acceptSlash(row);
        return true;
    case Qt::Key_Escape:
        m_slash->hide();
        return true;
    default:
        return false;
    }
}

void ChatInputView::acceptSlash(int row)
{
    if (row < 0 || row >= m_slashCommands.size())
        return;
    const QString completed = slashcommands::completion(m_slashCommands[row]);
    {
        const QSignalBlocker block(m_text);
        m_text->setPlainText(completed);
    }
    QTextCursor cursor = m_text->textCursor();
    cursor.movePosition(QTextCursor::End);
    m_text->setTextCursor(cursor);
    m_slashCommands.clear();
    m_slash->hide();
}

void ChatInputView::addAttachment(const Result<Attachment> &attachment)
{
    if (!attachment) {
        auto *box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Cannot attach file"), attachment.error().message,
                                    QMessageBox::Ok, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setObjectName(QStringLiteral("attachError"));
        box->open();
        return;
    }
    m_attachments << *attachment;
    rebuildChips();
}

void ChatInputView::removeAttachment(const QUuid &id)
{
    for (int i = 0; i < m_attachments.size(); ++i)
        if (m_attachments[i].id == id) {
            m_attachments.removeAt(i);
            break;
        }
    rebuildChips();
}

void ChatInputView::attachFiles(const QStringList &paths)
{
    for (const QString &path : paths)
        addAttachment(attachments::fromFile(path));
}

void ChatInputView::rebuildChips()
{
    while (m_chipsLayout->count() > 1) {
        QLayoutItem *item = m_chipsLayout->takeAt(0);
        delete item->widget();
        delete item;
    }
    int at = 0;
    for (const Attachment &a : std::as_const(m_attachments)) {
        auto *chip = new QFrame(m_chips);
        chip->setObjectName(QStringLiteral("attachmentChip"));
        chip->setFrameShape(QFrame::StyledPanel);
        auto *row = new QHBoxLayout(chip);
        row->setContentsMargins(4, 2, 4, 2);
        auto *thumb = new QLabel(chip);
        if (a.type == AttachmentType::image) {
            const QImage image = QImage::fromData(a.data);
            thumb->setPixmap(QPixmap::fromImage(image.scaled(28, 28, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
        } else {
            thumb->setText(a.type == AttachmentType::pdf ? QStringLiteral("PDF") : QStringLiteral("TXT"));
        }
        auto *name = new QLabel(a.fileName, chip);
        auto *remove = new QToolButton(chip);
        remove->setText(QStringLiteral("×"));
        remove->setToolTip(QStringLiteral("Remove"));
        remove->setAutoRaise(true);
        const QUuid id = a.id;
        connect(remove, &QToolButton::clicked, this, [this, id] { removeAttachment(id); });
        row->addWidget(thumb);
        row->addWidget(name);
        row->addWidget(remove);
        m_chipsLayout->insertWidget(at++, chip);
    }
    m_chips->setVisible(!m_attachments.isEmpty());
}

void ChatInputView::chooseFiles()
{
    auto *dialog = new QFileDialog(this, QStringLiteral("Attach Files"));
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setNameFilter(QStringLiteral("Images and PDFs (*.png *.jpg *.jpeg *.gif *.webp *.pdf)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this, &ChatInputView::attachFiles);
    dialog->open();
}

void ChatInputView::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void ChatInputView::dropEvent(QDropEvent *event)
{
    QStringList files;
    for (const QUrl &url : event->mimeData()->urls())
        if (url.isLocalFile())
            files << url.toLocalFile();
    attachFiles(files);
    event->acceptProposedAction();
}

void ChatInputView::setSpeechServiceFactory(std::function<SpeechService *(QObject *)> factory)
{
    stopDictation();
    delete m_speech;
    m_speech = nullptr;
    m_speechFactory = std::move(factory);
}

void ChatInputView::toggleDictation()
{
    if (m_dictating)
        return stopDictation();
    if (!m_speech) {
        m_speech = m_speechFactory(this);
        connect(m_speech, &SpeechService::recognized, this, [this](const QString &text, bool) { showDictationText(text); });
        connect(m_speech, &SpeechService::stopped, this, &ChatInputView::endDictation);
        connect(m_speech, &SpeechService::failed, this, [this](const QString &error) {
            // Said in the log only: an alert in the middle of speaking would be worse than none.
            logLine("ChatVC", QStringLiteral("Speech error: ") + error);
            endDictation();
        });
    }
    m_speech->requestAuthorization(this, [this](bool granted) {
        if (!granted)
            return showDictationAlert(speechtext::notAuthorizedTitle(), speechtext::notAuthorizedText());
        startDictation();
    });
}

void ChatInputView::startDictation()
{
    if (Status started = m_speech->startRecording(); !started) {
        endDictation();
        return showDictationAlert(speechtext::errorTitle(), started.error().message);
    }
    m_dictating = true;
    m_mic->setText(QStringLiteral("Stop Mic"));
    m_pulse->start();
}

void ChatInputView::stopDictation()
{
    if (m_speech && m_speech->isRecording())
        m_speech->stopRecording();
}

void ChatInputView::showDictationText(const QString &text)
{
    // The base is fixed at the first result: what is typed meanwhile gives way to the next one.
    if (!m_dictationBase)
        m_dictationBase = m_text->toPlainText();
    const QString base = *m_dictationBase;
    m_text->setPlainText(base.isEmpty() ? text : base + QLatin1Char(' ') + text);
    QTextCursor cursor = m_text->textCursor();
    cursor.movePosition(QTextCursor::End);
    m_text->setTextCursor(cursor);
}

void ChatInputView::endDictation()
{
    m_dictating = false;
    m_dictationBase.reset();
    m_pulse->stop();
    m_mic->setText(QStringLiteral("Mic"));
    m_mic->setProperty("pulseBright", false);
    m_mic->setStyleSheet({});
}

void ChatInputView::showDictationAlert(const QString &title, const QString &text)
{
    auto *box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::Ok, window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(QStringLiteral("dictationAlert"));
    box->open();
}

} // namespace corvane
