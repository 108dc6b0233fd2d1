#include "shell/tools/DefinitionToolPage.h"

#include "presentation/markdown/LiveMarkdownHighlighter.h"
#include "shell/tools/ToolForm.h"

#include <QApplication>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QStyledItemDelegate>
#include <QUrl>
#include <QVBoxLayout>

namespace corvane {

namespace {

constexpr int DetailRole = Qt::UserRole + 1;

// A row: the name in bold, under it the scope and description, quieter and on two lines at most.
class RowDelegate : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        QStyleOptionViewItem base = option;
        initStyleOption(&base, index);
        base.text.clear();
        QStyle *style = base.widget ? base.widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &base, painter, base.widget);
        const QRect area = option.rect.adjusted(8, 5, -8, -5);
        const bool selected = option.state & QStyle::State_Selected;
        QFont bold = option.font;
        bold.setBold(true);
        painter->save();
        painter->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        painter->setFont(bold);
        const int titleHeight = QFontMetrics(bold).height();
        painter->drawText(QRect(area.left(), area.top(), area.width(), titleHeight), Qt::AlignLeft | Qt::AlignVCenter,
                          QFontMetrics(bold).elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideRight, area.width()));
        QColor quiet = option.palette.color(selected ? QPalette::HighlightedText : QPalette::PlaceholderText);
        painter->setPen(quiet);
        painter->setFont(option.font);
        painter->drawText(QRect(area.left(), area.top() + titleHeight + 2, area.width(), area.height() - titleHeight - 2),
                          Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, index.data(DetailRole).toString());
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        const QFontMetrics metrics(option.font);
        const bool detail = !index.data(DetailRole).toString().isEmpty();
        return {200, 10 + metrics.height() + (detail ? 2 + 2 * metrics.height() : 0)};
    }
};

bool askWithMessageBox(QWidget *parent, const QString &question)
{
    return QMessageBox::question(parent, QString(), question, QMessageBox::Yes | QMessageBox::Cancel,
                                 QMessageBox::Cancel) == QMessageBox::Yes;
}

} // namespace

DefinitionToolPage::DefinitionToolPage(DefinitionService &service, Texts texts, QWidget *parent)
    : QWidget(parent), m_service(service), m_texts(std::move(texts)), m_confirm(askWithMessageBox),
      m_counts(new QLabel), m_state(new QLabel), m_list(new QListWidget), m_editor(new QWidget),
      m_editorLayout(new QVBoxLayout), m_error(toolform::errorLine("errorLine")), m_save(new QPushButton(tr("Save"))),
      m_restore(new QPushButton(tr("Restore original"))), m_clone(new QPushButton(tr("Clone"))),
      m_delete(new QPushButton(tr("Delete…"))), m_reveal(new QPushButton(tr("Show in File Manager"))),
      m_commandRow(new QWidget)
{
    auto *title = new QLabel(m_texts.title);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.5);
    titleFont.setBold(true);
    title->setFont(titleFont);
    m_counts->setObjectName(QStringLiteral("countsLabel"));
    m_counts->setEnabled(false);
    auto *newButton = new QPushButton(tr("New…"));
    newButton->setObjectName(QStringLiteral("newButton"));
    m_clone->setObjectName(QStringLiteral("cloneButton"));
    m_delete->setObjectName(QStringLiteral("deleteButton"));
    m_reveal->setObjectName(QStringLiteral("revealButton"));
    m_save->setObjectName(QStringLiteral("saveButton"));
    m_save->setToolTip(QKeySequence(QKeySequence::Save).toString(QKeySequence::NativeText));
    m_restore->setObjectName(QStringLiteral("restoreOriginalButton"));
    m_state->setObjectName(QStringLiteral("stateLabel"));
    m_state->setAlignment(Qt::AlignCenter);
    m_state->setWordWrap(true);
    m_state->setEnabled(false);
    m_list->setObjectName(QStringLiteral("definitionList"));
    m_list->setMinimumWidth(220);
    m_list->setItemDelegate(new RowDelegate(m_list));
    m_list->setUniformItemSizes(false);

    auto *commands = new QHBoxLayout(m_commandRow);
    commands->setContentsMargins(0, 0, 0, 0);
    commands->addWidget(newButton);
    commands->addWidget(m_clone);
    commands->addStretch();
    commands->addWidget(m_reveal);
    commands->addWidget(m_delete);

    auto *head = new QHBoxLayout;
    head->addWidget(title);
    head->addSpacing(12);
    head->addWidget(m_counts, 0, Qt::AlignBottom);
    head->addStretch();

    auto *left = new QWidget;
    auto *leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(0, 0, 0, 0);
    leftLayout->addWidget(m_list, 1);
    leftLayout->addWidget(m_state);

    auto *saveRow = new QHBoxLayout;
    saveRow->addWidget(m_error, 1);
    saveRow->addStretch();
    saveRow->addWidget(m_restore);
    saveRow->addWidget(m_save);
    m_editorLayout->setContentsMargins(0, 0, 0, 0);
    auto *editor = new QVBoxLayout(m_editor);
    editor->setContentsMargins(0, 0, 0, 0);
    editor->addLayout(m_editorLayout, 1);
    editor->addLayout(saveRow);

    auto *splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(left);
    splitter->addWidget(m_editor);
    splitter->setStretchFactor(1, 1);
    splitter->setSizes({260, 640});

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(head);
    layout->addWidget(m_commandRow);
    layout->addWidget(splitter, 1);

    connect(newButton, &QPushButton::clicked, this, &DefinitionToolPage::showNewSheet);
    connect(m_clone, &QPushButton::clicked, this, [this] {
        if (auto cloned = cloneSelected())
            m_pendingSelection = *cloned;
        else
            showError(cloned.error().message);
    });
    connect(m_delete, &QPushButton::clicked, this, &DefinitionToolPage::deleteClicked);
    connect(m_reveal, &QPushButton::clicked, this, [this] { revealInFileManager(m_selected); });
    connect(m_save, &QPushButton::clicked, this, &DefinitionToolPage::saveClicked);
    auto *saveKey = new QShortcut(QKeySequence::Save, this, nullptr, nullptr, Qt::WidgetWithChildrenShortcut);
    connect(saveKey, &QShortcut::activated, this, [this] {
        if (m_save->isEnabled())
            saveClicked();
    });
    connect(m_restore, &QPushButton::clicked, this, &DefinitionToolPage::restoreClicked);
    connect(m_list, &QListWidget::currentRowChanged, this, &DefinitionToolPage::currentRowChanged);
    // Only the words change when a scan starts; the list waits for its outcome.
    connect(&m_service, &DefinitionService::loadingChanged, this, [this] { drawState(m_drawn.size()); });
    connect(&m_service, &DefinitionService::reloaded, this, &DefinitionToolPage::redraw);
}

