// The row widgets of the timeline, one class per kind of row.
#include "shell/chat/TimelineRow.h"

#include "automation/CoordinatorMarkers.h"
#include "presentation/markdown/MarkdownBlockList.h"
#include "presentation/timeline/TimelineRowHeights.h"
#include "shell/chat/MarkdownTextView.h"
#include "shell/chat/PermissionCard.h"
#include "shell/chat/PlanCard.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

constexpr int kSideMargin = 16;
constexpr int kVerticalMargin = 6;

QString requestIdOf(const Message &message)
{
    return QJsonDocument::fromJson(message.metadata.value_or(QByteArray())).object().value(QStringLiteral("request_id")).toString();
}

QLabel *wrappingLabel(QWidget *parent, bool selectable = true)
{
    auto *label = new QLabel(parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    if (selectable)
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

// Rows whose height their layout knows.
class LayoutRow : public TimelineRow
{
public:
    using TimelineRow::TimelineRow;
    int measure(int width) override
    {
        QLayout *l = layout();
        if (!l)
            return kMinimumRowHeight;
        l->activate();
        return l->hasHeightForWidth() ? l->totalHeightForWidth(width) : l->totalSizeHint().height();
    }
};

// The user's message: a bubble on the trailing side, with its attachments listed below the text.
class UserBubbleRow : public TimelineRow
{
public:
    UserBubbleRow(RowContext &context, QWidget *parent) : TimelineRow(RowKind::userBubble, context, parent)
    {
        m_text = wrappingLabel(this);
        m_text->setFont(context.style.bodyFont());
        m_text->setStyleSheet(QStringLiteral("color: %1;").arg(context.style.bubbleText.name()));
        m_files = wrappingLabel(this, false);
        m_files->setStyleSheet(QStringLiteral("color: %1;").arg(context.style.secondaryText.name()));
    }
    int measure(int width) override { return geometryFor(width).height() + 2 * kVerticalMargin; }
    QString visibleText() const override { return m_text->text() + QLatin1Char('\n') + m_files->text(); }

protected:
    void refresh() override
    {
        const UserBubbleContent content = userBubbleContent(m_item.message->content);
        m_text->setText(content.text);
        m_text->setVisible(!content.text.isEmpty());
        QStringList files;
        for (const auto &a : content.attachments)
            files << QStringLiteral("📎 %1: %2").arg(a.kind, a.name);
        m_files->setText(files.join(QLatin1Char('\n')));
        m_files->setVisible(!files.isEmpty());
        resizeEvent(nullptr);
    }
    void resizeEvent(QResizeEvent *) override
    {
        const QRect bubble = geometryFor(width()).translated(0, kVerticalMargin);
        const QRect inner = bubble.adjusted(12, 8, -12, -8);
        int y = inner.top();
        if (!m_text->text().isEmpty()) {
            const int h = m_text->heightForWidth(inner.width());
            m_text->setGeometry(inner.left(), y, inner.width(), h);
            y += h;
        }
        if (!m_files->text().isEmpty())
            m_files->setGeometry(inner.left(), y, inner.width(), m_files->heightForWidth(inner.width()));
        m_bubble = bubble;
        update();
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(m_context.style.bubble);
        p.drawRoundedRect(m_bubble, 12, 12);
    }

private:
    QRect geometryFor(int width) const
    {
        const int maxInner = qMax(80, int(width * 0.75) - 24);
        const QFontMetrics fm(m_text->font());
        int natural = 0;
        for (const QString &line : m_text->text().split(QLatin1Char('\n')))
            natural = qMax(natural, fm.horizontalAdvance(line));
        if (!m_files->text().isEmpty())
            for (const QString &line : m_files->text().split(QLatin1Char('\n')))
                natural = qMax(natural, QFontMetrics(m_files->font()).horizontalAdvance(line));
        const int inner = qBound(40, natural + 2, maxInner);
        int h = 0;
        if (!m_text->text().isEmpty())
            h += m_text->heightForWidth(inner);
        if (!m_files->text().isEmpty())
            h += m_files->heightForWidth(inner);
        return QRect(width - kSideMargin - inner - 24, 0, inner + 24, h + 16);
    }

    QLabel *m_text;
    QLabel *m_files;
    QRect m_bubble;
};

// The assistant's reply as Markdown, one text view per block: while a reply streams only the
// last block's view is refilled; the others stay untouched.
class AssistantRow : public TimelineRow
{
public:
    AssistantRow(RowContext &context, QWidget *parent) : TimelineRow(RowKind::assistantText, context, parent)
    {
        m_blocks.options = context.style.markdownOptions();
    }
    int measure(int width) override
    {
        apply(width);
        int h = 2 * kVerticalMargin;
        for (MarkdownTextView *view : std::as_const(m_views))
            h += view->heightForWidth(contentWidth(width));
        return h;
    }
    QString visibleText() const override
    {
        QStringList parts;
        for (MarkdownTextView *view : m_views)
            parts << view->toPlainText();
        return parts.join(QLatin1Char('\n'));
    }
    bool waitsForHighlight() const { return m_blocks.waitsForHighlight(); }
    void rerender()
    {
        // A highlight changes colours only, which the block signatures leave out: refill all.
        m_blocks.invalidate();
        m_refillAll = true;
        apply(width());
        m_refillAll = false;
        layoutViews();
    }

protected:
    void refresh() override
    {
        m_blocks.isStreaming = !m_item.message->isComplete;
        if (width() > 0) {
            apply(width());
            layoutViews();
        }
    }
    void resizeEvent(QResizeEvent *) override
    {
        apply(width());
        layoutViews();
    }

private:
    static int contentWidth(int width) { return qMax(1, width - 2 * kSideMargin); }

    void apply(int width)
    {
        // The plan's own width is the row's less 32: the same margins as here. A coordinator's
        // markers are for its run, not for the reader; the stored message keeps them.
        auto plan = m_blocks.update(markers::stripAutomationMarkers(m_item.message->content), width);
        if (!plan)
            return;
        while (m_views.size() > plan->removeFrom)
            delete m_views.takeLast();
        for (const MarkdownBlockList::Step &step : std::as_const(plan->steps)) {
            const MarkdownBlock &block = plan->blocks[step.index];
            switch (step.action) {
            case MarkdownBlockList::Action::keep:
                if (m_refillAll)
                    m_views[step.index]->setBlocks({block}, m_context.style);
                break;
            case MarkdownBlockList::Action::refill:
                m_views[step.index]->setBlocks({block}, m_context.style);
                break;
            case MarkdownBlockList::Action::replace:
                delete m_views[step.index];
                m_views[step.index] = makeView(block);
                break;
            case MarkdownBlockList::Action::append:
                m_views.append(makeView(block));
                break;
            }
        }
    }
    MarkdownTextView *makeView(const MarkdownBlock &block)
    {
        auto *view = new MarkdownTextView(this);
        view->setBlocks({block}, m_context.style);
        connect(view, &MarkdownTextView::tableResized, this, [this] {
            layoutViews();
            if (m_context.heightChanged)
                m_context.heightChanged(this);
        });
        view->show();
        return view;
    }
    void layoutViews()
    {
        const int w = contentWidth(width());
        int y = kVerticalMargin;
        for (MarkdownTextView *view : std::as_const(m_views)) {
            const int h = view->heightForWidth(w);
            view->setGeometry(kSideMargin, y, w, h);
            y += h;
        }
        // A height measured before the text settled (a highlight, a late font) is corrected
        // from here: the timeline measures the row again.
        if (width() > 0 && height() > 0 && y + kVerticalMargin != height() && !m_remeasureQueued) {
            m_remeasureQueued = true;
            QMetaObject::invokeMethod(this, [this] {
                m_remeasureQueued = false;
                if (m_context.heightChanged)
                    m_context.heightChanged(this);
            }, Qt::QueuedConnection);
        }
    }

    MarkdownBlockList m_blocks;
    QList<MarkdownTextView *> m_views;
    bool m_refillAll = false;
    bool m_remeasureQueued = false;
};

// A centred note, an error, the sign-in prompt, or the collapsed thinking row.
class NoteRow : public LayoutRow
{
public:
    NoteRow(RowKind kind, RowContext &context, QWidget *parent) : LayoutRow(kind, context, parent)
    {
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(kSideMargin, kVerticalMargin, kSideMargin, kVerticalMargin);
        m_label = wrappingLabel(this);
        layout->addWidget(m_label);
        if (kind == RowKind::authErrorPrompt) {
            auto *button = new QPushButton(QStringLiteral("Sign In"), this);
            layout->addWidget(button, 0, Qt::AlignHCenter);
            connect(button, &QPushButton::clicked, this, [this] {
                if (m_context.signIn)
                    m_context.signIn();
            });
        }
    }
    QString visibleText() const override { return m_label->text(); }

protected:
    void refresh() override
    {
        const Message &m = *m_item.message;
        const ChatStyle &s = m_context.style;
        m_label->setText(m.content);
        if (m_kind == RowKind::thinking) {
            m_label->setAlignment(Qt::AlignLeft);
            m_label->setStyleSheet(QStringLiteral("color: %1; font-style: italic;").arg(s.secondaryText.name()));
            return;
        }
        m_label->setAlignment(Qt::AlignHCenter);
        const bool error = m.contentType == MessageContentType::error || m.contentType == MessageContentType::authError;
        m_label->setStyleSheet(QStringLiteral("color: %1;").arg((error ? s.error : s.secondaryText).name()));
    }

private:
    QLabel *m_label;
};

QString diffHtml(const ToolDetail &detail, const ChatStyle &style)
{
    QString html = QStringLiteral("<pre style=\"margin:0\">");
    auto lines = [&](const QString &text, const QString &sign, const QColor &background) {
        if (text.isEmpty())
            return;
        for (const QString &line : text.split(QLatin1Char('\n')))
            html += QStringLiteral("<div style=\"background:%1\">%2 %3</div>").arg(background.name(), sign, line.toHtmlEscaped());
    };
    lines(detail.oldText, QStringLiteral("-"), style.removed);
    lines(detail.newText, QStringLiteral("+"), style.added);
    return html + QStringLiteral("</pre>");
}

// One tool use: its name and summary; opened, its output or the diff of a Write or Edit.
class ToolRow : public LayoutRow
{
public:
    ToolRow(RowContext &context, QWidget *parent, bool nested = false) : LayoutRow(RowKind::tool, context, parent)
    {
        auto *layout = new QVBoxLayout(this);
        const int side = nested ? 8 : kSideMargin;
        layout->setContentsMargins(side, 4, side, 4);
        layout->setSpacing(4);
        m_header = new QLabel(this);
        m_header->setTextFormat(Qt::PlainText);
        m_header->setCursor(Qt::PointingHandCursor);
        m_header->setStyleSheet(QStringLiteral("color: %1;").arg(context.style.secondaryText.name()));
        m_detail = new QLabel(this);
        m_detail->setWordWrap(true);
        m_detail->setFont(context.style.monoFont());
        m_detail->setTextInteractionFlags(Qt::TextSelectableByMouse);
        m_detail->setStyleSheet(QStringLiteral("background: %1; padding: 6px; border-radius: 4px;").arg(context.style.codeBackground.name()));
        layout->addWidget(m_header);
        layout->addWidget(m_detail);
        m_header->installEventFilter(this);
    }
    QString visibleText() const override { return m_header->text() + QLatin1Char('\n') + (m_detail->isVisible() ? m_detail->text() : QString()); }
    void setMessage(const MessagePtr &message) { setItem(ChatDisplayItem::single(message)); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == m_header && event->type() == QEvent::MouseButtonRelease) {
            const QUuid id = m_item.message->id;
            ToolGroupExpansion::setExpanded(id, !ToolGroupExpansion::isExpanded(id));
            MessageHeightCache::removeMessage(id);
            refresh();
            if (m_context.heightChanged)
                m_context.heightChanged(this);
            return true;
        }
        return LayoutRow::eventFilter(watched, event);
    }
    void refresh() override
    {
        const Message &m = *m_item.message;
        const ToolDetail detail = toolDetail(m);
        const bool open = ToolGroupExpansion::isExpanded(m.id);
        const QString sign = m.isComplete ? QStringLiteral("✓") : QStringLiteral("…");
        m_header->setText(QStringLiteral("%1 %2  %3  %4").arg(open ? QStringLiteral("▾") : QStringLiteral("▸"), sign,
                                                                m.toolName.value_or(QStringLiteral("Tool")),
                                                                detail.summary.left(200)));
        if (detail.kind == ToolDetail::Kind::diff) {
            m_detail->setTextFormat(Qt::RichText);
            m_detail->setText(diffHtml(detail, m_context.style));
        } else {
            m_detail->setTextFormat(Qt::PlainText);
            m_detail->setText(detail.output.trimmed());
        }
        m_detail->setVisible(open && !m_detail->text().isEmpty());
    }

private:
    QLabel *m_header;
    QLabel *m_detail;
};

// Neighbouring tool uses as one row: closed, the tool names; open, one tool row each.
class ToolGroupRow : public TimelineRow
{
public:
    ToolGroupRow(RowContext &context, QWidget *parent) : TimelineRow(RowKind::toolGroup, context, parent)
    {
        m_header = new QLabel(this);
        m_header->setTextFormat(Qt::PlainText);
        m_header->setCursor(Qt::PointingHandCursor);
        m_header->installEventFilter(this);
    }
    int measure(int width) override
    {
        if (!expanded())
            return kCollapsedGroupHeight;
        int h = kExpandedGroupHeaderHeight;
        for (ToolRow *row : std::as_const(m_rows))
            h += row->measure(width - 2 * kSideMargin);
        return h;
    }
    QString visibleText() const override
    {
        QString text = m_header->text();
        for (ToolRow *row : m_rows)
            text += QLatin1Char('\n') + row->visibleText();
        return text;
    }
    // The height of one tool row inside the group, for the shared row-height rule.
    int toolRowHeight(const Message &message, int width)
    {
        for (ToolRow *row : std::as_const(m_rows))
            if (row->item().message->id == message.id)
                return row->measure(width - 2 * kSideMargin);
        return kMinimumRowHeight;
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == m_header && event->type() == QEvent::MouseButtonRelease) {
            ToolGroupExpansion::setExpanded(m_item.group.id, !expanded());
            refresh();
            if (m_context.heightChanged)
                m_context.heightChanged(this);
            return true;
        }
        return TimelineRow::eventFilter(watched, event);
    }
    void refresh() override
    {
        const ToolGroup &group = m_item.group;
        bool running = false;
        for (const MessagePtr &m : group.messages)
            running = running || !m->isComplete;
        m_header->setText(QStringLiteral("%1 %2 tool calls: %3%4")
                              .arg(expanded() ? QStringLiteral("▾") : QStringLiteral("▸"))
                              .arg(group.messages.size())
                              .arg(group.uniqueToolNames().join(QStringLiteral(", ")),
                                   running ? QStringLiteral("  …") : QString()));
        if (expanded()) {
            while (m_rows.size() > group.messages.size())
                delete m_rows.takeLast();
            for (int i = 0; i < group.messages.size(); ++i) {
                if (i == m_rows.size()) {
                    auto *row = new ToolRow(m_context, this, true);
                    row->show();
                    m_rows << row;
                }
                m_rows[i]->setMessage(group.messages[i]);
            }
        } else {
            qDeleteAll(m_rows);
            m_rows.clear();
        }
        resizeEvent(nullptr);
    }
    void resizeEvent(QResizeEvent *) override
    {
        const int header = expanded() ? kExpandedGroupHeaderHeight : kCollapsedGroupHeight;
        m_box = QRect(kSideMargin, 4, width() - 2 * kSideMargin, height() - 8);
        m_header->setGeometry(kSideMargin + 12, 4, width() - 2 * kSideMargin - 24, header - 8);
        int y = header;
        for (ToolRow *row : std::as_const(m_rows)) {
            const int h = row->measure(width() - 2 * kSideMargin);
            row->setGeometry(kSideMargin, y, width() - 2 * kSideMargin, h);
            y += h;
        }
        update();
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(m_context.style.cardBorder);
        p.setBrush(m_context.style.card);
        p.drawRoundedRect(QRectF(m_box).adjusted(0.5, 0.5, -0.5, -0.5), 8, 8);
    }

private:
    bool expanded() const { return ToolGroupExpansion::isExpanded(m_item.group.id); }

    QLabel *m_header;
    QList<ToolRow *> m_rows;
    QRect m_box;
};

