#include "shell/diff/DiffWindow.h"

#include "presentation/highlight/FileLanguage.h"
#include "shell/chat/ChatStyle.h"
#include "shell/diff/DiffPane.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollBar>
#include <QVBoxLayout>

namespace corvane {

namespace {

QColor tint(const QColor &color, double alpha)
{
    QColor tinted = color;
    tinted.setAlphaF(float(alpha));
    return tinted;
}

QWidget *column(QLabel *header, QWidget *body, QWidget *parent)
{
    auto *box = new QWidget(parent);
    auto *layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    QFont font = header->font();
    font.setBold(true);
    header->setFont(font);
    header->setContentsMargins(6, 4, 6, 2);
    layout->addWidget(header);
    layout->addWidget(body, 1);
    return box;
}

} // namespace

DiffWindow::DiffWindow(const QString &workingDirectory, const QString &filePath, QWidget *parent)
    : QWidget(parent, Qt::Window), m_filePath(filePath), m_leftHeader(new QLabel(tr("Original (HEAD)"))),
      m_rightHeader(new QLabel(tr("Current"))), m_left(new DiffPane), m_right(new DiffPane),
      m_binary(new QLabel(tr("Cannot display binary file")))
{
    setObjectName(QStringLiteral("diffWindow"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Diff: %1").arg(filePath));
    resize(1000, 700);
    m_left->setObjectName(QStringLiteral("diffLeft"));
    m_right->setObjectName(QStringLiteral("diffRight"));
    m_binary->setAlignment(Qt::AlignCenter);
    m_binary->hide();
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    auto *leftBody = new QWidget(this);
    auto *leftStack = new QVBoxLayout(leftBody);
    leftStack->setContentsMargins(0, 0, 0, 0);
    leftStack->addWidget(m_left, 1);
    leftStack->addWidget(m_binary, 1);
    m_leftColumn = column(m_leftHeader, leftBody, this);
    layout->addWidget(m_leftColumn, 1);
    m_rightColumn = column(m_rightHeader, m_right, this);
    layout->addWidget(m_rightColumn, 1);
    m_left->setPlaceholderText(tr("Loading\u2026"));

    // One scroll position for both: the rows line up.
    for (auto [from, to] : {std::pair{m_left, m_right}, std::pair{m_right, m_left}})
        connect(from->verticalScrollBar(), &QScrollBar::valueChanged, this, [this, to](int value) {
            if (m_syncingScroll)
                return;
            m_syncingScroll = true;
            to->verticalScrollBar()->setValue(value);
            m_syncingScroll = false;
        });
    diff::load(this, workingDirectory, filePath, [this](DiffDocument document) { display(std::move(document)); });
}

void DiffWindow::display(DiffDocument document)
{
    m_document = std::move(document);
    const bool dark = ChatStyle::isDark(palette());
    const QColor red(dark ? QColor(0xff, 0x5f, 0x57) : QColor(0xd7, 0x3a, 0x49));
    const QColor green(dark ? QColor(0x3f, 0xb9, 0x50) : QColor(0x28, 0xa7, 0x45));
    const QColor filler = palette().color(QPalette::Text);
    switch (m_document.kind) {
    case DiffDocument::Kind::binary:
        m_rightColumn->hide();
        m_left->hide();
        m_binary->show();
        m_leftHeader->setText(tr("Binary File"));
        break;
    case DiffDocument::Kind::newFile:
    case DiffDocument::Kind::deletedFile: {
        // The one text there is fills the window, tinted as a whole.
        const bool added = m_document.kind == DiffDocument::Kind::newFile;
        (added ? m_leftColumn : m_rightColumn)->hide();
        DiffPane *pane = added ? m_right : m_left;
        (added ? m_rightHeader : m_leftHeader)->setText(added ? tr("New File") : tr("Deleted File"));
        const int lines = int(m_document.onlyText.count(QLatin1Char('\n'))) + 1;
        QList<std::optional<int>> numbers;
        numbers.reserve(lines);
        for (int n = 1; n <= lines; ++n)
            numbers.append(n);
        pane->show(m_document.onlyText, numbers, QList<QColor>(lines, tint(added ? green : red, 0.08)));
        pane->setLanguage(languageForFile(m_filePath));
        pane->highlight();
        break;
    }
    case DiffDocument::Kind::text: {
        QStringList leftLines, rightLines;
        QList<std::optional<int>> leftNumbers, rightNumbers;
        QList<QColor> leftTints, rightTints;
        for (const DiffRow &row : std::as_const(m_document.rows)) {
            leftLines.append(row.leftText);
            rightLines.append(row.rightText);
            leftNumbers.append(row.leftLineNumber);
            rightNumbers.append(row.rightLineNumber);
            switch (row.type) {
            case DiffLineType::unchanged:
                leftTints.append(QColor());
                rightTints.append(QColor());
                break;
            case DiffLineType::removed:
                leftTints.append(tint(red, 0.08));
                rightTints.append(tint(filler, 0.04));
                break;
            case DiffLineType::added:
                leftTints.append(tint(filler, 0.04));
                rightTints.append(tint(green, 0.08));
                break;
            case DiffLineType::modified:
                leftTints.append(tint(red, 0.08));
                rightTints.append(tint(green, 0.08));
                break;
            }
        }
        const QString leftText = leftLines.join(QLatin1Char('\n'));
        const QString rightText = rightLines.join(QLatin1Char('\n'));
        m_left->show(leftText, leftNumbers, leftTints);
        m_right->show(rightText, rightNumbers, rightTints);
        for (DiffPane *pane : {m_left, m_right}) {
            pane->setLanguage(languageForFile(m_filePath));
            pane->highlight();
        }
        break;
    }
    }
    m_loaded = true;
    emit loaded();
}

} // namespace corvane
