#pragma once

#include "VXEventRecord.h"
#include "VXSection.h"
#include "VXTriggerEditor.h"

#include <QtGui/QStandardItemModel>

#include <memory>

class QButtonGroup;
class QFileSystemWatcher;
class QPushButton;
class QStackedWidget;
class VXEmptyState;
class VXListPane;
class VXStoreWatch;
class VXTextLabel;

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
    bool take();
    std::optional<QString> write(const QString &shortID, const VXTriggerDraft *draft);
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
    VXTextLabel *_eventTitle;
    VXTextLabel *_eventDate;
    VXTextLabel *_eventWhy;
    QPushButton *_again;
    std::unique_ptr<VXStoreWatch> _watch;
    QString _shownTrigger; // short ID; null: a new one, or none
    bool _isNew = false;
    bool _isUnsaved = false; // the content of the editor could not be written
    VXTriggerDraft _before;  // the shown one as it was
    std::optional<VXEventRecord> _event;
};
