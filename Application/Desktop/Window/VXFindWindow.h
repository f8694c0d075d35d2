#pragma once

#include <QtCore/QUrl>
#include <QtWidgets/QDialog>

class VXListPane;

/** Finds contacts, messages and calls at once, as "vornix search" does, while one types. */
class VXFindWindow : public QDialog
{
    Q_OBJECT

public:
    explicit VXFindWindow(QWidget *parent);
    ~VXFindWindow() override;

    void find(const QString &words);
    /** Ready for other words. */
    void begin();

Q_SIGNALS:
    /** The user chose a stored object. */
    void chosen(const QUrl &uri);

private:
    class Model;
    struct Answer;

    void show(const QString &words, const Answer &answer);
    void choose(int row);

    Model *_model;
    VXListPane *_pane;
    QString _words;      // that were searched for last: an answer to others comes too late
    QString _shownWords; // whose answer is shown
};