// A permission request (or the agent's question) as a card; answered, with its outcome.
class PermissionRow : public LayoutRow
{
public:
    PermissionRow(RowContext &context, QWidget *parent) : LayoutRow(RowKind::permissionCard, context, parent)
    {
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(kSideMargin, kVerticalMargin, kSideMargin, kVerticalMargin);
        m_card = new PermissionCard(context.style, this);
        layout->addWidget(m_card);
        connect(m_card, &PermissionCard::allowOnce, this, [this] { answer(true, PermissionScope::once); });
        connect(m_card, &PermissionCard::allowForSession, this, [this] { answer(true, PermissionScope::session); });
        connect(m_card, &PermissionCard::deny, this, [this] { answer(false, PermissionScope::once); });
    }
    QString visibleText() const override
    {
        QStringList texts;
        for (const QLabel *label : m_card->findChildren<QLabel *>())
            if (label->isVisible())
                texts << label->text();
        return texts.join(QLatin1Char('\n'));
    }
    PermissionCard *card() const { return m_card; }
    QString requestId() const { return requestIdOf(*m_item.message); }

protected:
    void refresh() override
    {
        const Message &m = *m_item.message;
        const QString tool = m.toolName.value_or(QStringLiteral("Tool"));
        const bool question = tool == QLatin1String("AskUserQuestion");
        m_card->setRequest(tool, m.content);
        if (question)
            m_card->findChild<QLabel *>()->setText(QStringLiteral("Claude has a question"));
        const bool open = m.contentType == MessageContentType::permissionRequest && !m.isComplete;
        if (question) {
            const bool live = open && m_context.hasLiveQuestion && m_context.hasLiveQuestion();
            m_card->setLive(false, live ? QStringLiteral("Waiting for your answer") : m.contentType == MessageContentType::permissionDenied
                                                                                       ? QStringLiteral("Dismissed")
                                                                                       : QString());
            return;
        }
        const bool live = open && m_context.isLiveRequest && m_context.isLiveRequest(requestId());
        QString outcome;
        if (m.contentType == MessageContentType::permissionGranted)
            outcome = QStringLiteral("Allowed");
        else if (m.contentType == MessageContentType::permissionDenied)
            outcome = QStringLiteral("Denied");
        m_card->setLive(live, outcome);
    }

private:
    void answer(bool allow, PermissionScope scope)
    {
        const QString id = requestId();
        if (allow && m_context.approve)
            m_context.approve(id, scope);
        else if (!allow && m_context.deny)
            m_context.deny(id);
    }

