#pragma once

#include "VXContactDuplicates.h"

#include <QtWidgets/QWidget>

/** Shows what contacts would look like when merged, for a sheet. */
class VXContactMergeView : public QWidget
{
    Q_OBJECT

public:
    explicit VXContactMergeView(const VXDuplicateContacts &duplicates);

Q_SIGNALS:
    /** `code` is a VXSheet::ReturnCode. */
    void done(int code);

protected:
    void keyPressEvent(QKeyEvent *event) override;
};