QStringList DefinitionToolPage::projectFolders() const
{
    QStringList folders;
    for (const ToolProject &project : projects())
        folders.append(project.folder);
    return folders;
}

void DefinitionToolPage::refresh()
{
    m_service.reload(projectFolders());
    if (!m_service.isWatching())
        m_service.startWatching();
}

QPushButton *DefinitionToolPage::addToolButton(const QString &text, const QString &objectName)
{
    auto *button = new QPushButton(text);
    button->setObjectName(objectName);
    static_cast<QHBoxLayout *>(m_commandRow->layout())->insertWidget(2, button);
    return button;
}

void DefinitionToolPage::redraw()
{
    const QList<Row> all = rows();
    int projectCount = 0;
    for (const Row &row : all)
        projectCount += row.isProject;
    m_counts->setText(tr("Total %1 · %2 %3 · Project %4")
                          .arg(all.size()).arg(m_texts.secondCount).arg(all.size() - projectCount).arg(projectCount));
    drawState(all.size());

    // A definition just made shows once a scan has found its file.
    const bool pendingListed = std::any_of(all.cbegin(), all.cend(), [this](const Row &row) {
        return row.filePath == m_pendingSelection;
    });
    if (!m_pendingSelection.isEmpty() && pendingListed)
        m_selected = std::exchange(m_pendingSelection, QString());
    int current = -1;
    for (qsizetype i = 0; i < all.size() && current < 0; ++i)
        if (all[i].filePath == m_selected)
            current = int(i);
    // Rebuilt only when what it shows changed, keeping where the user had scrolled to.
    if (all != m_drawn) {
        m_drawing = true;
        const int scrolled = m_list->verticalScrollBar()->value();
        m_list->clear();
        for (const Row &row : all) {
            auto *item = new QListWidgetItem(row.title);
            item->setData(Qt::UserRole, row.filePath);
            item->setData(DetailRole, row.detail);
            item->setToolTip(row.filePath);
            m_list->addItem(item);
        }
        m_list->verticalScrollBar()->setValue(scrolled);
        m_drawn = all;
        m_drawing = false;
    }
    if (m_list->currentRow() != current) {
        m_drawing = true;
        m_list->setCurrentRow(current);
        m_drawing = false;
    }

    if (current < 0) {
        // Gone from a finished scan: deleted or moved outside.
        if (!m_selected.isEmpty() && !hasUnsavedEdits() && !m_service.isLoading()) {
            m_selected.clear();
            clearEditor();
        }
    } else if (!hasUnsavedEdits()) {
        // Read again: the file may have changed on disk.
        open(m_selected);
    }
    updateButtons();
}

