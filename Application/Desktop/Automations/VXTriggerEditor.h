#pragma once

#include "VXTriggerStore.h"

#include <QtCore/QTimer>
#include <QtWidgets/QScrollArea>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QVBoxLayout;
class VXFilterEditor;
class VXReactionEditor;
class VXTextLabel;

/** What a trigger is, as it is being edited. */
struct VXTriggerDraft
{
    QString name = {};
    QString event = {};
    QString filter = {}; // as predicates are written; null for none
    bool isEnabled = true;
    QList<VXTriggerChange::Reaction> reactions = {};

    static VXTriggerDraft of(const VXTrigger &trigger);
    VXTriggerChange change() const;
};

/** Edits one automation: when, if, then. What is typed is told once it rests; nobody has to save. */
class VXTriggerEditor : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXTriggerEditor(QWidget *parent);

    void setDraft(const VXTriggerDraft &draft);
    VXTriggerDraft draft() const;
    /** Why it does not run as it is; null when it does. Shown above the rest. */
    void setProblem(const QString &problem);
    /** What past events would have come to: lines for people. */
    void setTrials(const QStringList &lines);
    /** Tells what has not been told yet. */
    void flush();
    void focusName();

Q_SIGNALS:
    void didChange();
    void wantsTrials();

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
