#include "accounts/onboarding/OnboardingChecklistViewModel.h"

#include "accounts/onboarding/OnboardingValidator.h"

#include <QGuiApplication>
#include <QTimer>
#include <QWindow>

namespace corvane {

using State = OnboardingChecklistItem::State;
using Kind = OnboardingChecklistItem::Kind;

OnboardingChecklistViewModel::OnboardingChecklistViewModel(OnboardingValidator *validator, QList<Item> items,
                                                           QObject *parent)
    : QObject(parent), m_validator(validator), m_items(std::move(items))
{
    if (!m_validator->parent())
        m_validator->setParent(this);
}

OnboardingChecklistViewModel::~OnboardingChecklistViewModel()
{
    stopObserving();
}

QString OnboardingChecklistViewModel::heading()
{
    return tr("Corvane needs a few things before you can get started.");
}

QString OnboardingChecklistViewModel::connectHint()
{
    return tr("Connect Claude or ChatGPT to continue.");
}

const OnboardingChecklistItem *OnboardingChecklistViewModel::item(const QString &id) const
{
    for (const Item &row : m_items)
        if (row.id == id)
            return &row;
    return nullptr;
}

OnboardingChecklistItem *OnboardingChecklistViewModel::find(const QString &id)
{
    for (Item &row : m_items)
        if (row.id == id)
            return &row;
    return nullptr;
}

void OnboardingChecklistViewModel::update(const QString &id, const std::function<void(Item &)> &change)
{
    Item *row = find(id);
    if (!row)
        return;
    change(*row);
    emit itemChanged(id);
    emit changed();
}

void OnboardingChecklistViewModel::revalidateAll()
{
    m_revalidationQueued = false;
    delete m_revalidation.data();
    m_revalidation = new QObject(this);
    for (const Item &row : std::as_const(m_items)) {
        if (row.state == State::installing)
            continue;
        const QString id = row.id;
        update(id, [](Item &r) { r.state = State::checking; });
        m_validator->check(*item(id), m_revalidation, [this, id](OnboardingCheck found) {
            Item *current = find(id);
            // An action started on the row since: its own check will tell.
            if (!current || current->state == State::installing)
                return;
            update(id, [&found](Item &r) {
                r.state = found.state;
                r.note = found.note;
                r.attainable = found.attainable;
                if (found.state == State::ok) {
                    r.failureLog.clear();
                    r.failureText.clear();
                }
            });
        });
    }
}

void OnboardingChecklistViewModel::act(const QString &id)
{
    const Item *row = item(id);
    if (!row || row->state == State::installing)
        return;
    update(id, [](Item &r) {
        r.state = State::installing;
        r.failureLog.clear();
        r.failureText.clear();
    });
    m_installingId = id;
    emit changed();
    QPointer<OnboardingChecklistViewModel> self(this);
    m_validator->perform(
        *item(id),
        [self, id](const QString &text) {
            if (self)
                self->update(id, [&text](Item &r) { r.failureLog += text; });
        },
        [self, id](bool performed) {
            if (self)
                self->finishAct(id, performed);
        });
}

void OnboardingChecklistViewModel::finishAct(const QString &id, bool performed)
{
    const Item *row = item(id);
    if (!row)
        return;
    // Whatever the action said, the row is what a fresh check finds.
    m_validator->check(*row, this, [this, id, performed](OnboardingCheck found) {
        update(id, [&](Item &r) {
            r.note = found.note;
            r.attainable = found.attainable;
            if (found.state == State::ok) {
                r.state = State::ok;
                r.failureLog.clear();
                r.failureText.clear();
                return;
            }
            r.state = State::failed;
            if (!r.failureLog.trimmed().isEmpty())
                r.failureText = r.failureLog.trimmed();
            else if (performed)
                r.failureText = tr("Validation did not detect %1 after the action completed.").arg(r.title);
            else
                r.failureText = tr("Action failed.");
        });
        if (m_installingId == id) {
            m_installingId.reset();
            emit changed();
        }
    });
}

bool OnboardingChecklistViewModel::allRequiredSatisfied() const
{
    return std::all_of(m_items.cbegin(), m_items.cend(), [](const Item &row) {
        return !row.isRequired || row.state == State::ok
               || (row.isPermission() && !row.attainable && row.state == State::missing);
    });
}

bool OnboardingChecklistViewModel::isOk(const QString &id) const
{
    const Item *row = item(id);
    return row && row->state == State::ok;
}

bool OnboardingChecklistViewModel::canContinue() const
{
    const bool claude = isOk(QStringLiteral("claude")) && isOk(QStringLiteral("claude-login"));
    const bool codex = isOk(QStringLiteral("codex")) && isOk(QStringLiteral("codex-login"));
    return allRequiredSatisfied() && (claude || codex);
}

QString OnboardingChecklistViewModel::footerText() const
{
    if (canContinue())
        return tr("Everything Corvane needs is in place.");
    if (allRequiredSatisfied())
        return connectHint();
    QStringList needed;
    bool checking = false;
    for (const Item &row : m_items) {
        if (!row.isRequired || row.state == State::ok || (row.isPermission() && !row.attainable))
            continue;
        checking = checking || row.state == State::checking || row.state == State::unknown;
        needed << row.title;
    }
    if (checking)
        return tr("Checking what is already set up…");
    return tr("Still needed: %1.").arg(needed.join(QStringLiteral(", ")));
}

QString OnboardingChecklistViewModel::requirementText(const QString &id) const
{
    const Item *row = item(id);
    if (!row || !row->dependsOn || isOk(*row->dependsOn))
        return {};
    const Item *needed = item(*row->dependsOn);
    return tr("Requires %1").arg(needed ? needed->title : *row->dependsOn);
}

QString OnboardingChecklistViewModel::actionTitle(const QString &id) const
{
    const Item *row = item(id);
    // Nothing on this machine can satisfy it (no notification service): a button would only fail.
    if (!row || !requirementText(id).isEmpty() || !row->attainable)
        return {};
    switch (row->state) {
    case State::installing:
        return tr("Installing…");
    case State::failed:
        return tr("Retry");
    case State::missing:
        break;
    default:
        return {};
    }
    switch (row->kind) {
    case Kind::dependency: return tr("Install");
    case Kind::claudeLogin: return tr("Sign In");
    case Kind::codexLogin: return tr("Login");
    case Kind::permissionNotifications:
    case Kind::permissionMicrophone: return tr("Grant");
    }
    return {};
}

bool OnboardingChecklistViewModel::canAct(const QString &id) const
{
    const Item *row = item(id);
    // One action at a time: two package installs side by side would fight over npm's folders.
    return row && row->state != State::installing && !m_installingId && !actionTitle(id).isEmpty();
}

void OnboardingChecklistViewModel::scheduleRevalidation()
{
    // A window coming to the front may report both a focus change and an application state
    // change: one revalidation covers both.
    if (m_revalidationQueued)
        return;
    m_revalidationQueued = true;
    QTimer::singleShot(0, this, [this] {
        if (m_revalidationQueued)
            revalidateAll();
    });
}

void OnboardingChecklistViewModel::observeWindowActivation()
{
    auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app || isObserving())
        return;
    m_observers << connect(app, &QGuiApplication::focusWindowChanged, this, [this](QWindow *window) {
        if (window)
            scheduleRevalidation();
    });
    m_observers << connect(app, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            scheduleRevalidation();
    });
}

void OnboardingChecklistViewModel::stopObserving()
{
    for (const QMetaObject::Connection &connection : std::as_const(m_observers))
        disconnect(connection);
    m_observers.clear();
    m_revalidationQueued = false;
}

} // namespace corvane
