#pragma once

#include <QWidget>

class QLabel;

namespace corvane {

// The inspector column. It names what the content shows; the tool panes that fill it (files,
// plan, changes) are added by the views that own them.
class InspectorView : public QWidget
{
    Q_OBJECT

public:
    explicit InspectorView(QWidget *parent = nullptr);

    void showSubject(const QString &title, const QString &detail);
    void clear();

private:
    QLabel *m_title;
    QLabel *m_detail;
};

} // namespace corvane
