#pragma once

#include "agent/AgentModelDescriptor.h"
#include "agent/Attachment.h"
#include "agent/input/SlashCommands.h"
#include "core/Result.h"

#include <QList>
#include <QWidget>

#include <functional>
#include <optional>

class QComboBox;
class QHBoxLayout;
class QLabel;
class QListWidget;
class QPushButton;
class QTimer;
class QToolButton;

namespace corvane {

class AppSettings;
class ChatTextEdit;
class SpeechService;

// One entry of the permission mode selector.
struct PermissionModeChoice
{
    PermissionMode mode;
    QString label;
    QString explanation;
};

// The chat's input: the message field with its slash list, the attachments as chips, the model
// picker, the permission mode selector, the status line and the send button, which turns into
// the stop button while the agent works.
class ChatInputView : public QWidget
{
    Q_OBJECT
public:
    ChatInputView(AppSettings &settings, QWidget *parent = nullptr);

    static const QList<PermissionModeChoice> &permissionModes();
    // Claude's models, then Codex's; the current generation first within each; hidden ones left out.
    static QList<AgentModelDescriptor> modelOrder(const AppSettings &settings);

    // The picker offers the models again (visibility may have changed); keeps the choice if it can.
    void reloadModels();
    AgentModelDescriptor selectedModel() const;
    // Selects the model of a chat when the picker offers it; otherwise the choice stays.
    void selectModel(const QString &id);
    PermissionMode permissionMode() const;
    void setPermissionMode(PermissionMode mode);

    void setWaiting(bool waiting);
    bool isWaiting() const { return m_waiting; }
    void setStatus(const QString &status);
    void setInputEnabled(bool enabled);

    QList<Attachment> attachments() const { return m_attachments; }
    // Adds what a file, a paste or a drop gave; a failure shows "Cannot attach file".
    void addAttachment(const Result<Attachment> &attachment);
    void removeAttachment(const QUuid &id);
    void attachFiles(const QStringList &paths);

    // Dictation into the field: what is heard goes after the text that was there when the first
    // result came, each result replacing the last; a final result ends it. Nothing is sent.
    void toggleDictation();
    void stopDictation();
    bool isDictating() const { return m_dictating; }
    // Where the service comes from (pocketsphinx and the microphone unless told otherwise); it is
    // made at the first dictation and lives as long as the input.
    void setSpeechServiceFactory(std::function<SpeechService *(QObject *parent)> factory);
    SpeechService *speechService() const { return m_speech; }

    ChatTextEdit *textEdit() const { return m_text; }
    QListWidget *slashList() const { return m_slash; }
    QPushButton *sendButton() const { return m_send; }
    QComboBox *modelPicker() const { return m_models; }
    QComboBox *modeSelector() const { return m_modes; }
    QLabel *statusLabel() const { return m_status; }
    QWidget *chipsArea() const { return m_chips; }
    QToolButton *dictationButton() const { return m_mic; }

signals:
    void submitted(const QString &text, const QList<corvane::Attachment> &attachments);
    void stopRequested();
    void permissionModeChanged(corvane::PermissionMode mode);
    void modelChanged(const corvane::AgentModelDescriptor &model);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void submit();
    void updateSlashList();
    bool slashKey(QKeyEvent *event);
    void acceptSlash(int row);
    void rebuildChips();
    void chooseFiles();
    void startDictation();
    void showDictationText(const QString &text);
    void endDictation();
    void showDictationAlert(const QString &title, const QString &text);

    AppSettings &m_settings;
    ChatTextEdit *m_text;
    QListWidget *m_slash;
    QList<SlashCommandDefinition> m_slashCommands;
    QWidget *m_chips;
    QHBoxLayout *m_chipsLayout;
    QToolButton *m_attach;
    QComboBox *m_models;
    QComboBox *m_modes;
    QLabel *m_status;
    QPushButton *m_send;
    QList<AgentModelDescriptor> m_modelOrder;
    QList<Attachment> m_attachments;
    bool m_waiting = false;

    QToolButton *m_mic;
    QTimer *m_pulse;
    std::function<SpeechService *(QObject *)> m_speechFactory;
    SpeechService *m_speech = nullptr;
    bool m_dictating = false;
    std::optional<QString> m_dictationBase;
};

} // namespace corvane
