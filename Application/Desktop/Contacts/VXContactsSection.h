#pragma once

#include "VXBackgroundReader.h"
#include "VXContactForm.h"
#include "VXContactGroups.h"
#include "VXContactRecord.h"
#include "VXError.h"
#include "VXManagedObjectID.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXSection.h"

#include <QtCore/QPointer>

#include <memory>

class QComboBox;
class QStackedWidget;
class VXContactCard;
class VXEmptyState;
class VXListPane;
class VXSheet;
class VXStoreListModel;
class VXStoreWatch;

/** The phonebook: groups, a list that is searched during typing, and the selected contact, edited in place. */
class VXContactsSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXContactsSection(QWidget *parent);
    ~VXContactsSection() override;

    /** Imports vCard files; each import is one step to undo. */
    void importFiles(const QStringList &paths);
    /** Shows the contact; an unknown one is shown as a new contact with the number or address. */
    void showContact(const QString &phonebookString);
    /** False if the store could not be opened. */
    bool isUsable() const { return _coordinator != nullptr; }

    unsigned tasks() const override { return Find | New | Edit | Remove | Export | Import | Merge; }
    void find() override;
    void makeNew() override;
    void edit() override;
    void remove() override;
    void merge() override;
    void exportItems() override;
    void importItems() override;
    bool showObject(const QUrl &uri) override;
    bool commit() override;
    bool leave() override;

private:
    bool isEmpty() const;
    void showList();
    void takeGroups(const VXContactGroups &groups);
    void listWasRead();
    bool showSelected();
    void show(const VXManagedObjectID &person);
    void showInList(const VXManagedObjectID &person);
    void showCard();
    void makeForm();
    /** What is edited; there is none "before" of a new contact. */
    struct Edited
    {
        VXManagedObjectID person;
        std::optional<VXContactRecord> before;
    };
    void startEditing(const Edited &edited, const VXTypedContact &typed);
    bool isNothing(const VXContactRecord &contact) const;
    void stopEditing();
    void removeEdited();
    void keepDraft();
    void restoreDraft();
    bool endEditing();
    bool push(const VXManagedObjectID &person, const std::optional<VXContactRecord> &before,
              const std::optional<VXContactRecord> &after, const std::optional<VXTypedContact> &unsaved = {});
    void editDone(const VXManagedObjectID &person, const VXError &error);
    void showOutcome(const VXManagedObjectID &person);
    void remove(const VXManagedObjectID &person, const std::optional<VXTypedContact> &unsaved = {});
    std::optional<QList<VXManagedObjectID>> chosen();
    void removeAll(const QList<VXManagedObjectID> &persons);
    void merge(const QList<VXManagedObjectID> &persons, const QString &name);
    std::optional<VXContactRecord> read(const VXManagedObjectID &person) const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
    VXStoreListModel *_model;
    VXListPane *_pane;
    QComboBox *_group;
    QStackedWidget *_detail;
    VXContactCard *_card;
    VXContactForm *_form = nullptr; // made when first needed
    QPointer<VXSheet> _sheet;       // asks whether to merge
    VXEmptyState *_nothing;
    std::unique_ptr<VXStoreWatch> _watch;
    VXBackgroundReader<VXContactGroups> _groups;
    VXManagedObjectID _shown; // on the card; while another one is edited, it waits behind the form
    int _shownRow = 0;
    VXManagedObjectID _onCard; // the contact the card was made from
    VXContactRecord _cardContact;
    std::optional<Edited> _edited; // while the form is shown
    bool _isEnding = false;        // what is edited is being saved
    bool _isSaved = true;          // the last edited contact was saved
};
