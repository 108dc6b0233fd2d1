#pragma once

#include <QWidget>

class QLabel;

namespace corvane {

// The Updates page of Preferences: which version runs, and how it is updated. On Linux the
// package manager (or whatever installed Corvane) brings new versions; Corvane does not update
// itself.
class UpdatesPage : public QWidget
{
    Q_OBJECT

public:
    explicit UpdatesPage(QWidget *parent = nullptr);

    QLabel *versionLabel() const { return m_version; }

private:
    QLabel *m_version;
};

} // namespace corvane
