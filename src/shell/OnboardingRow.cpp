#include "shell/OnboardingRow.h"

#include "accounts/onboarding/OnboardingChecklistViewModel.h"

#include <algorithm>

#include <QFontDatabase>
#include <QTextCursor>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvane {

namespace {

using State = OnboardingChecklistItem::State;

// A small turning arc, shown while a row is being checked or acted on.
class Spinner : public QWidget
{
public:
    explicit Spinner(QWidget *parent) : QWidget(parent)
    {
        setFixedSize(18, 18);
        m_timer.setInterval(80);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
            m_angle = (m_angle + 30) % 360;
            update();
        });
    }

protected:
    void showEvent(QShowEvent *) override { m_timer.start(); }
    void hideEvent(QHideEvent *) override { m_timer.stop(); }
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPen pen(palette().color(QPalette::Highlight), 2.2);
        pen.setCapStyle(Qt::RoundCap);
        painter.setPen(pen);
        painter.drawArc(rect().adjusted(3, 3, -3, -3), -m_angle * 16, 270 * 16);
    }

private:
    QTimer m_timer;
    int m_angle = 0;
};

// The desktop's icon when its theme has one; otherwise a tile with the row's initial, so the
// rows never show a generic placeholder.
QPixmap rowIcon(const QString &name, const QString &title, const QPalette &palette, qreal ratio)
{
    constexpr int size = 28;
    if (QIcon::hasThemeIcon(name))
        return QIcon::fromTheme(name).pixmap(QSize(size, size), ratio);
    QPixmap tile(QSize(size, size) * ratio);
    tile.setDevicePixelRatio(ratio);
    tile.fill(Qt::transparent);
    QPainter painter(&tile);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette.color(QPalette::Highlight));
    painter.drawRoundedRect(QRectF(0, 0, size, size), 7, 7);
    QFont font = painter.font();
    font.setBold(true);
    font.setPixelSize(15);
    painter.setFont(font);
    painter.setPen(palette.color(QPalette::HighlightedText));
    painter.drawText(QRectF(0, 0, size, size), Qt::AlignCenter, title.left(1));
    return tile;
}

QString statusText(const OnboardingChecklistItem &row)
{
    switch (row.state) {
    case State::unknown: return {};
    case State::checking: return OnboardingRow::tr("Checking…");
    case State::installing: return OnboardingRow::tr("Working…");
    case State::ok:
        return row.kind == OnboardingChecklistItem::Kind::claudeLogin || row.kind == OnboardingChecklistItem::Kind::codexLogin
                   ? OnboardingRow::tr("✓ Signed in")
                   : OnboardingRow::tr("✓ Ready");
    case State::missing:
        if (!row.attainable)
            return OnboardingRow::tr("Not available");
        if (row.kind == OnboardingChecklistItem::Kind::claudeLogin || row.kind == OnboardingChecklistItem::Kind::codexLogin)
            return OnboardingRow::tr("Not signed in");
        return OnboardingRow::tr("Not found");
    case State::failed: return OnboardingRow::tr("✕ Failed");
    }
    return {};
}

QString lastLine(const QString &log)
{
    const QStringList lines = log.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (auto it = lines.crbegin(); it != lines.crend(); ++it)
        if (!it->trimmed().isEmpty())
            return it->trimmed().left(160);
    return {};
}

QColor statusColor(const OnboardingChecklistItem &row, const QPalette &palette)
{
    if (row.state == State::ok)
        return QColor(0x2e, 0x8b, 0x57);
    if (row.state == State::failed)
        return QColor(0xc0, 0x39, 0x2b);
    return palette.color(QPalette::PlaceholderText);
}

} // namespace

