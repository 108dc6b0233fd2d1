#include "shell/MainWindow.h"

#include "core/records/Project.h"
#include "core/store/StoreContext.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QVBoxLayout>

namespace corvane {

MainWindow::MainWindow(StoreContext &context, int number, QWidget *parent)
    : QMainWindow(parent), m_context(context)
{
    setObjectName(QStringLiteral("MainWindow%1").arg(number));
    setWindowTitle(QStringLiteral("Corvane"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(1200, 780);
    buildMenus();

    const qint64 projects = m_context.count<Project>().valueOr(0);
    auto *placeholder = new QLabel(projects == 0 ? tr("No projects yet.")
                                                 : tr("%n project(s)", nullptr, int(projects)));
    placeholder->setObjectName(QStringLiteral("emptyState"));
    placeholder->setAlignment(Qt::AlignCenter);
    placeholder->setEnabled(false);
    setCentralWidget(placeholder);
}

void MainWindow::buildMenus()
{
    QMenu *file = menuBar()->addMenu(tr("&File"));
    QAction *newWindow = file->addAction(tr("New Window"), this, &MainWindow::newWindowRequested);
    newWindow->setShortcut(QKeySequence::New);
    file->addSeparator();
    QAction *close = file->addAction(tr("Close Window"), this, &QWidget::close);
    close->setShortcut(QKeySequence::Close);
    QAction *quit = file->addAction(tr("Quit"), qApp, &QApplication::closeAllWindows);
    quit->setShortcut(QKeySequence::Quit);
    quit->setMenuRole(QAction::QuitRole);
}

} // namespace corvane