    PermissionCard *m_card;
};

class SubagentRow : public LayoutRow
{
public:
    SubagentRow(RowContext &context, QWidget *parent) : LayoutRow(RowKind::subagentCard, context, parent)
    {
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(kSideMargin, kVerticalMargin, kSideMargin, kVerticalMargin);
        auto *card = new QFrame(this);
        card->setObjectName(QStringLiteral("subagentCard"));
        card->setStyleSheet(context.style.cardSheet(card->objectName()));
        auto *inner = new QVBoxLayout(card);
        m_title = new QLabel(card);
        QFont bold = context.style.bodyFont();
        bold.setBold(true);
        m_title->setFont(bold);
        m_text = new QLabel(card);
        m_text->setTextFormat(Qt::PlainText);
        inner->addWidget(m_title);
        inner->addWidget(m_text);
        layout->addWidget(card);
    }
    int measure(int) override { return 88; }
    QString visibleText() const override { return m_title->text() + QLatin1Char('\n') + m_text->text(); }

protected:
    void refresh() override
    {
        const Message &m = *m_item.message;
        m_title->setText(QStringLiteral("%1 %2").arg(m.isComplete ? QStringLiteral("✓") : QStringLiteral("…"),
                                                    m.toolName.value_or(QStringLiteral("Agent"))));
        m_text->setText(QFontMetrics(m_text->font()).elidedText(m.content.section(QLatin1Char('\n'), 0, 0), Qt::ElideRight, qMax(100, width() - 80)));
    }

private:
    QLabel *m_title;
    QLabel *m_text;
};

