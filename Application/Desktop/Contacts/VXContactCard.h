#pragma once

#include "VXContactRecord.h"

#include <QtWidgets/QScrollArea>

#include <functional>

class QVBoxLayout;

/** Shows one contact: who it is, and each number and address with what can be done with it. */
class VXContactCard : public QScrollArea
{
    Q_OBJECT

public:
    explicit VXContactCard(QWidget *parent);
    void setContact(const VXContactRecord &contact);

Q_SIGNALS:
    void wantsCall(const QString &number);
    void wantsMessage(const QString &phonebookString);
    void wantsEdit();

private:
    QWidget *makeHead(const VXContactRecord &contact);
    QWidget *makeAddresses(const VXContactRecord &contact, const QList<VXContactRecord::Address> &addresses,
                           bool areNumbers);
    QWidget *makeAddress(const QString &name, const VXContactRecord::Address &address, bool isNumber);
    QWidget *makeTexts(const VXContactRecord &contact);
};
