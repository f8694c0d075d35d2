#pragma once

#include "VXBackgroundReader.h"
#include "VXError.h"
#include "VXMessagesOverview.h"
#include "VXMessageStore.h"
#include "VXSection.h"

#include <functional>
#include <memory>
#include <optional>

class QAbstractItemModel;
class QComboBox;
class VXConversationList;
class VXConversationView;
class VXListPane;
class VXStoreListModel;
class VXStoreWatch;

/**
 * Text messages: conversations, or the messages of a folder, at the side; the selected conversation, and the message
 * being written.
 */
class VXMessagesSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXMessagesSection(QWidget *parent);
    ~VXMessagesSection() override;

    /** Starts a message. If there is one recipient with whom messages have been exchanged, it is written in that
     *  conversation. The text is added to what is typed there already. */
    void write(const QStringList &phonebookStrings, const QString &text = {});

    unsigned tasks() const override { return Find | New | Remove | Export | Import; }
    void find() override;
    void makeNew() override;
    void remove() override;
    void exportItems() override;
    void importItems() override;
    bool commit() override;
    bool showObject(const QUrl &uri) override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void take(const VXMessagesOverview &overview);
    void showFolder();
    void showRow(int row);
    bool chooseConversation(const QStringList &keys);
    void showConversation(const QString &party, const QStringList &keys, const VXManagedObjectID &message);
    void listWasRead(int count);
    VXManagedObjectID messageInRow(int row) const;
    void look();
    void send(const QStringList &receivers, const QString &text, const QUrl &device);
    void markAsRead(const QStringList &conversations);
    void trash(const VXManagedObjectID &message);
    bool change(const std::function<void(VXManagedObjectContext &)> &work);
    QAbstractItemModel *shownModel() const;

    std::optional<VXMessageStore> _store;
    VXListPane *_pane;
    QComboBox *_folder;
    VXConversationList *_conversations = nullptr;
    VXStoreListModel *_messages;
    VXConversationView *_view = nullptr;
    std::unique_ptr<VXStoreWatch> _watch;
    VXBackgroundReader<VXMessagesOverview> _overview;
    QString _shownConversation;
    bool _wasSearched = false;       // when something was last chosen, or since
    bool _isAfterSearch = false;     // while what a search showed is chosen or seen once more
    QStringList _shownKeys;          // of the conversations that the view shows as one
    VXManagedObjectID _shownMessage; // that was sought in them; null for none
};
