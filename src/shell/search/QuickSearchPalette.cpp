#include "shell/search/QuickSearchPalette.h"

#include "core/store/Store.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QLocale>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

QString escaped(const QList<uint> &points, qsizetype from, qsizetype count)
{
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(points.constData()) + from, count).toHtmlEscaped();
}

QString small(const QString &text)
{
    return QStringLiteral("<span style=\"color: palette(mid);\">%1</span>").arg(text);
}

QString rowHtml(const SearchResult &result)
{
    if (const WorkspaceSearchResult *w = result.workspace()) {
        QStringList details{w->projectName.toHtmlEscaped(),
                            w->chatCount == 1 ? QuickSearchPalette::tr("1 chat")
                                                              : QuickSearchPalette::tr("%1 chats").arg(w->chatCount)};
        if (w->gitBranch)
            details << w->gitBranch->toHtmlEscaped();
        return QStringLiteral("<b>%1</b><br>%2").arg(w->workspaceName.toHtmlEscaped(), small(details.join(QStringLiteral(" · "))));
    }
    const MessageSearchResult &m = *result.message();
    const QString time = QLocale().toString(m.timestamp, QLocale::ShortFormat);
    return QStringLiteral("<b>%1</b> %2<br>%3")
        .arg(m.chatName.toHtmlEscaped(), small(time.toHtmlEscaped()), QuickSearchPalette::snippetHtml(m));
}

} // namespace

QuickSearchPalette::QuickSearchPalette(Store &store, QWidget *window) : QFrame(window), m_model(store)
{
    setObjectName(QStringLiteral("quickSearch"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);

    m_field = new QLineEdit;
    m_field->setObjectName(QStringLiteral("quickSearchField"));
    m_field->setPlaceholderText(tr("Search workspaces and messages"));
    m_field->setClearButtonEnabled(true);
    m_field->installEventFilter(this);
    layout->addWidget(m_field);

    auto *switchRow = new QHBoxLayout;
    switchRow->setSpacing(0);
    m_filters = new QButtonGroup(this);
    const std::pair<SearchFilterMode, QString> modes[] = {{SearchFilterMode::all, tr("All")},
                                                          {SearchFilterMode::workspaces, tr("Workspaces")},
                                                          {SearchFilterMode::messages, tr("Messages")}};
    for (const auto &[mode, name] : modes) {
        auto *button = new QToolButton;
        button->setText(name);
        button->setCheckable(true);
        button->setFocusPolicy(Qt::NoFocus);
        button->setChecked(mode == m_model.filterMode());
        m_filters->addButton(button, int(mode));
        switchRow->addWidget(button);
    }
    switchRow->addStretch();
    layout->addLayout(switchRow);
    connect(m_filters, &QButtonGroup::idClicked, this, [this](int id) {
        m_model.setFilterMode(SearchFilterMode(id));
        m_field->setFocus();
    });

    m_list = new QListWidget;
    m_list->setObjectName(QStringLiteral("quickSearchResults"));
    m_list->setFocusPolicy(Qt::NoFocus); // the keys stay in the field
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setUniformItemSizes(false);
    layout->addWidget(m_list, 1);
    connect(m_list, &QListWidget::itemClicked, this, [this](QListWidgetItem *item) {
        m_model.setSelectedIndex(m_list->row(item));
        openSelected();
    });

    m_empty = new QLabel(tr("No results"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->hide();
    layout->addWidget(m_empty);
    m_note = new QLabel;
    m_note->setWordWrap(true);
    m_note->hide();
    layout->addWidget(m_note);

    connect(m_field, &QLineEdit::textChanged, &m_model, &QuickSearchViewModel::setSearchText);
    connect(&m_model, &QuickSearchViewModel::resultsChanged, this, &QuickSearchPalette::showResults);
    connect(&m_model, &QuickSearchViewModel::selectionChanged, this, &QuickSearchPalette::showSelection);
    window->installEventFilter(this);
    hide();
}

QToolButton *QuickSearchPalette::filterButton(SearchFilterMode mode) const
{
    return qobject_cast<QToolButton *>(m_filters->button(int(mode)));
}

QString QuickSearchPalette::snippetHtml(const MessageSearchResult &result)
{
    const QList<uint> points = result.snippet.toUcs4();
    if (!result.matchRange)
        return result.snippet.toHtmlEscaped();
    const qsizetype start = qBound(qsizetype(0), qsizetype(result.matchRange->start), points.size());
    const qsizetype end = qBound(start, start + qsizetype(result.matchRange->length), points.size());
    return escaped(points, 0, start) + QStringLiteral("<b>") + escaped(points, start, end - start)
        + QStringLiteral("</b>") + escaped(points, end, points.size() - end);
}

void QuickSearchPalette::open()
{
    if (const auto missing = search::messageIndexMissing(m_model.store())) {
        m_note->setText(tr("Messages are read one by one, without an index: %1").arg(*missing));
        m_note->show();
    }
    place();
    show();
    raise();
    m_field->setFocus();
    if (m_field->text().isEmpty())
        m_model.setSearchText(QString()); // the newest workspaces, at once
    else
        m_field->clear();
}

void QuickSearchPalette::place()
{
    const QWidget *window = parentWidget();
    const int width = qMin(640, window->width() - 40);
    const int height = qMin(460, window->height() - 80);
    setGeometry((window->width() - width) / 2, 60, width, height);
}

void QuickSearchPalette::showResults()
{
    m_list->clear();
    for (const SearchResult &result : m_model.results()) {
        auto *item = new QListWidgetItem(m_list);
        auto *label = new QLabel(rowHtml(result));
        label->setTextFormat(Qt::RichText);
        label->setContentsMargins(6, 4, 6, 4);
        label->setAttribute(Qt::WA_TransparentForMouseEvents);
        item->setSizeHint(label->sizeHint());
        item->setData(Qt::UserRole, result.workspace() ? result.workspace()->id : result.message()->id);
        m_list->setItemWidget(item, label);
    }
    const bool none = m_model.results().isEmpty() && !m_model.searchText().trimmed().isEmpty();
    m_empty->setVisible(none);
    showSelection();
}

void QuickSearchPalette::showSelection()
{
    const int index = m_model.selectedIndex();
    if (index >= 0 && index < m_list->count()) {
        m_list->setCurrentRow(index);
        m_list->scrollToItem(m_list->item(index));
    }
}

void QuickSearchPalette::openSelected()
{
    // Return right after typing opens what the full text finds, not the results of a keystroke ago.
    if (m_model.isSearchPending())
        m_model.performSearch();
    const auto chosen = m_model.selectedResult();
    if (!chosen)
        return;
    hide();
    if (const WorkspaceSearchResult *workspace = chosen->workspace())
        emit workspaceChosen(workspace->id);
    else
        emit messageChosen(chosen->message()->chatId, chosen->message()->id);
}

bool QuickSearchPalette::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget()) {
        if (event->type() == QEvent::Resize && isVisible())
            place();
        return false;
    }
    if (watched == m_field && event->type() == QEvent::KeyPress) {
        switch (static_cast<QKeyEvent *>(event)->key()) {
        case Qt::Key_Up:
            m_model.moveSelectionUp();
            return true;
        case Qt::Key_Down:
            m_model.moveSelectionDown();
            return true;
        case Qt::Key_Return:
        case Qt::Key_Enter:
            openSelected();
            return true;
        case Qt::Key_Escape:
            hide();
            return true;
        default:
            break;
        }
    }
    return QFrame::eventFilter(watched, event);
}

} // namespace corvane
