#pragma once

#include <QPlainTextEdit>

#include <functional>

class QImage;

namespace corvane {

// The message field: Return submits, Shift+Return breaks the line. Keys for the slash list are
// offered to `keyFilter` first. Pasted or dropped files, long texts and images become
// attachments instead of text.
class ChatTextEdit : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit ChatTextEdit(QWidget *parent = nullptr);

    // Return true to swallow the key (the slash list took it).
    std::function<bool(QKeyEvent *)> keyFilter;

    QSize sizeHint() const override;
    // Pasting and dropping: files, then text over the long-paste limit, then images.
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void insertFromMimeData(const QMimeData *source) override;

signals:
    void submitRequested();
    void filesDropped(const QStringList &paths);
    void longTextPasted(const QString &text);
    void imagePasted(const QImage &image);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    bool event(QEvent *event) override;
};

} // namespace corvane
