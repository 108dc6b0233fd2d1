#pragma once

#include "source_control/diff/DiffLoader.h"

#include <QWidget>

class QLabel;

namespace corvane {

class DiffPane;
struct HighlightKey;

// One changed file side by side: the text at HEAD on the left, the file on disk on the right,
// rows aligned so that one scroll position fits both. Loaded once, when it opens; opening it
// again shows the file as it is then. Several can be open at a time.
class DiffWindow : public QWidget
{
    Q_OBJECT

public:
    DiffWindow(const QString &workingDirectory, const QString &filePath, QWidget *parent = nullptr);

    DiffPane *leftPane() const { return m_left; }
    DiffPane *rightPane() const { return m_right; }
    QLabel *leftHeader() const { return m_leftHeader; }
    QLabel *rightHeader() const { return m_rightHeader; }
    bool isLoaded() const { return m_loaded; }
    const DiffDocument &document() const { return m_document; }

signals:
    void loaded();

private:
    void display(DiffDocument document);

    QString m_filePath;
    QLabel *m_leftHeader;
    QLabel *m_rightHeader;
    DiffPane *m_left;
    DiffPane *m_right;
    QWidget *m_leftColumn;
    QWidget *m_rightColumn;
    QLabel *m_binary;
    DiffDocument m_document;
    bool m_loaded = false;
    bool m_syncingScroll = false;
};

} // namespace corvane