OnboardingRow::OnboardingRow(OnboardingChecklistViewModel &model, const QString &id, QWidget *parent)
    : QFrame(parent), m_model(model), m_id(id), m_icon(new QLabel(this)), m_title(new QLabel(this)),
      m_subtitle(new QLabel(this)), m_note(new QLabel(this)), m_requirement(new QLabel(this)),
      m_indicator(new QStackedWidget(this)), m_status(new QLabel(this)), m_action(new QPushButton(this)),
      m_logToggle(new QToolButton(this)), m_log(new QPlainTextEdit(this))
{
    setObjectName(QStringLiteral("row:") + id);
    const OnboardingChecklistItem *row = model.item(id);

    m_icon->setPixmap(rowIcon(row->iconName, row->title, palette(), devicePixelRatioF()));
    m_icon->setFixedSize(32, 32);
    m_icon->setAlignment(Qt::AlignCenter);
    m_title->setText(row->title);
    QFont bold = m_title->font();
    bold.setBold(true);
    m_title->setFont(bold);
    m_subtitle->setText(row->subtitle);
    m_subtitle->setWordWrap(true);
    QPalette dim = m_subtitle->palette();
    dim.setColor(QPalette::WindowText, palette().color(QPalette::PlaceholderText));
    m_subtitle->setPalette(dim);
    m_note->setWordWrap(true);
    m_note->setObjectName(QStringLiteral("note"));
    m_requirement->setObjectName(QStringLiteral("requirement"));
    m_requirement->setPalette(dim);
    QFont italic = m_requirement->font();
    italic.setItalic(true);
    m_requirement->setFont(italic);

    m_status->setObjectName(QStringLiteral("status"));
    m_status->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_indicator->addWidget(new QWidget(m_indicator));
    m_indicator->addWidget(new Spinner(m_indicator));
    m_indicator->setFixedSize(20, 20);
    m_action->setObjectName(QStringLiteral("action"));
    m_action->setAutoDefault(false);
    m_action->setMinimumWidth(96);
    connect(m_action, &QPushButton::clicked, this, [this] { m_model.act(m_id); });

    m_logToggle->setObjectName(QStringLiteral("logToggle"));
    m_logToggle->setAutoRaise(true);
    m_logToggle->setCursor(Qt::PointingHandCursor);
    connect(m_logToggle, &QToolButton::clicked, this, &OnboardingRow::toggleLog);
    m_log->setObjectName(QStringLiteral("log"));
    m_log->setReadOnly(true);
    m_log->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    m_log->hide();

    auto *texts = new QVBoxLayout;
    texts->setSpacing(2);
    texts->addWidget(m_title);
    texts->addWidget(m_subtitle);
    texts->addWidget(m_note);
    texts->addWidget(m_requirement);
    texts->addWidget(m_logToggle, 0, Qt::AlignLeft);

    auto *line = new QHBoxLayout;
    line->setSpacing(12);
    line->addWidget(m_icon, 0, Qt::AlignTop);
    line->addLayout(texts, 1);
    line->addWidget(m_indicator, 0, Qt::AlignVCenter);
    line->addWidget(m_status, 0, Qt::AlignVCenter);
    line->addWidget(m_action, 0, Qt::AlignVCenter);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 10, 12, 10);
    layout->addLayout(line);
    layout->addWidget(m_log);
    refresh();
}

void OnboardingRow::refresh()
{
    const OnboardingChecklistItem *row = m_model.item(m_id);
    if (!row)
        return;
    const bool busy = row->state == State::checking || row->state == State::installing;
    m_indicator->setCurrentIndex(busy ? 1 : 0);
    m_status->setText(statusText(*row));
    QPalette colored = m_status->palette();
    colored.setColor(QPalette::WindowText, statusColor(*row, palette()));
    m_status->setPalette(colored);

    // While an install runs, its latest line says it is getting on (npm can take minutes).
    const QString note = row->state == State::installing ? lastLine(row->failureLog) : row->note;
    m_note->setText(note);
    m_note->setVisible(!note.isEmpty() && row->state != State::ok);
    const QString requirement = m_model.requirementText(m_id);
    m_requirement->setText(requirement);
    m_requirement->setVisible(!requirement.isEmpty());

    const QString action = m_model.actionTitle(m_id);
    m_action->setText(action);
    m_action->setVisible(!action.isEmpty());
    m_action->setEnabled(m_model.canAct(m_id));

    // The log stays within reach after a later check finds the row missing again (a window
    // coming to the front checks every row): only success or a new action clears it.
    const bool hasLog = !row->failureText.isEmpty() && row->state != State::ok && row->state != State::installing;
    m_logOpen = m_logOpen && hasLog;
    m_logToggle->setVisible(hasLog);
    if (hasLog && m_log->toPlainText() != row->failureText) {
        m_log->setPlainText(row->failureText);
        m_log->moveCursor(QTextCursor::End);
        // As tall as the log, up to eight lines; longer ones scroll.
        const int lines = std::clamp(int(row->failureText.count(QLatin1Char('\n'))) + 1, 2, 8);
        m_log->setFixedHeight(lines * m_log->fontMetrics().lineSpacing() + 2 * m_log->frameWidth() + 10);
    }
    m_log->setVisible(m_logOpen);
    m_logToggle->setText(m_logOpen ? tr("Hide error log") : tr("Show error log"));
}

void OnboardingRow::toggleLog()
{
    m_logOpen = !m_logOpen;
    refresh();
}

} // namespace corvane
