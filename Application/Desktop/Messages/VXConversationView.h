#pragma once

#include "VXMessageStore.h"

#include <QtCore/QUrl>
#include <QtWidgets/QWidget>

class QListView;
class QStackedWidget;
class VXAvatar;
class VXBubbleDelegate;
class VXComposer;
class VXConversationModel;
class VXEmptyState;
class VXPhonebookTokenField;
class VXTextLabel;

/**
 * The messages exchanged with somebody, and the next one being written; or a new message whose recipients have not been
 * named yet.
 */
class VXConversationView : public QWidget
{
    Q_OBJECT

public:
    VXConversationView(const VXMessageStore &store, QWidget *parent);

    /** `party`: phonebook strings of who that is; `conversations`: the keys of all messages with them. Shows the newest, or the
     *  given message, which is marked for a moment; with none what is shown of the same conversations stays where it is. */
    void setParty(const QString &party, const QStringList &conversations, const VXManagedObjectID &message = {});
    /** A message to these, with what was typed to them before; or, without any, the first new message that is not
     *  finished, if there is one. */
    void startNew(const QStringList &phonebookStrings);
    /** Shows that nothing is selected. */
    void setNone();
    bool isNew() const { return _isNew; }
    /** Whether there is text that is being typed on. */
    bool isTyping() const;
    /** The phonebook strings of the recipients. */
    QStringList receivers() const;
    void focusText();
    /** Takes what is being typed as a recipient as one. */
    void finishTyping();
    /** It has gone to all recipients but these: for them it stays. */
    void wasSent(const QStringList &failed);

Q_SIGNALS:
    /** `phone`: the one to send with; empty if there is none. */
    void wantsSend(const QStringList &receivers, const QString &text, const QUrl &phone);
    void wantsCall(const QString &number);
    void wantsContact(const QString &phonebookString);
    /** For a message that was not sent: what to do about it. */
    void wantsRetry(qint64 outboxNumber);
    void wantsDrop(qint64 outboxNumber, const VXManagedObjectID &message);
    void wantsRemoval(const VXManagedObjectID &message);

public:
    VXComposer &composer() { return *_composer; }

private:
    void wasRead(bool isOther, int added);
    bool showSought();
    void watchTop();
    void showMenu(const QModelIndex &index);
    void updateObstacle();
    void phonesDidChange();
    void choosePhone();
    QString phoneKey() const;
    void receiversDidChange();
    void showDraft(const QString &key, const QString &text);
    void keepReceivers();
    void keepDraft();

    VXConversationModel *_model;
    QStackedWidget *_stack;
    QWidget *_head;
    VXAvatar *_avatar;
    VXTextLabel *_name;
    VXTextLabel *_about;
    QWidget *_newHead;
    VXPhonebookTokenField *_to;
    QListView *_list;
    VXBubbleDelegate *_bubbles;
    VXComposer *_composer;
    VXEmptyState *_nothing;
    QString _party;
    QString _draftKey;       // of what is typed; null while the recipients are being replaced
    bool _isOfParty = false; // the draft is the one of the conversation with its only recipient
    bool _isNew = false;
    bool _isAtEnd = true;
    VXManagedObjectID _sought; // to be scrolled to once it is read
};
