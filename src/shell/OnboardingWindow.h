#pragma once

#include <QWidget>

namespace corvane {

// The first-run window. It greets the user and hands over to the main window when they go on.
class OnboardingWindow : public QWidget
{
    Q_OBJECT

public:
    explicit OnboardingWindow(QWidget *parent = nullptr);

signals:
    void completed();
};

} // namespace corvane
