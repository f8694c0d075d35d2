#pragma once

#include "VXError.h"
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
    explicit VXMessagesSection(QWidget *parent);
    ~VXMessagesSection() override;

    /** Starts a message. If there is one recipient with whom messages have been exchanged, it is written in that
     *  conversation. */
    void write(const QStringList &phonebookStrings, const QString &text = {});
    bool isEmpty() const;

    unsigned tasks() const override { return Find | New | Remove | Export | Import; }
    void find() override;
    void makeNew() override;
    void remove() override;
    void exportItems() override;
    void importItems() override;
    bool showObject(const QUrl &uri) override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void updateFolders();
    void updateBadge();
    void showFolder();
    void showRow(int row);
    bool chooseConversation(const QStringList &keys);
    void showConversation(const QString &party, const QStringList &keys);
    void listWasRead(int count);
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
    QString _shownConversation;
    QStringList _shownKeys; // of the conversations that are shown as one
};
