#pragma once

#include "VXEventRecord.h"
#include "VXSection.h"
#include "VXTriggerEditor.h"

#include <QtGui/QStandardItemModel>

#include <memory>

class QButtonGroup;
class QFileSystemWatcher;
class QStackedWidget;
class VXEmptyState;
class VXEventPage;
class VXListPane;
class VXStoreWatch;

/**
 * What the user wants to happen when something else happens: automations with their editor, and the history that
 * explains what happened.
 */
class VXAutomationsSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXAutomationsSection(QWidget *parent);
    ~VXAutomationsSection() override;

    unsigned tasks() const override { return Find | New | VXSection::Edit | Remove; }
    void find() override;
    void makeNew() override;
    void edit() override;
    void remove() override;
    bool commit() override;

private:
    class Edit;

    void makeChips();
    void update();
    void updateTriggers();
    void updateHistory();
    void show(int row);
    void showTrigger(const QString &shortID);
    void showRecord(const QString &identifier);
    void begin(const QString &shortID, bool isNew, const VXTriggerDraft &draft);
    void followOthers();
    bool isBeingEdited() const;
    void keepEdited();
    void take();
    bool save(const VXTriggerDraft &draft);
    std::optional<QString> write(const QString &shortID, const std::optional<VXTriggerDraft> &from,
                                 const std::optional<VXTriggerDraft> &to);
    std::shared_ptr<QString> identityOf(const QString &shortID);
    void record(const QString &shortID, const std::optional<VXTriggerDraft> &before, const VXTriggerDraft &after);
    void bringBack(const std::shared_ptr<QString> &identity, const std::optional<VXTriggerDraft> &stored,
                   const std::optional<VXUnsavedTrigger> &unsaved);
    void showTrials();
    void startFrom(const VXTriggerDraft &draft);
    void toggle(int row);
    void replay();
    bool showsHistory() const;

    VXListPane *_pane;
    QButtonGroup *_chips;
    QStandardItemModel *_model;
    QStackedWidget *_detail;
    VXTriggerEditor *_editor;
    VXEmptyState *_nothing;
    VXEventPage *_eventPage;
    std::unique_ptr<VXStoreWatch> _watch;
    QString _shownTrigger;   // short ID, that of VXUnsavedTrigger for a new one; null for none
    bool _isNew = false;     // it is not stored
    bool _isUnsaved = false; // the content of the editor could not be written
    bool _isUndoing = false;
    VXTriggerDraft _stored; // the shown one as the store had it when it was shown or last written
    VXTriggerDraft _began;  // what the editor made of that: what differs was changed in it
    // The present short IDs of the triggers in steps of undo, null for one that is removed: it gets another ID when it is
    // brought back.
    QList<std::shared_ptr<QString>> _identities;
    std::optional<VXEventRecord> _event;
};
