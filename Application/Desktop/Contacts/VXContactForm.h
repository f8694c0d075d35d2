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

/** A contact as it stands in the form. */
struct VXTypedContact
{
    VXContactRecord contact;
    QString birthday = {}; // what is typed there, if it is no date
};

/** Edits one contact in place. What is typed changes the contact at once; nothing is written until it is requested. */
class VXContactForm : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXContactForm(QWidget *parent);

    /** Puts the cursor into the name. `groups`: the existing names, to choose from. */
    void setContact(const VXTypedContact &typed, const QStringList &groups);
    VXContactRecord contact() const;
    VXTypedContact typed() const;
    /** What cannot be stored, shown beside its field; null if everything can. */
    QString problem();

Q_SIGNALS:
    /** Changed by the user. */
    void didChange();
    void done();
    void cancelled();
    void wantsRemoval();

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    struct AddressRow
    {
        QWidget *widget;
        QLineEdit *value;
        QComboBox *type;
        VXContactRecord::Address before; // which stays if the value is too long to be edited
    };
    using Addresses = QList<VXContactRecord::Address>;
    struct AddressList
    {
        Addresses VXContactRecord::*field;
        QVBoxLayout *rows;
        std::vector<AddressRow> edits = {};
        Addresses rest = {}; // stays as it is: so many rows would stop the window
    };

    void addHead(QVBoxLayout *column);
    void addAddresses(QVBoxLayout *column, const QString &title, const QString &add, Addresses VXContactRecord::*field);
    void addRow(AddressList &list, const VXContactRecord::Address &address);
    void choosePicture();

    VXContactRecord _contact;
    VXAvatar *_avatar = nullptr;
    std::vector<QLineEdit *> _texts; // in the order of VXContactTextFields
    std::vector<std::unique_ptr<AddressList>> _lists;
    QLineEdit *_birthday = nullptr;
    QLineEdit *_groups = nullptr;
    QPlainTextEdit *_note = nullptr;
    VXTextLabel *_problem = nullptr;
};
