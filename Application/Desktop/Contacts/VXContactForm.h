#pragma once

#include "VXContactRecord.h"

#include <QtWidgets/QScrollArea>

#include <functional>
#include <vector>

class QComboBox;
class QFormLayout;
class QLineEdit;
class QPlainTextEdit;
class QVBoxLayout;
class VXAvatar;
class VXTextLabel;

/** Edits one contact in place. What is typed is the contact at once; nothing is written before somebody asks for it. */
class VXContactForm : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXContactForm(QWidget *parent);

    /** Puts the cursor into the name. `groups`: the names there are, to choose from. */
    void setContact(const VXContactRecord &contact, const QStringList &groups);
    VXContactRecord contact() const;
    /** What cannot be kept, beside its field; null when all can. */
    QString problem();

Q_SIGNALS:
    /** By the user. */
    void didChange();
    void done();
    void cancelled();
    void wantsRemoval();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct AddressRow
    {
        QWidget *widget;
        QLineEdit *value;
        QComboBox *type;
    };
    using Addresses = QList<VXContactRecord::Address>;
    struct AddressList
    {
        Addresses VXContactRecord::*field;
        QVBoxLayout *rows;
        std::vector<AddressRow> edits = {};
    };

    void addHead(QVBoxLayout *column);
    void addAddresses(QVBoxLayout *column, const QString &title, const QString &add, Addresses VXContactRecord::*field);
    void addRow(AddressList &list, const VXContactRecord::Address &address);
    void choosePicture();

    VXContactRecord _contact;
    VXAvatar *_avatar = nullptr;
    std::vector<QLineEdit *> _texts; // as VXContactTextFields
    std::vector<std::unique_ptr<AddressList>> _lists;
    QLineEdit *_birthday = nullptr;
    QLineEdit *_groups = nullptr;
    QPlainTextEdit *_note = nullptr;
    VXTextLabel *_problem = nullptr;
};
