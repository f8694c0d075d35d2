#pragma once

#include "VXTriggerStore.h"

#include <QtWidgets/QFrame>

class VXReactorPlugin;
class VXTextLabel;

/** The usable reactor plugins, with the names people know them by. */
[[nodiscard]] QList<std::pair<QString, QString>> VXUsableReactors();

/** One thing that a trigger does: the reactor's name, and its options as the reactor describes them. */
class VXReactionEditor : public QFrame
{
    Q_OBJECT

public:
    VXReactionEditor(const VXTriggerChange::Reaction &reaction, QWidget *parent);

    VXTriggerChange::Reaction reaction() const { return _reaction; }

Q_SIGNALS:
    void didChange();
    void wantsRemoval();

private:
    void showProblem();

    const VXReactorPlugin *reactor() const;

    VXTriggerChange::Reaction _reaction;
    VXTextLabel *_problem;
};