void DefinitionToolPage::drawState(qsizetype listed)
{
    if (m_service.isLoading() && listed == 0)
        m_state->setText(m_texts.loading);
    else if (m_service.lastError())
        m_state->setText(*m_service.lastError());
    else if (listed == 0)
        m_state->setText(m_texts.empty);
    m_state->setVisible(listed == 0 || m_service.lastError());
}

bool DefinitionToolPage::select(const QString &filePath)
{
    for (int row = 0; row < m_list->count(); ++row) {
        if (m_list->item(row)->data(Qt::UserRole).toString() == filePath) {
            m_list->setCurrentRow(row);
            return true;
        }
    }
    return false;
}

void DefinitionToolPage::currentRowChanged()
{
    if (m_drawing)
        return;
    const QListWidgetItem *item = m_list->currentItem();
    const QString path = item ? item->data(Qt::UserRole).toString() : QString();
    if (path == m_selected)
        return;
    m_selected = path;
    m_error->hide();
    if (path.isEmpty())
        clearEditor();
    else
        open(path);
    updateButtons();
}

void DefinitionToolPage::editsChanged()
{
    updateButtons();
}

void DefinitionToolPage::showError(const QString &message)
{
    m_error->setText(message);
    m_error->setVisible(!message.isEmpty());
}

void DefinitionToolPage::updateButtons()
{
    const bool chosen = !m_selected.isEmpty();
    m_editor->setEnabled(chosen);
    m_clone->setEnabled(chosen);
    m_delete->setEnabled(chosen);
    m_reveal->setEnabled(chosen);
    m_save->setEnabled(chosen && hasUnsavedEdits());
    m_restore->setEnabled(chosen && hasUnsavedEdits());
}

void DefinitionToolPage::saveClicked()
{
    auto saved = saveEdits();
    if (!saved) {
        showError(saved.error().message);
        return;
    }
    showError({});
    m_selected = *saved;
    updateButtons();
}

void DefinitionToolPage::restoreClicked()
{
    showError({});
    open(m_selected);
    updateButtons();
}

void DefinitionToolPage::deleteClicked()
{
    if (m_selected.isEmpty() || !confirm(deleteQuestion()))
        return;
    if (Status removed = deleteSelected(); !removed) {
        showError(removed.error().message);
        return;
    }
    m_selected.clear();
    clearEditor();
    updateButtons();
}

QComboBox *DefinitionToolPage::makeLocationChoice(QWidget *parent) const
{
    auto *choice = new QComboBox(parent);
    choice->setObjectName(QStringLiteral("locationChoice"));
    choice->addItem(m_texts.userPlace, QString());
    for (const ToolProject &project : projects())
        choice->addItem(project.name, project.folder);
    return choice;
}

DefinitionLocation DefinitionToolPage::locationOf(const QComboBox *choice)
{
    const QString folder = choice->currentData().toString();
    return folder.isEmpty() ? DefinitionLocation::user() : DefinitionLocation::project(folder);
}

void DefinitionToolPage::showNewSheet()
{
    auto *sheet = new QDialog(this);
    sheet->setObjectName(QStringLiteral("newSheet"));
    sheet->setWindowTitle(tr("New"));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    auto *name = new QLineEdit;
    name->setObjectName(QStringLiteral("newName"));
    name->setPlaceholderText(m_texts.namePrompt);
    QComboBox *location = makeLocationChoice(sheet);
    QLabel *error = toolform::errorLine("newError");
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton *create = buttons->addButton(tr("Create"), QDialogButtonBox::AcceptRole);
    create->setObjectName(QStringLiteral("createButton"));
    auto *form = new QFormLayout(sheet);
    form->addRow(tr("Name"), name);
    form->addRow(tr("Location"), location);
    extendNewSheet(form);
    form->addRow(error);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::rejected, sheet, &QDialog::reject);
    connect(create, &QPushButton::clicked, sheet, [this, sheet, name, location, error] {
        const QString trimmed = name->text().trimmed();
        if (trimmed.isEmpty())
            return;
        const auto made = this->create(trimmed, locationOf(location));
        if (!made) {
            error->setText(made.error().message);
            error->show();
            return;
        }
        m_pendingSelection = *made;
        sheet->accept();
    });
    sheet->open();
}

void DefinitionToolPage::revealInFileManager(const QString &path)
{
    if (path.isEmpty())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 2000);
    if (reply.type() == QDBusMessage::ErrorMessage)
        QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).path()));
}

QPlainTextEdit *DefinitionToolPage::makeBodyEditor(QWidget *parent, const QString &objectName)
{
    auto *editor = new QPlainTextEdit(parent);
    editor->setObjectName(objectName);
    editor->setTabChangesFocus(false);
    const bool dark = editor->palette().color(QPalette::Base).lightness() < 128;
    new LiveMarkdownHighlighter(editor->document(), editor->font().pointSizeF(), dark);
    return editor;
}

} // namespace corvane
