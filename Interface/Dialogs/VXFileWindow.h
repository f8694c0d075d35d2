#pragma once

#include "VXUserInterface.h"

#include <QtWidgets/QFileDialog>

#include <optional>

class QCheckBox;

/**
 * The window of an open or save panel. The desktop's own window is used unless the panel needs something that it lacks:
 * a filter, packages, a check box. A panel without a folder starts in the one used last. Main thread only.
 */
class VXFileWindow : public QFileDialog
{
    Q_OBJECT

public:
    static VXPanelResult runOpenPanel(const VXOpenPanel &panel, QWidget *parent);
    static VXPanelResult runSavePanel(const VXSavePanel &panel, QWidget *parent);

    VXFileWindow(const VXOpenPanel &panel, QWidget *parent);
    VXFileWindow(const VXSavePanel &panel, QWidget *parent);
    ~VXFileWindow() override;

protected:
    void accept() override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    static VXPanelResult run(VXFileWindow *window);
    void begin(const QString &message, const QString &directory);
    void addCheckBox(const QString &title, bool isChecked);
    bool takePackage(const QModelIndex &index);
    void acceptSave(const QString &path);
    bool agreesToReplace(const QString &path);
    QString chosenPath() const;

    const std::optional<VXOpenPanel> _openPanel;
    const QString _packageExtension; // of what a save panel writes; null for a file
    QCheckBox *_checkBox = nullptr;
    bool _isChecked = false;
};