class StoredPlanRow : public LayoutRow
{
public:
    StoredPlanRow(RowContext &context, QWidget *parent) : LayoutRow(RowKind::planCard, context, parent)
    {
        auto *layout = new QVBoxLayout(this);
        layout->setContentsMargins(kSideMargin, kVerticalMargin, kSideMargin, kVerticalMargin);
        m_card = new PlanCard(context.style, this);
        layout->addWidget(m_card);
    }
    QString visibleText() const override { return m_item.message->content; }

protected:
    void refresh() override { m_card->setStoredPlan(m_item.message->content); }

private:
    PlanCard *m_card;
};

} // namespace

TimelineRow::TimelineRow(RowKind kind, RowContext &context, QWidget *parent)
    : QWidget(parent), m_kind(kind), m_context(context)
{
}

void TimelineRow::setItem(const ChatDisplayItem &item)
{
    m_item = item;
    refresh();
}

TimelineRow *TimelineRow::create(const ChatDisplayItem &item, RowContext &context, QWidget *parent)
{
    TimelineRow *row = nullptr;
    const RowKind kind = rowKind(item);
    switch (kind) {
    case RowKind::userBubble: row = new UserBubbleRow(context, parent); break;
    case RowKind::assistantText: row = new AssistantRow(context, parent); break;
    case RowKind::systemNote:
    case RowKind::authErrorPrompt:
    case RowKind::thinking: row = new NoteRow(kind, context, parent); break;
    case RowKind::permissionCard: row = new PermissionRow(context, parent); break;
    case RowKind::planCard: row = new StoredPlanRow(context, parent); break;
    case RowKind::subagentCard: row = new SubagentRow(context, parent); break;
    case RowKind::tool: row = new ToolRow(context, parent); break;
    case RowKind::toolGroup: row = new ToolGroupRow(context, parent); break;
    }
    row->setItem(item);
    return row;
}

// Helpers the timeline uses without knowing the row classes.
int toolRowHeightIn(TimelineRow *row, const Message &message, int width)
{
    if (auto *group = dynamic_cast<ToolGroupRow *>(row))
        return group->toolRowHeight(message, width);
    return kMinimumRowHeight;
}

bool rowWaitsForHighlight(TimelineRow *row)
{
    auto *assistant = dynamic_cast<AssistantRow *>(row);
    return assistant && assistant->waitsForHighlight();
}

void rerenderRow(TimelineRow *row)
{
    if (auto *assistant = dynamic_cast<AssistantRow *>(row))
        assistant->rerender();
}

PermissionCard *permissionCardOf(TimelineRow *row)
{
    auto *card = dynamic_cast<PermissionRow *>(row);
    return card ? card->card() : nullptr;
}

} // namespace corvane
