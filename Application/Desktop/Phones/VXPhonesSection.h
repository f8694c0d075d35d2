#pragma once

#include "VXSection.h"

#include <QtCore/QUrl>

class QStackedWidget;
class QVBoxLayout;
class VXEmptyState;
class VXPhoneCard;

/** The phones that are known: how each is, when it was synced, and what it does just now. */
class VXPhonesSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXPhonesSection(QWidget *parent);

    /** Syncs all phones that can be used. */
    void sync();
    bool isEmpty() const { return _cards.isEmpty(); }
    unsigned tasks() const override { return New; }
    void makeNew() override;

private:
    void update();
    void followList();
    void forget(const QUrl &url);
    void change(const QUrl &url);

    QList<VXPhoneCard *> _cards;
    QVBoxLayout *_column;
    QStackedWidget *_stack;
    VXEmptyState *_nothing;
};
