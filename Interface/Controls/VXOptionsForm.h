#pragma once

#include "VXInterfaceExport.h"
#include "VXReactorOption.h"

#include <QtWidgets/QWidget>

#include <memory>
#include <vector>

/**
 * Edits the options of a reactor or exporter: a field for each by its type, with its meaning; problems with a value are
 * shown below its field. Main thread only.
 */
class VX_INTERFACE_EXPORT VXOptionsForm : public QWidget
{
    Q_OBJECT

public:
    VXOptionsForm(const VXReactorOptions &options, const QVariantMap &values, QWidget *parent = nullptr);
    ~VXOptionsForm() override;

    /** Only values other than the defaults. */
    QVariantMap values() const;
    /** The first problem; null for none. */
    QString problem() const;

Q_SIGNALS:
    void valuesDidChange();

private:
    struct Field;

    void add(const VXReactorOption &option, const QVariant &value);
    void changed();

    std::vector<std::unique_ptr<Field>> _fields;
};
