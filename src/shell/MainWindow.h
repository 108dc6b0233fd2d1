#pragma once

#include <QMainWindow>

namespace corvane {

class StoreContext;

// The main window. For now it holds the menus and an empty content area; the sidebar, content
// and inspector columns come with the views that fill them.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow(StoreContext &context, int number, QWidget *parent = nullptr);

signals:
    void newWindowRequested();

private:
    void buildMenus();

    StoreContext &m_context;
};

} // namespace corvane
