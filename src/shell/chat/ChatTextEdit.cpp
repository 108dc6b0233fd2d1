#include "shell/chat/ChatTextEdit.h"

#include "agent/input/AttachmentService.h"

#include <QImage>
#include <QKeyEvent>
#include <QMimeData>
#include <QUrl>

namespace corvane {

ChatTextEdit::ChatTextEdit(QWidget *parent) : QPlainTextEdit(parent)
{
    setPlaceholderText(QStringLiteral("Message Claude..."));
    setTabChangesFocus(false);
    setFrameShape(QFrame::NoFrame);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(this, &QPlainTextEdit::textChanged, this, [this] { setFixedHeight(sizeHint().height()); });
    setFixedHeight(sizeHint().height());
}

QSize ChatTextEdit::sizeHint() const
{
    const int lines = qBound(2, int(document()->lineCount()), 8);
    return {200, fontMetrics().lineSpacing() * lines + 12};
}

void ChatTextEdit::keyPressEvent(QKeyEvent *event)
{
    if (keyFilter && keyFilter(event))
        return;
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && !(event->modifiers() & Qt::ShiftModifier)) {
        emit submitRequested();
        return;
    }
    if (enter) {
        insertPlainText(QStringLiteral("\n"));
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
    updateGeometry();
}

bool ChatTextEdit::event(QEvent *event)
{
    // Ctrl+Y (redo in a text field) answers a permission request here: leave it to the shortcut.
    if (event->type() == QEvent::ShortcutOverride) {
        const auto *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Y && (key->modifiers() & Qt::ControlModifier)) {
            event->ignore();
            return true;
        }
    }
    return QPlainTextEdit::event(event);
}

bool ChatTextEdit::canInsertFromMimeData(const QMimeData *source) const
{
    return source->hasUrls() || source->hasImage() || QPlainTextEdit::canInsertFromMimeData(source);
}

void ChatTextEdit::insertFromMimeData(const QMimeData *source)
{
    // In this order: files, long text, an image, then an ordinary paste.
    QStringList files;
    if (source->hasUrls())
        for (const QUrl &url : source->urls())
            if (url.isLocalFile())
                files << url.toLocalFile();
    if (!files.isEmpty()) {
        emit filesDropped(files);
        return;
    }
    if (source->hasText() && source->text().size() > attachments::LongPasteCharacters) {
        emit longTextPasted(source->text());
        return;
    }
    if (source->hasImage()) {
        const QImage image = qvariant_cast<QImage>(source->imageData());
        if (!image.isNull()) {
            emit imagePasted(image);
            return;
        }
    }
    QPlainTextEdit::insertFromMimeData(source);
}

} // namespace corvane
