#pragma once

#include "VXTriggerDraft.h"

#include <QtCore/QTimer>
#include <QtWidgets/QScrollArea>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QVBoxLayout;
class VXFilterEditor;
class VXReactionEditor;
class VXTextLabel;

/** Edits one automation: when, if, then. Changes are reported once typing pauses; nobody has to save. */
class VXTriggerEditor : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXTriggerEditor(QWidget *parent);

    void setDraft(const VXTriggerDraft &draft);
    VXTriggerDraft draft() const;
    /** Why the automation does not run as it is; null if it does. Shown above everything else. */
    void setProblem(const QString &problem);
    /** What would have happened with past events: lines for people. */
    void setTrials(const QStringList &lines);
    /** Reports what has not been reported yet. */
    void flush();
    void focusName();

Q_SIGNALS:
    void didChange();
    void wantsTrials();

protected:
    bool event(QEvent *event) override;

private:
    void addReaction(const VXTriggerChange::Reaction &reaction);
    void showReactorMenu();
    void setFilter(const QString &text);
    QString filter() const;
    void noteChange();

    QLineEdit *_name;
    QCheckBox *_isEnabled;
    QComboBox *_event;
    QVBoxLayout *_filterPlace;
    VXFilterEditor *_filter = nullptr;
    QVBoxLayout *_reactions;
    QList<VXReactionEditor *> _editors;
    VXTextLabel *_problem;
    VXTextLabel *_trials;
    QString _keptFilter; // while a row has no value yet
    QTimer _rest;
};
