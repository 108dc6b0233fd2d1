#pragma once

#include "tools/search/QuickSearchViewModel.h"

#include <QFrame>
#include <QUuid>

class QButtonGroup;
class QLabel;
class QLineEdit;
class QListWidget;
class QToolButton;

namespace corvane {

class Store;

// The quick search palette over a main window: a field, the filter "All" / "Workspaces" /
// "Messages", and the results of QuickSearchViewModel. Up and Down move the selection, Return
// opens it, Escape closes; a click on a row opens that row. It says what was chosen and closes;
// the window shows it.
class QuickSearchPalette : public QFrame
{
    Q_OBJECT

public:
    QuickSearchPalette(Store &store, QWidget *window);

    // Shows the palette at the top of its window with an empty field and the newest workspaces.
    void open();

    QuickSearchViewModel &model() { return m_model; }
    QLineEdit *field() const { return m_field; }
    QListWidget *list() const { return m_list; }
    QToolButton *filterButton(SearchFilterMode mode) const;

    // The text of a message row's snippet with the match in bold (for the row and for tests).
    static QString snippetHtml(const MessageSearchResult &result);

signals:
    void workspaceChosen(const QUuid &workspaceId);
    void messageChosen(const QUuid &chatId, const QUuid &messageId);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showResults();
    void showSelection();
    void openSelected();
    void place();

    QuickSearchViewModel m_model;
    QLineEdit *m_field;
    QButtonGroup *m_filters;
    QListWidget *m_list;
    QLabel *m_empty;
    QLabel *m_note;
};

} // namespace corvane
