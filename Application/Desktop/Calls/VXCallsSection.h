#pragma once

#include "VXBackgroundReader.h"
#include "VXPersistentStoreCoordinator.h"
#include "VXSection.h"

#include <memory>

class QButtonGroup;
class VXEmptyState;
class VXListPane;
class VXStoreListModel;
class VXStoreWatch;

/**
 * The history of calls: who, when, how long; chips for incoming, outgoing and missed ones; and what can be done about
 * the selected one.
 */
class VXCallsSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXCallsSection(QWidget *parent);
    ~VXCallsSection() override;

    unsigned tasks() const override { return Find | Export | Import; }
    void find() override;
    void exportItems() override;
    void importItems() override;
    bool showObject(const QUrl &uri) override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    enum class Kind { All, In, Out, Missed };

    void makeChips();
    void showList();
    /** Whether neither a kind nor words leave calls out. */
    bool showsAll() const;
    void listWasRead();
    void showCall(int row);
    int countBefore(const VXManagedObjectID &call) const;
    QString chosenParty() const;
    QString chosenNumber() const;

    VXPersistentStoreCoordinator::Ptr _coordinator;
    VXStoreListModel *_model;
    int _wantedRow = -1; // to be selected once the list was read
    VXListPane *_pane;
    QButtonGroup *_chips;
    class Detail;
    Detail *_detail;
    std::unique_ptr<VXStoreWatch> _watch;
    VXBackgroundReader<int> _missed; // calls, since the list was looked at
};
