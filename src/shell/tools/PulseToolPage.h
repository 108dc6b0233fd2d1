#pragma once

#include <QUuid>
#include <QWidget>

class QLabel;
class QListWidget;

namespace corvane {

class PulseModel;

// The Pulse tool: what the user worked on, a row per chat per active day, in sections from
// "Today" back by month. More rows load as the list nears its end; a row opens its chat.
class PulseToolPage : public QWidget
{
    Q_OBJECT

public:
    explicit PulseToolPage(PulseModel &model, QWidget *parent = nullptr);

    QListWidget *list() const { return m_list; }

signals:
    void chatActivated(const QUuid &chatId);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void append(int first, int count);
    void redrawRow(int row);
    void loadMoreIfNear();

    PulseModel &m_model;
    QListWidget *m_list;
    QLabel *m_state;
};

} // namespace corvane
