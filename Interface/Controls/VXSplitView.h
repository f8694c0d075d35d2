#pragma once

#include "VXInterfaceExport.h"

#include <QtWidgets/QSplitter>

class VXSavedState;

/**
 * Panes with dividers that remember where the user put them, and that work by keys too: Tab goes to a divider, the arrows
 * move it, Return folds the pane before it away and brings it back. Main thread only.
 */
class VX_INTERFACE_EXPORT VXSplitView : public QSplitter
{
    Q_OBJECT

public:
    explicit VXSplitView(Qt::Orientation orientation = Qt::Horizontal, QWidget *parent = nullptr);
    ~VXSplitView() override;

    /** Restores the sizes kept under the user default "interface.split.NAME", and keeps them from now on. Once the panes
     *  are in. */
    void setAutosaveName(const QString &name);

    bool isPaneFolded(int index) const;
    /** Folds a pane away, or brings it back in the size it had. */
    void setPaneFolded(int index, bool isFolded);

Q_SIGNALS:
    void paneFoldingDidChange(int index, bool isFolded);

protected:
    QSplitterHandle *createHandle() override;
    void hideEvent(QHideEvent *event) override;

private:
    VXSavedState *_state = nullptr;
    QList<int> _unfoldedSizes;
};
