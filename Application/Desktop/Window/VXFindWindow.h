#pragma once

#include <QtCore/QUrl>
#include <QtWidgets/QDialog>

class VXListPane;

/** Finds contacts, messages and calls at once during typing, as "vornix search" does. */
class VXFindWindow : public QDialog
{
    Q_OBJECT

public:
    explicit VXFindWindow(QWidget *parent);
    ~VXFindWindow() override;

    void find(const QString &words);
    /** Gets ready for new words. */
    void begin();

Q_SIGNALS:
    /** The user has selected a stored object. */
    void chosen(const QUrl &uri);

private:
    class Model;
    struct Answer;

    void show(const QString &words, const Answer &answer);
    void choose(int row);

    Model *_model;
    VXListPane *_pane;
    QString _words;      // the last words searched for: an answer for others comes too late
    QString _shownWords; // words whose answer is shown
};
