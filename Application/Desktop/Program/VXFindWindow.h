#pragma once

#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtWidgets/QDialog>

class QLabel;
class VXListPane;

/**
 * Finds contacts, messages and calls at once, as "vornix search" does, while one types. While the index lacks what was saved, it says
 * so, has that taken in, and searches again.
 */
class VXFindWindow : public QDialog
{
    Q_OBJECT

public:
    explicit VXFindWindow(QWidget *parent);
    ~VXFindWindow() override;

    void find(const QString &words);
    /** Ready for other words, or with these. */
    void begin(const QString &words = {});

Q_SIGNALS:
    /** The user has selected a stored object. */
    void chosen(const QUrl &uri);

private:
    class Model;
    struct Answer;

    void show(const QString &words, const Answer &answer);
    /** Searches again once all is taken in. */
    void lookAgain();
    void choose(int row);

    Model *_model;
    VXListPane *_pane;
    QLabel *_lack; // shown while the index lacks something
    QTimer _again;
    QString _words;      // that were searched for last: an answer to others comes too late
    QString _shownWords; // whose answer is shown
};
