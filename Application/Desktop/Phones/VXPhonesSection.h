#pragma once

#include "VXSection.h"

#include <QtCore/QUrl>

class QStackedWidget;
class QVBoxLayout;
class VXEmptyState;
class VXPhoneCard;

/** The known phones: their state, when they were last synced, and what they are doing. */
class VXPhonesSection : public VXSection
{
    Q_OBJECT

public:
    static Info info();
    explicit VXPhonesSection(QWidget *parent);

    /** Syncs all available phones. */
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
